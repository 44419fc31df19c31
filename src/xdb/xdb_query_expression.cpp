#include <stdexcept>

#include "kiv/xdb_query.h"
#include "xdb/query_engine.h"
#include "xdb/session.h"
#include "xdb/xdb_text.h"

namespace kiv {

using xdb::Try;

XDbQueryExpression::XDbQueryExpression() = default;
XDbQueryExpression::~XDbQueryExpression() = default;
XDbQueryExpression::XDbQueryExpression(const XDbQueryExpression& other) =
    default;
XDbQueryExpression& XDbQueryExpression::operator=(
    const XDbQueryExpression& other) = default;

bool XDbQueryExpression::Construct(const std::shared_ptr<xdb::Session>& session,
                                   const void* expression) {
  if (session == nullptr || expression == nullptr) return false;
  return Try("XDbQueryExpression::Construct exception: ", [&] {
    expression_ =
        *static_cast<const std::shared_ptr<xdb::PreparedQuery>*>(expression);
    session_ = session;
    return expression_ != nullptr;
  });
}

void XDbQueryExpression::close() {
  expression_.reset();
  session_.reset();
}

std::shared_ptr<xdb::Session> XDbQueryExpression::OpenedSession() const {
  std::shared_ptr<xdb::Session> session = session_.lock();
  if (session == nullptr)
    throw std::runtime_error(
        "the manager was closed since the query was prepared");
  return session;
}

// Throws what the query language throws.
bool XDbQueryExpression::Run(XDbQueryContext& context,
                             XDbResults& results) const {
  const std::shared_ptr<xdb::Session> session = OpenedSession();
  const xdb::QueryContext none;
  const auto found = expression_->Execute(
      session, context.context_ == nullptr ? none : *context.context_);
  return results.Construct(session, &found);
}

bool XDbQueryExpression::Execute(XDbQueryContext& context,
                                 XDbResults& results) const {
  if (expression_ == nullptr) return false;
  return Try("XDbQueryExpression::Execute exception: ",
             [&] { return Run(context, results); });
}

std::shared_ptr<XDbResults> XDbQueryExpression::Execute(
    XDbQueryContext& context) const {
  if (expression_ == nullptr) return nullptr;
  std::shared_ptr<XDbResults> results;
  const bool is_bound = Try("XDbQueryExpression::Execute exception:", [&] {
    results = std::make_shared<XDbResults>();
    return Run(context, *results);
  });
  return is_bound ? results : nullptr;
}

std::string XDbQueryExpression::GetPlan(XDbQueryContext& context) const {
  std::string plan;
  if (expression_ == nullptr) return plan;
  Try("XDbQueryExpression::GetPlan exception: ", [&] {
    const xdb::QueryContext none;
    plan = xdb::LocalText(expression_->Explain(
        OpenedSession(),
        context.context_ == nullptr ? none : *context.context_));
    return true;
  });
  return plan;
}

std::string XDbQueryExpression::GetQuery() const {
  std::string text;
  if (expression_ == nullptr) {
    xdb::LogProblem("XDbQueryExpression::GetQuery error.");
    return text;
  }
  Try("XDbQueryExpression::GetQuery exception: ", [&] {
    text = xdb::LocalText(expression_->Text());
    return true;
  });
  return text;
}

}  // namespace kiv
