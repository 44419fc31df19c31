#ifndef KIV_XDB_DOCUMENT_H_
#define KIV_XDB_DOCUMENT_H_

#include <memory>
#include <string>

#include "kiv/export.h"

namespace kiv {

class DomDocument;
class DomElement;
class DomNode;

namespace xdb {
class InputStream;
class Session;
struct StoredDocument;
struct XDbAccess;
}  // namespace xdb

// A document outside its container: a copy that was fetched, or a new one of
// XDbManager::CreateDocument. Changes reach the container by
// XDbContainer::UpdateDocument, a new name too.
class KIV_API XDbDocument {
 public:
  XDbDocument();
  virtual ~XDbDocument();
  XDbDocument(const XDbDocument&) = delete;
  XDbDocument& operator=(const XDbDocument&) = delete;

  // False when unbound.
  bool SetName(const std::string& name);
  std::string GetName() const;
  // Bytes in the encoding that the document declares.
  bool getContent(std::string& content) const;
  // Any bytes: whether they are XML is asked when they are stored.
  bool setContent(const std::string& content);
  // Serialised as GB2312. False, without a message, for an invalid handle.
  bool setContent(DomDocument& document);
  bool setContent(DomElement& element);

  // The content as a tree, of which a change does not reach the content until
  // setContent. The tree lives as long as a copy of the handle `out`.
  bool asDocument(DomDocument& out) const;
  // The document node of the same tree, which belongs to this object: valid
  // until the object is destroyed, or until the next asDocument or asNode after
  // the content has changed.
  bool asNode(DomNode& out) const;

 protected:
  // A new empty document, unless one is bound already. False for null.
  bool Construct(xdb::Session* session);
  // Construct, and takes over what the document holds.
  bool Construct2(xdb::Session* session, xdb::StoredDocument&& document);

 private:
  friend class XDbContainer;
  friend class XDbManager;
  friend class XDbResults;
  friend class XDbValue;
  friend struct xdb::XDbAccess;
  struct Tree;
  bool Assign(xdb::StoredDocument&& document);
  const DomDocument* ReadTree() const;

  std::unique_ptr<xdb::StoredDocument> document_;
  std::unique_ptr<Tree> tree_;
};

// Where XDbContainer::PutDocument reads a document's content from. Bound by
// XDbManager::CreateLocalFileInputStream; each PutDocument reads the file from
// its beginning.
class KIV_API XDbInputStream {
 public:
  XDbInputStream();
  ~XDbInputStream();
  XDbInputStream(const XDbInputStream&) = delete;
  XDbInputStream& operator=(const XDbInputStream&) = delete;

 protected:
  // Consumed; the stream before it is deleted.
  void Set(xdb::InputStream* stream);

 private:
  friend class XDbManager;
  friend struct xdb::XDbAccess;

  std::unique_ptr<xdb::InputStream> stream_;
};

}  // namespace kiv

#endif  // KIV_XDB_DOCUMENT_H_
