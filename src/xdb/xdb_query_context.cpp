#include <stdexcept>

#include "kiv/xdb_query.h"
#include "xdb/query_engine.h"
#include "xdb/xdb_access.h"
#include "xdb/xdb_text.h"

namespace kiv {

using xdb::LocalText;
using xdb::Try;
using xdb::Utf8Text;

namespace {

bool IsEmpty(const char* text) { return text == nullptr || *text == '\0'; }

bool IsKnownType(int type) { return type == 0 || type == 1; }

int Known(int type, const char* what) {
  if (!IsKnownType(type))
    throw std::runtime_error(std::string("XDbQueryContext: unknown ") + what +
                             " " + std::to_string(type));
  return type;
}

}  // namespace

XDbQueryContext::XDbQueryContext() = default;

XDbQueryContext::~XDbQueryContext() = default;

bool XDbQueryContext::Construct(const void* context) {
  if (context == nullptr) return false;
  std::unique_ptr<xdb::QueryContext> made;
  return Try("XDbQueryContext::Construct exception: ",
             [&] {
               made = std::make_unique<xdb::QueryContext>();
               return true;
             }) &&
         Try("XDbQueryContext::Construct assign exception: ", [&] {
           *made = *static_cast<const xdb::QueryContext*>(context);
           context_ = std::move(made);
           return true;
         });
}

bool XDbQueryContext::SetReturnType(ReturnType type) {
  if (context_ == nullptr || !IsKnownType(type)) return false;
  context_->return_type = type;
  return true;
}

bool XDbQueryContext::SetEvaluationType(EvaluationType type) {
  if (context_ == nullptr || !IsKnownType(type)) return false;
  context_->evaluation_type = type;
  return true;
}

XDbQueryContext::ReturnType XDbQueryContext::GetReturnType() const {
  if (context_ == nullptr) return LiveValues;
  return static_cast<ReturnType>(Known(context_->return_type, "return type"));
}

XDbQueryContext::EvaluationType XDbQueryContext::GetEvaluationType() const {
  if (context_ == nullptr) return Eager;
  return static_cast<EvaluationType>(
      Known(context_->evaluation_type, "evaluation type"));
}

bool XDbQueryContext::SetNamespace(const char* prefix, const char* uri) {
  if (context_ == nullptr || IsEmpty(prefix) || IsEmpty(uri)) return false;
  return Try("XDbQueryContext::SetNamespace exception: ", [&] {
    std::string text = Utf8Text(uri, "the URI");
    context_->namespaces[Utf8Text(prefix, "the prefix")] = std::move(text);
    return true;
  });
}

std::string XDbQueryContext::GetNamespace(const char* prefix) const {
  std::string uri;
  if (context_ == nullptr || IsEmpty(prefix)) return uri;
  Try("XDbQueryContext::GetNamespace exception: ", [&] {
    const auto found =
        context_->namespaces.find(Utf8Text(prefix, "the prefix"));
    if (found != context_->namespaces.end()) uri = LocalText(found->second);
    return true;
  });
  return uri;
}

bool XDbQueryContext::SetVariableValue(const char* name, XDbValue& value) {
  if (context_ == nullptr || IsEmpty(name) || value.value_ == nullptr)
    return false;
  return Try("XDbQueryContext::SetVariableValue exception: ", [&] {
    context_->variables[Utf8Text(name, "the name")] = value.value_;
    return true;
  });
}

bool XDbQueryContext::GetVariableValue(const char* name,
                                       XDbValue& value) const {
  if (context_ == nullptr || IsEmpty(name)) return false;
  return Try("XDbQueryContext::GetVariableValue exception: ", [&] {
    const auto found = context_->variables.find(Utf8Text(name, "the name"));
    if (found == context_->variables.end()) return false;
    value = xdb::XDbAccess::Value(found->second);
    return true;
  });
}

bool XDbQueryContext::SetDefaultCollection(const char* container) {
  if (context_ == nullptr || IsEmpty(container)) return false;
  return Try("XDbQueryContext::SetDefaultCollection exception: ", [&] {
    context_->default_collection = Utf8Text(container, "the container's name");
    return true;
  });
}

std::string XDbQueryContext::GetDefaultCollection() const {
  return context_ == nullptr ? "" : LocalText(context_->default_collection);
}

bool XDbQueryContext::SetTransaction(const XDbTransaction& transaction) {
  if (context_ == nullptr || !xdb::XDbAccess::IsBound(transaction))
    return false;
  context_->transaction = xdb::XDbAccess::Choice(transaction);
  return true;
}

void XDbQueryContext::ClearTransaction() {
  if (context_ != nullptr) context_->transaction = {};
}

bool XDbQueryContext::SetLimits(const XDbQueryLimits& limits) {
  if (context_ == nullptr) return false;
  context_->limits = limits;
  return true;
}

bool XDbQueryContext::GetLimits(XDbQueryLimits& limits) const {
  if (context_ == nullptr) return false;
  limits = context_->limits;
  return true;
}

bool XDbQueryContext::Cancel() {
  if (context_ == nullptr) return false;
  ++*context_->cancels;
  return true;
}

}  // namespace kiv
