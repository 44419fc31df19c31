#include "kiv/store/connection.h"

namespace kiv::store {

bool Connection::OpenOrCreate(const std::string& a, const std::string& b) {
  return Open(a, b) || Create(a, b);
}

}  // namespace kiv::store
