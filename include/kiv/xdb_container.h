#ifndef KIV_XDB_CONTAINER_H_
#define KIV_XDB_CONTAINER_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kiv/export.h"
#include "kiv/xdb_statistics.h"

namespace kiv {

class XDbDocument;
class XDbInputStream;
class XDbManager;
class XDbTransaction;
class XDbUpdateContext;

namespace xdb {
struct OpenedContainer;
struct XDbAccess;
}  // namespace xdb

// Named documents in one file. Bound by XDbManager::OpenContainer; every
// operation answers false or "" while unbound.
//
// A change is whole or not at all: inside the transaction of the update
// context, else in one of its own where the container is transactional. A
// change of its own that meets a deadlock is tried again; inside a transaction
// it fails, XDbManager::IsWorthRetrying() is true, and the whole transaction is
// to be made again.
class KIV_API XDbContainer {
 public:
  XDbContainer();
  ~XDbContainer();
  XDbContainer(const XDbContainer&) = delete;
  XDbContainer& operator=(const XDbContainer&) = delete;

  // False when a document has that name. An empty name is replaced by one that
  // no document of the container ever had.
  bool PutDocument(std::string& name, XDbInputStream& content,
                   XDbUpdateContext& context);
  bool PutDocument(std::string& name, const std::string& content,
                   XDbUpdateContext& context);
  bool PutDocument(std::string& name, const std::string& content);
  bool put(const std::string& content, std::string& name);
  bool put(const std::string& content);

  // False when there is no such document.
  bool DeleteDocument(XDbDocument& document, XDbUpdateContext& context);
  bool DeleteDocument(const std::string& name, XDbUpdateContext& context);
  bool del(const std::string& name);
  bool del(XDbDocument& document);

  // Replaces the content; a document that was fetched and then given another
  // name is renamed, too. False when there is no such document.
  bool UpdateDocument(XDbDocument& document, XDbUpdateContext& context);
  bool update(XDbDocument& document);

  bool GetDocument(const std::string& name, XDbDocument& out) const;
  // Reads inside the transaction, and sees what it changed.
  bool GetDocument(const std::string& name, XDbDocument& out,
                   const XDbTransaction& transaction) const;

  // As the file is called: relative to the environment's folder, or absolute,
  // in the system's form.
  std::string GetFileName() const;
  // As the container is called: without ".xdb", a hexadecimal name decoded, in
  // the system's form. "" when it cannot be decoded.
  std::string GetName() const;
  // The query for all documents, and for their root elements.
  std::string XPathCollection() const;
  std::string XPathQueryAll() const;

  // In the order of the names' bytes in UTF-8; ends when `each` answers false.
  // `each` may change the container.
  bool EachDocumentName(
      const std::function<bool(const std::string& name)>& each) const;
  bool GetStatistics(XDbContainerStatistics& out) const;
  // Reads everything and compares the index with the documents. True when the
  // container is sound; `problems` has a line for each that is found, and is
  // empty when it could not be read at all.
  bool Verify(std::vector<std::string>& problems) const;

 protected:
  // Takes an xdb::OpenedContainer*, of which it keeps a copy. False when either
  // is null.
  bool Construct(const void* container, XDbManager* manager);
  void Destruct();

 private:
  friend class XDbManager;
  friend struct xdb::XDbAccess;
  template <class Read>
  bool Put(std::string& name, XDbUpdateContext& context, Read read);
  bool Get(const std::string& name, XDbDocument& out,
           const XDbTransaction* transaction) const;
  bool MakeContext(XDbUpdateContext& context, std::string (*message)()) const;

  std::unique_ptr<xdb::OpenedContainer> container_;
};

}  // namespace kiv

#endif  // KIV_XDB_CONTAINER_H_
