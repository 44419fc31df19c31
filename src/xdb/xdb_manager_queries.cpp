#include <stdexcept>

#include "kiv/xdb_manager.h"
#include "kiv/xdb_query.h"
#include "xdb/prepared_queries.h"
#include "xdb/query_engine.h"
#include "xdb/session.h"
#include "xdb/xdb_access.h"
#include "xdb/xdb_text.h"

namespace kiv {

using Expression = std::shared_ptr<XDbQueryExpression>;

std::string XDbManager::XPathCollection(const std::string& name) {
  return "collection('" + name + "')";
}

std::string XDbManager::XPathQueryAll(const std::string& name) {
  return "collection('" + name + "')/*";
}

Expression XDbManager::Prepare(const std::string& query,
                               XDbQueryContext& context, bool cache) {
  if (query.empty()) return nullptr;
  Expression expression;
  const bool is_prepared = xdb::Try("XDbManager::Prepare exception: ", [&] {
    const std::shared_ptr<xdb::Session> session = session_;
    if (session == nullptr) throw std::runtime_error("the manager is closed");
    expression = prepared_->Find(query, session);
    if (expression != nullptr) return true;
    auto fresh = std::make_shared<XDbQueryExpression>();
    const xdb::QueryContext none;
    const xdb::QueryContext* const bound = xdb::XDbAccess::Context(context);
    const auto prepared = session->engine().Prepare(
        xdb::Utf8Text(query, "the query"), bound == nullptr ? none : *bound);
    if (!fresh->Construct(session, &prepared)) return false;
    expression = cache ? prepared_->Insert(query, session, fresh) : fresh;
    return true;
  });
  return is_prepared ? expression : nullptr;
}

bool XDbManager::Prepare(const std::string& query, XDbQueryContext& context,
                         XDbQueryExpression& out, bool cache) {
  const Expression prepared = Prepare(query, context, cache);
  if (prepared == nullptr) return false;
  out = *prepared;
  return true;
}

bool XDbManager::Query(const std::string& query, XDbQueryContext& context,
                       XDbResults& results, bool cache) {
  const Expression prepared = Prepare(query, context, cache);
  return prepared != nullptr && prepared->Execute(context, results);
}

bool XDbManager::Query(const std::string& query, XDbResults& results,
                       bool cache) {
  XDbQueryContext context;
  return CreateQueryContext(context) && Query(query, context, results, cache);
}

}  // namespace kiv
