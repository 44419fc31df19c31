#include "kiv/xdb_container.h"

#include "kiv/xdb_document.h"
#include "kiv/xdb_manager.h"
#include "kiv/xdb_transaction.h"
#include "xdb/container/container.h"
#include "xdb/container/store_error.h"
#include "xdb/container_name.h"
#include "xdb/session.h"
#include "xdb/stored_document.h"
#include "xdb/xdb_access.h"
#include "xdb/xdb_messages.h"
#include "xdb/xdb_text.h"

namespace kiv {

using xdb::Failure;
using xdb::LocalText;
using xdb::StoredDocument;
using xdb::StoreError;
using xdb::Transaction;
using xdb::Try;
using xdb::Utf8Text;
using xdb::XDbAccess;

namespace {

constexpr char kPutException[] = "XDbContainer::PutDocument exception: ";
constexpr char kDeleteException[] = "XDbContainer::DeleteDocument exception: ";
constexpr char kUpdateException[] = "XDbContainer::UpdateDocument exception: ";

std::shared_ptr<Transaction> Chosen(const xdb::OpenedContainer& container,
                                    const xdb::TransactionChoice& choice) {
  auto transaction =
      xdb::ChosenTransaction(choice, container.session->environment());
  if (transaction != nullptr && !container.is_transactional)
    throw StoreError(Failure::Other,
                     "the container was opened without transactions");
  return transaction;
}

// The transaction of an update context, null without one. Throws StoreError.
std::shared_ptr<Transaction> Chosen(const xdb::OpenedContainer& container,
                                    const XDbUpdateContext& context) {
  const xdb::UpdateContext* const bound = XDbAccess::Context(context);
  if (bound == nullptr)
    throw StoreError(Failure::Other, "the update context is not bound");
  return Chosen(container, bound->transaction);
}

// The name under which the container has the document.
std::string NameInside(const StoredDocument& document,
                       const xdb::Container& container,
                       const Transaction* transaction) {
  const bool is_from_here = !document.stored_name.empty() &&
                            document.container_file == container.FileName();
  return is_from_here ? document.NameSeenBy(transaction) : document.name;
}

void RenameAndReplace(xdb::OpenedContainer& opened, const std::string& old_name,
                      const StoredDocument& document,
                      Transaction* transaction) {
  opened.container->Rename(old_name, document.name, transaction);
  opened.container->Replace(document.name, document.content, transaction);
}

// Two changes, in a transaction of their own where none is given.
void UpdateUnderNewName(xdb::OpenedContainer& opened,
                        const std::string& old_name,
                        const StoredDocument& document,
                        Transaction* transaction) {
  if (transaction != nullptr || !opened.is_transactional) {
    RenameAndReplace(opened, old_name, document, transaction);
    return;
  }
  xdb::RetryDeadlocks([&] {
    const auto own = opened.session->environment()->Begin();
    RenameAndReplace(opened, old_name, document, own.get());
    own->Commit();
  });
}

}  // namespace

XDbContainer::XDbContainer() = default;

XDbContainer::~XDbContainer() { Destruct(); }

bool XDbContainer::Construct(const void* container, XDbManager* manager) {
  if (container == nullptr || manager == nullptr) return false;
  return Try("XDbContainer::Construct exception: ", [&] {
    container_ = std::make_unique<xdb::OpenedContainer>(
        *static_cast<const xdb::OpenedContainer*>(container));
    return true;
  });
}

void XDbContainer::Destruct() {
  if (container_ == nullptr) return;
  // The container goes before its session.
  container_->container.reset();
  container_.reset();
}

// The short forms are the long ones with a context of their own.
bool XDbContainer::MakeContext(XDbUpdateContext& context,
                               std::string (*message)()) const {
  if (container_ != nullptr && XDbAccess::Bind(context, {})) return true;
  xdb::LogProblem(message());
  return false;
}

template <class Read>
bool XDbContainer::Put(std::string& name, XDbUpdateContext& context,
                       Read read) {
  if (container_ == nullptr) return false;
  return Try(kPutException, [&] {
    const auto transaction = Chosen(*container_, context);
    xdb::Container& container = *container_->container;
    std::string stored_name = Utf8Text(name, "the name");
    const std::string& content = read();
    if (name.empty()) stored_name = container.GenerateName(transaction.get());
    container.Put(stored_name, content, transaction.get());
    if (name.empty()) name = LocalText(stored_name);
    return true;
  });
}

bool XDbContainer::PutDocument(std::string& name, XDbInputStream& content,
                               XDbUpdateContext& context) {
  std::string bytes;
  return Put(name, context, [&]() -> const std::string& {
    const xdb::InputStream* const stream = XDbAccess::Stream(content);
    if (stream == nullptr)
      throw StoreError(Failure::Other, "the input stream is not bound");
    return bytes = stream->ReadAll();
  });
}

bool XDbContainer::PutDocument(std::string& name, const std::string& content,
                               XDbUpdateContext& context) {
  return Put(name, context, [&]() -> const std::string& { return content; });
}

bool XDbContainer::PutDocument(std::string& name, const std::string& content) {
  XDbUpdateContext context;
  return MakeContext(context, xdb::message::NoContextToPut) &&
         PutDocument(name, content, context);
}

bool XDbContainer::put(const std::string& content, std::string& name) {
  return PutDocument(name, content);
}

bool XDbContainer::put(const std::string& content) {
  std::string name;
  return PutDocument(name, content);
}

bool XDbContainer::DeleteDocument(XDbDocument& document,
                                  XDbUpdateContext& context) {
  StoredDocument* const stored = XDbAccess::Document(document);
  if (container_ == nullptr || stored == nullptr) return false;
  return Try(kDeleteException, [&] {
    const auto transaction = Chosen(*container_, context);
    xdb::Container& container = *container_->container;
    const std::string name = NameInside(*stored, container, transaction.get());
    container.Delete(name, transaction.get());
    return true;
  });
}

bool XDbContainer::DeleteDocument(const std::string& name,
                                  XDbUpdateContext& context) {
  if (container_ == nullptr) return false;
  return Try(kDeleteException, [&] {
    const auto transaction = Chosen(*container_, context);
    const std::string stored_name = Utf8Text(name, "the name");
    container_->container->Delete(stored_name, transaction.get());
    return true;
  });
}

bool XDbContainer::del(const std::string& name) {
  XDbUpdateContext context;
  return MakeContext(context, xdb::message::NoContextToDelete) &&
         DeleteDocument(name, context);
}

bool XDbContainer::del(XDbDocument& document) {
  XDbUpdateContext context;
  return MakeContext(context, xdb::message::NoContextToDelete) &&
         DeleteDocument(document, context);
}

bool XDbContainer::UpdateDocument(XDbDocument& document,
                                  XDbUpdateContext& context) {
  StoredDocument* const stored = XDbAccess::Document(document);
  if (container_ == nullptr || stored == nullptr) return false;
  return Try(kUpdateException, [&] {
    const auto transaction = Chosen(*container_, context);
    xdb::Container& container = *container_->container;
    const std::string old_name =
        NameInside(*stored, container, transaction.get());
    if (old_name == stored->name) {
      container.Replace(old_name, stored->content, transaction.get());
    } else {
      UpdateUnderNewName(*container_, old_name, *stored, transaction.get());
    }
    stored->NoteStored(container.FileName(), transaction);
    return true;
  });
}

bool XDbContainer::update(XDbDocument& document) {
  XDbUpdateContext context;
  return MakeContext(context, xdb::message::NoContextToUpdate) &&
         UpdateDocument(document, context);
}

bool XDbContainer::GetDocument(const std::string& name,
                               XDbDocument& out) const {
  return Get(name, out, nullptr);
}

bool XDbContainer::GetDocument(const std::string& name, XDbDocument& out,
                               const XDbTransaction& transaction) const {
  return Get(name, out, &transaction);
}

bool XDbContainer::Get(const std::string& name, XDbDocument& out,
                       const XDbTransaction* transaction) const {
  if (container_ == nullptr || name.empty()) return false;
  return Try(xdb::message::GetDocumentException().c_str(), [&] {
    std::shared_ptr<Transaction> chosen;
    if (transaction != nullptr)
      chosen = Chosen(*container_, XDbAccess::Choice(*transaction));
    const xdb::Container& container = *container_->container;
    StoredDocument stored;
    stored.name = stored.stored_name = Utf8Text(name, "the name");
    const auto read = [&] {
      stored.content = container.Get(stored.name, chosen.get());
    };
    if (chosen != nullptr)
      read();
    else
      xdb::RetryDeadlocks(read);
    stored.container_file = container.FileName();
    return XDbAccess::Bind(out, *container_->session, std::move(stored));
  });
}

std::string XDbContainer::GetFileName() const {
  std::string file;
  if (container_ == nullptr) return file;
  Try(xdb::message::GetFileNameException().c_str(), [&] {
    file = container_->container->FileName();
    return true;
  });
  return file;
}

std::string XDbContainer::GetName() const {
  return xdb::ContainerOfFile(GetFileName());
}

std::string XDbContainer::XPathCollection() const {
  return XDbManager::XPathCollection(GetFileName());
}

std::string XDbContainer::XPathQueryAll() const {
  return XDbManager::XPathQueryAll(GetFileName());
}

bool XDbContainer::EachDocumentName(
    const std::function<bool(const std::string& name)>& each) const {
  if (container_ == nullptr) return false;
  return Try("XDbContainer::EachDocumentName exception: ", [&] {
    container_->container->EachName(
        [&](const std::string& name) { return each(LocalText(name)); },
        nullptr);
    return true;
  });
}

bool XDbContainer::GetStatistics(XDbContainerStatistics& out) const {
  if (container_ == nullptr) return false;
  return Try("XDbContainer::GetStatistics exception: ", [&] {
    out = container_->container->Statistics();
    return true;
  });
}

bool XDbContainer::Verify(std::vector<std::string>& problems) const {
  problems.clear();
  if (container_ == nullptr) return false;
  return Try("XDbContainer::Verify exception: ", [&] {
    problems = container_->container->Verify();
    return problems.empty();
  });
}

}  // namespace kiv
