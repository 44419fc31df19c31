#ifndef KIV_DOM_DOCUMENT_H_
#define KIV_DOM_DOCUMENT_H_

#include <memory>

#include "kiv/dom_element.h"
#include "kiv/export.h"

namespace kiv {

class DomDocument;
class DomParser;

// A serialised document or element. The text lives until the object is refilled
// or destroyed.
class KIV_API DomDocumentContent {
 public:
  DomDocumentContent();
  ~DomDocumentContent();
  DomDocumentContent(const DomDocumentContent&) = delete;
  DomDocumentContent& operator=(const DomDocumentContent&) = delete;

  // "" when there is none. Ends with a NUL; in a 16-bit encoding it holds NULs
  // too.
  const char* GetContent() const;

  // False, and no content, for an encoding that is not known and for a tree of
  // more levels than DomParser::MaxDepth(). A null or empty encoding is the
  // document's own, else UTF-8. A character that the encoding lacks is written
  // as a reference; in a name or a comment it cannot be, and the result is
  // false.
  // NOLINTNEXTLINE(bugprone-reserved-identifier): the published name
  bool _GetDocument(const DomDocument& document, const char* encoding);
  // An encoding is declared in front of the element, without a line break
  // behind it; without an encoding there is no declaration.
  // NOLINTNEXTLINE(bugprone-reserved-identifier): the published name
  bool _GetElement(const DomElement& element, const char* encoding);

 private:
  friend struct ContentAccess;
  struct Impl;
  bool Write(void* node, const char* encoding, bool declare);

  std::unique_ptr<Impl> impl_;
};

// A handle on a document, and the owner of one made by CreateDocument: that
// lives as long as a copy of its handle. A parsed document belongs to its
// parser: it dies with the parser, with release() and with the parser's next
// parse of the same kind (parseURI or parseMem).
class KIV_API DomDocument {
 public:
  DomDocument() = default;

  bool IsValid() const { return document_ != nullptr; }

  static bool CreateDocument(DomDocument& doc);

  // The element hangs in no tree yet. False for an empty name and for one that
  // XML does not allow.
  bool CreateElement(const char* name, DomElement& out);
  // As the document's root. True once the element was made, even when the
  // document has a root already and cannot take it up.
  bool CreateDocumentElement(const char* name, DomElement& out);
  bool GetDocumentElement(DomElement& out) const;

  // DomDocumentContent::_GetDocument.
  bool GetDocumentContent(DomDocumentContent& content,
                          const char* encoding) const;
  // As GB2312. A relative path begins at the current directory; missing folders
  // are made. The file is replaced as a whole or not at all, and reads back
  // equal.
  bool SaveAs(const char* path) const;

 protected:
  // Takes a xercesc::DOMDocument*, to own when `parser` is null. Returns
  // whether it is not null.
  bool Initialize(void* document, const DomParser* parser);

 private:
  friend class DomParser;
  friend struct XercesAccess;

  void* document_ = nullptr;
  const DomParser* parser_ = nullptr;
  std::shared_ptr<void> owned_;
};

}  // namespace kiv

#endif  // KIV_DOM_DOCUMENT_H_
