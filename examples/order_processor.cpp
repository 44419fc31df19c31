// A processor library for a watched directory: takes an order, a file of one
// line "customer;article;pieces", and stores it as a document of the container
// "orders" in the XML database ../out/orders.
//
// fileq.xml names it as <processor>dll://../lib/order_processor:TakeOrder
// </processor>.
#include <cstdint>
#include <memory>
#include <string>

#include "kiv/dom.h"
#include "kiv/msgq/file_queue.h"
#include "kiv/parser/parser.h"
#include "kiv/store/store.h"
#include "kiv/xdb.h"

namespace {

using kiv::parser::Parser;

constexpr char kDatabase[] = "xmldb:../out/orders";
constexpr char kTable[] = "orders";

struct Order {
  std::string customer;
  std::string article;
  std::int32_t pieces = 0;
};

// "customer;article;" and a number that is one.
bool Read(const char* at, const char* end, Order& order) {
  unsigned consumed = 0;
  for (std::string* const field : {&order.customer, &order.article}) {
    if (!Parser::ParseTo(at, end, ';', *field, consumed)) return false;
    at += consumed;
    if (field->empty() || at == end || *at++ != ';') return false;
  }
  return Parser::ParseInt32(at, end, order.pieces, consumed, 0, 0) &&
         order.pieces > 0;
}

// <order customer="..." article="..." pieces="..."/>
bool MakeDocument(const Order& order, kiv::XDbDocument& out) {
  kiv::DomDocument document;
  kiv::DomElement root;
  return kiv::DomDocument::CreateDocument(document) &&
         document.CreateDocumentElement("order", root) &&
         root.SetAttribute("customer", order.customer.c_str()) &&
         root.SetAttribute("article", order.article.c_str()) &&
         root.SetAttribute("pieces", order.pieces) && out.setContent(document);
}

// The database, opened by the first order. What fails is in the log.
class Orders {
 public:
  bool Store(const kiv::msgq::FileQueueFile& file, const Order& order) {
    if (!IsOpen()) return false;
    kiv::XDbDocument document;
    kiv::XDbContainer& container = table_->GetContainer();
    // Behind a host that was killed over it, the order may be there already;
    // to look for every one would fill the log with what is not found.
    if (file.attempt > 1 && container.GetDocument(file.name, document)) {
      return MakeDocument(order, document) && container.update(document);
    }
    std::string name = file.name;
    std::string content;
    return connection_->GetManager().CreateDocument(document) &&
           MakeDocument(order, document) && document.getContent(content) &&
           container.PutDocument(name, content);
  }

 private:
  bool IsOpen() {
    if (table_) return true;
    if (!connection_) {
      const auto connection =
          std::dynamic_pointer_cast<kiv::store::DbXmlConnection>(
              kiv::store::Factory().CreateConnection(kDatabase));
      if (!connection || !connection->OpenOrCreate("", "")) return false;
      connection_ = connection;
    }
    table_ = std::dynamic_pointer_cast<kiv::store::DbXmlTable>(
        connection_->IsExistTable(kTable) ? connection_->GetTable(kTable)
                                          : connection_->CreateTable(kTable));
    return table_ != nullptr;
  }

  std::shared_ptr<kiv::store::DbXmlConnection> connection_;
  std::shared_ptr<kiv::store::DbXmlTable> table_;
};

}  // namespace

// False refuses the file, which then lies in .failed/. One thread serves all
// watched directories.
extern "C" __attribute__((visibility("default"))) bool TakeOrder(
    const char* bytes, int length, void* context) {
  static Orders orders;
  const auto& file = *static_cast<const kiv::msgq::FileQueueFile*>(context);
  Order order;
  return Read(bytes, bytes + length, order) && orders.Store(file, order);
}
