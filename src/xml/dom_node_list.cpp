#include "xml/xerces_access.h"

namespace kiv {

unsigned DomNodeList::GetLength() const {
  const xercesc::DOMNodeList* list = XercesAccess::List(*this);
  return list == nullptr ? 0 : static_cast<unsigned>(list->getLength());
}

bool DomNodeList::item(unsigned index, DomNode& out) const {
  const xercesc::DOMNodeList* list = XercesAccess::List(*this);
  return XercesAccess::Set(out, list ? list->item(index) : nullptr);
}

bool DomNodeList2::item(unsigned index, DomNode& out) const {
  return index < nodes_.size() && out.Initialize(nodes_[index]);
}

void DomNodeList2::erase(unsigned index) {
  if (index < nodes_.size()) nodes_.erase(nodes_.begin() + index);
}

void DomNodeList2::push_back(const void* node) {
  nodes_.push_back(const_cast<void*>(node));
}

void DomNodeList2::push_back(const DomNode& node) {
  nodes_.push_back(XercesAccess::Node(node));
}

}  // namespace kiv
