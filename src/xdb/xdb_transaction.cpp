#include "kiv/xdb_transaction.h"

#include "xdb/container/environment.h"
#include "xdb/stored_document.h"
#include "xdb/xdb_access.h"
#include "xdb/xdb_text.h"

namespace kiv {

using xdb::Try;

XDbTransaction::XDbTransaction() = default;

XDbTransaction::~XDbTransaction() { Destroy(); }

bool XDbTransaction::Construct(
    const void* transaction,
    const std::shared_ptr<xdb::Environment>& environment) {
  if (transaction == nullptr) return false;
  return Try("XDbTransaction::Construct exception: ", [&] {
    Destroy();
    environment_ = environment;
    transaction_ =
        *static_cast<const std::shared_ptr<xdb::Transaction>*>(transaction);
    return transaction_ != nullptr;
  });
}

void XDbTransaction::Destroy() {
  Try("XDbTransaction::Destroy exception: ", [&] {
    transaction_.reset();
    environment_.reset();
    return true;
  });
}

bool XDbTransaction::Commit() {
  if (transaction_ == nullptr) return false;
  return Try("XDbTransaction::Commit exception: ", [&] {
    transaction_->Commit();
    return true;
  });
}

bool XDbTransaction::Abort() {
  if (transaction_ == nullptr) return false;
  return Try("XDbTransaction::Abort exception: ", [&] {
    transaction_->Abort();
    return true;
  });
}

XDbUpdateContext::XDbUpdateContext() = default;

XDbUpdateContext::~XDbUpdateContext() { Destroy(); }

bool XDbUpdateContext::Construct(const void* context) {
  if (context == nullptr) return false;
  std::unique_ptr<xdb::UpdateContext> made;
  return Try("XDbUpdateContext::Construct exception: ",
             [&] {
               made = std::make_unique<xdb::UpdateContext>();
               return true;
             }) &&
         Try("XDbUpdateContext::Construct assign exception: ", [&] {
           *made = *static_cast<const xdb::UpdateContext*>(context);
           context_ = std::move(made);
           return true;
         });
}

void XDbUpdateContext::Destroy() {
  Try("XDbUpdateContext::Destroy exception: ", [&] {
    context_.reset();
    return true;
  });
}

bool XDbUpdateContext::SetTransaction(const XDbTransaction& transaction) {
  if (context_ == nullptr || !xdb::XDbAccess::IsBound(transaction))
    return false;
  context_->transaction = xdb::XDbAccess::Choice(transaction);
  return true;
}

void XDbUpdateContext::ClearTransaction() {
  if (context_ != nullptr) context_->transaction = {};
}

}  // namespace kiv
