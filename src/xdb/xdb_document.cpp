#include "kiv/xdb_document.h"

#include "kiv/dom_document.h"
#include "kiv/dom_element.h"
#include "xdb/input_stream.h"
#include "xdb/stored_document.h"
#include "xdb/xdb_messages.h"
#include "xdb/xdb_text.h"
#include "xml/dom_content.h"
#include "xml/owned_document.h"

namespace kiv {

using xdb::LocalText;
using xdb::Try;
using xdb::Utf8Text;

namespace {

constexpr char kStoredEncoding[] = "GB2312";

}  // namespace

// Kept when the content changes, for the handles on its nodes that were handed
// out, until a tree is asked for again.
struct XDbDocument::Tree {
  DomDocument document;
  bool is_current = false;
};

XDbDocument::XDbDocument() = default;

XDbDocument::~XDbDocument() = default;

bool XDbDocument::Construct(xdb::Session* session) {
  if (session == nullptr) return false;
  return document_ != nullptr || Assign({});
}

bool XDbDocument::Construct2(xdb::Session* session,
                             xdb::StoredDocument&& document) {
  return Construct(session) && Assign(std::move(document));
}

bool XDbDocument::Assign(xdb::StoredDocument&& document) {
  return Try("XDbDocument::Construct exception: ", [&] {
    if (tree_ == nullptr) tree_ = std::make_unique<Tree>();
    document_ = std::make_unique<xdb::StoredDocument>(std::move(document));
    tree_->is_current = false;
    return true;
  });
}

bool XDbDocument::SetName(const std::string& name) {
  if (document_ == nullptr) return false;
  return Try("XDbDocument::SetName: Inner call exception :", [&] {
    document_->name = Utf8Text(name, "the name");
    return true;
  });
}

std::string XDbDocument::GetName() const {
  std::string name;
  if (document_ == nullptr) return name;
  Try("XDbDocument::GetName: Inner call exception :", [&] {
    name = LocalText(document_->name);
    return true;
  });
  return name;
}

bool XDbDocument::getContent(std::string& content) const {
  if (document_ == nullptr) return false;
  return Try("XDbDocument::getContent: Xml* Inner call exception : ", [&] {
    content = document_->content;
    return true;
  });
}

bool XDbDocument::setContent(const std::string& content) {
  if (document_ == nullptr) return false;
  return Try("XDbDocument::setContent: Xml* Inner call exception : ", [&] {
    document_->content = content;
    tree_->is_current = false;
    return true;
  });
}

bool XDbDocument::setContent(DomDocument& document) {
  if (document_ == nullptr || !document.IsValid()) return false;
  DomDocumentContent content;
  if (!document.GetDocumentContent(content, kStoredEncoding)) {
    xdb::LogProblem(xdb::message::NoContent(), "Xml");
    return false;
  }
  return setContent(std::string(ContentAccess::Text(content)));
}

bool XDbDocument::setContent(DomElement& element) {
  if (document_ == nullptr || !element.IsValid()) return false;
  DomDocumentContent content;
  if (!element.GetElementContent(content, kStoredEncoding)) {
    xdb::LogProblem(xdb::message::NoContent(), "Xml");
    return false;
  }
  return setContent(std::string(ContentAccess::Text(content)));
}

// Null for a document without content. Throws when it cannot be read.
const DomDocument* XDbDocument::ReadTree() const {
  if (document_ == nullptr || document_->content.empty()) return nullptr;
  if (!tree_->is_current) {
    DomDocument read;
    ReadOwnedDocument(document_->content, read);
    tree_->document = read;
    tree_->is_current = true;
  }
  return &tree_->document;
}

bool XDbDocument::asDocument(DomDocument& out) const {
  return Try("XDbDocument::asDocument: Inner call exception :", [&] {
    const DomDocument* const tree = ReadTree();
    if (tree != nullptr) out = *tree;
    return tree != nullptr;
  });
}

bool XDbDocument::asNode(DomNode& out) const {
  return Try("XDbDocument::asNode: Inner call exception :", [&] {
    const DomDocument* const tree = ReadTree();
    if (tree != nullptr) out = NodeAt(*tree, {});
    return tree != nullptr;
  });
}

XDbInputStream::XDbInputStream() = default;

XDbInputStream::~XDbInputStream() = default;

void XDbInputStream::Set(xdb::InputStream* stream) { stream_.reset(stream); }

}  // namespace kiv
