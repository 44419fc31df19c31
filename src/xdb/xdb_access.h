#ifndef XDB_XDB_ACCESS_H_
#define XDB_XDB_ACCESS_H_

#include <memory>

#include "kiv/xdb.h"
#include "xdb/input_stream.h"
#include "xdb/session.h"
#include "xdb/stored_document.h"

namespace kiv::xdb {

// The one place that knows what the published handles hold.
struct XDbAccess {
  static TransactionChoice Choice(const XDbTransaction& transaction) {
    return {true, transaction.transaction_, transaction.environment_};
  }
  static bool IsBound(const XDbTransaction& transaction) {
    return transaction.transaction_ != nullptr;
  }

  // Null while unbound.
  static const UpdateContext* Context(const XDbUpdateContext& context) {
    return context.context_.get();
  }
  static QueryContext* Context(XDbQueryContext& context) {
    return context.context_.get();
  }
  static bool Bind(XDbUpdateContext& context, const UpdateContext& made) {
    return context.Construct(&made);
  }

  static StoredDocument* Document(XDbDocument& document) {
    return document.document_.get();
  }
  static bool Bind(XDbDocument& document, Session& session,
                   StoredDocument&& stored) {
    return document.Construct2(&session, std::move(stored));
  }

  static const InputStream* Stream(const XDbInputStream& stream) {
    return stream.stream_.get();
  }

  static bool Bind(XDbResults& results, const std::shared_ptr<Session>& session,
                   const std::shared_ptr<QueryResults>& made) {
    return results.Construct(session, &made);
  }
  static XDbValue Value(const std::shared_ptr<const QueryValue>& value) {
    return XDbValue::Of(value);
  }
};

}  // namespace kiv::xdb

#endif  // XDB_XDB_ACCESS_H_
