// A processor library for a watched directory: takes an order, a file of one
// line "customer;article;pieces", and appends it to ../out/orders.txt.
//
// fileq.xml names it as <processor>dll://../lib/order_processor:TakeOrder
// </processor>.
#include <cstdint>
#include <cstdio>
#include <string>

#include "kiv/msgq/file_queue.h"
#include "kiv/parser/parser.h"

namespace {

using kiv::parser::Parser;

constexpr const char* kOrderFile = "../out/orders.txt";

// "customer;article;" and a number that is one.
bool IsOrder(const char* at, const char* end) {
  std::string field;
  unsigned consumed = 0;
  for (int i = 0; i < 2; ++i) {
    if (!Parser::ParseTo(at, end, ';', field, consumed)) return false;
    at += consumed;
    if (field.empty() || at == end || *at++ != ';') return false;
  }
  std::int32_t pieces = 0;
  return Parser::ParseInt32(at, end, pieces, consumed, 0, 0) && pieces > 0;
}

}  // namespace

// False refuses the file, which then lies in .failed/.
extern "C" __attribute__((visibility("default"))) bool TakeOrder(
    const char* bytes, int length, void* context) {
  const auto& file = *static_cast<const kiv::msgq::FileQueueFile*>(context);
  const std::string order(bytes, bytes + length);
  if (!IsOrder(bytes, bytes + length)) return false;
  std::FILE* const orders = std::fopen(kOrderFile, "ab");
  if (orders == nullptr) return false;
  // Behind a host that was killed over it, the order may be there already: who
  // reads the orders sees which may be double.
  std::fprintf(orders, "%s;%s;%s\n", file.name,
               file.attempt > 1 ? "again" : "new",
               order.substr(0, order.find_first_of("\r\n")).c_str());
  return std::fclose(orders) == 0;
}
