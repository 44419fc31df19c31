#ifndef XDB_QUERY_DOCUMENTS_H_
#define XDB_QUERY_DOCUMENTS_H_

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "xdb/container/container_reading.h"
#include "xdb/session.h"
#include "xdb/stored_document.h"
#include "xdb/xquery/run/execution.h"

namespace kiv::xdb {

// Of a tree that was stored, in a container or a file.
struct StoredOrigin : xq::TreeOrigin {
  std::string container_file;  // empty: no container's
};

// The containers of a session, and files where they may be read, as queries see
// them: collection('container'), doc('container/name'), doc('file:///...'). A
// container goes by its name or by its file, as 'orders' or 'orders.xdb'.
class ContainerDocuments final : public xq::DocumentSource {
 public:
  ContainerDocuments(std::shared_ptr<Session> session, TransactionChoice choice)
      : session_(std::move(session)), choice_(std::move(choice)) {}

  // What collection() without a name is; empty: nothing.
  void SetDefaultCollection(std::string name) {
    default_collection_ = std::move(name);
  }

  // Held while the documents are read; throws StoreError when it has ended.
  // Null without one.
  std::shared_ptr<Transaction> HoldTransaction() const {
    return ChosenTransaction(choice_, session_->environment());
  }

  // Lets go of all containers.
  void Close() { readings_.clear(); }

  xq::SourceDocument FindDocument(const std::string& uri) override;
  std::unique_ptr<xq::DocumentStream> OpenCollection(
      const std::string& uri) override;
  const xq::CollectionIndex* IndexOf(const std::string& uri) override;

 private:
  struct OpenedReading {
    std::shared_ptr<Container> container;
    std::unique_ptr<ContainerReading> reading;
    std::unique_ptr<const xq::CollectionIndex> index;
  };

  // Null when there is no such container.
  OpenedReading* ReadingOf(const std::string& name);
  OpenedReading* ReadingOfUri(const std::string& uri);
  OpenedReading* ReadingOfFile(const std::string& file);
  xq::SourceDocument FindStored(const std::string& uri);
  xq::SourceDocument ReadLocalFile(const std::string& uri) const;

  const std::shared_ptr<Session> session_;
  const TransactionChoice choice_;
  std::string default_collection_;
  std::map<std::string, OpenedReading> readings_;  // by file
};

}  // namespace kiv::xdb

#endif  // XDB_QUERY_DOCUMENTS_H_
