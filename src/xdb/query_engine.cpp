#include "xdb/query_engine.h"

#include <stdexcept>

namespace kiv::xdb {
namespace {

class NoQueryLanguage final : public QueryEngine {
 public:
  std::shared_ptr<PreparedQuery> Prepare(const std::string&,
                                         const QueryContext&) override {
    throw std::runtime_error("this build has no query language");
  }
};

}  // namespace

std::shared_ptr<QueryEngine> MakeQueryEngine() {
  return std::make_shared<NoQueryLanguage>();
}

}  // namespace kiv::xdb
