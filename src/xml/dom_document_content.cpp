#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <xercesc/dom/DOMConfiguration.hpp>
#include <xercesc/dom/DOMError.hpp>
#include <xercesc/dom/DOMErrorHandler.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/dom/DOMLSOutput.hpp>
#include <xercesc/dom/DOMLSSerializer.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "util/gb_text.h"
#include "xml/attribute_names.h"
#include "xml/cdata_as_text.h"
#include "xml/dom_content.h"
#include "xml/dom_tree.h"
#include "xml/xerces_access.h"
#include "xml/xml_guard.h"
#include "xml/xml_text.h"

namespace kiv {
namespace {

constexpr XMLSize_t kFirstCapacity = 1023;
constexpr std::size_t kMaxEncodingName = 99;

// The writer says why it failed to this, and only whether it failed to its
// caller.
class WriteErrors : public xercesc::DOMErrorHandler {
 public:
  bool handleError(const xercesc::DOMError& error) override {
    reason_ = LocalText(error.getMessage());
    return error.getSeverity() == xercesc::DOMError::DOM_SEVERITY_WARNING;
  }
  const std::string& reason() const { return reason_; }

 private:
  std::string reason_;
};

template <class Released>
struct Release {
  void operator()(Released* released) const { released->release(); }
};
template <class Released>
using ReleasedPtr = std::unique_ptr<Released, Release<Released>>;

void WriteText(const char* text, xercesc::MemBufFormatTarget& target) {
  target.writeChars(reinterpret_cast<const XMLByte*>(text), std::strlen(text),
                    nullptr);
}

const xercesc::DOMDocument* DocumentOf(const xercesc::DOMNode& node) {
  return node.getNodeType() == xercesc::DOMNode::DOCUMENT_NODE
             ? static_cast<const xercesc::DOMDocument*>(&node)
             : node.getOwnerDocument();
}

// The encoding that the node is written in, by the same choice as the writer's.
std::string ChosenEncoding(const xercesc::DOMNode& node, const char* encoding) {
  std::string chosen(std::string_view(encoding).substr(0, kMaxEncodingName));
  if (!chosen.empty()) return chosen;
  const xercesc::DOMDocument* document = DocumentOf(node);
  if (!AssignLocal(document->getInputEncoding(), chosen) &&
      !AssignLocal(document->getXmlEncoding(), chosen))
    chosen = "UTF-8";
  return chosen;
}

bool EndsLineIn11(const WideChar* text) {
  return text != nullptr && std::u16string_view(text).find_first_of(
                                u"\x85\u2028") != std::u16string_view::npos;
}

// A reader of version 1.1 takes U+0085 and U+2028 for line ends, and in an
// encoding that has them the serialiser writes them as they are.
bool WouldLoseText(const xercesc::DOMNode& top) {
  const XMLCh* version = DocumentOf(top)->getXmlVersion();
  if (version == nullptr || std::u16string_view(version) != u"1.1")
    return false;
  bool is_lost = false;
  Walk(top, [&](const xercesc::DOMNode& node, unsigned) {
    is_lost = EndsLineIn11(node.getNodeValue());
    const xercesc::DOMNamedNodeMap* attributes = node.getAttributes();
    const XMLSize_t count = attributes ? attributes->getLength() : 0;
    for (XMLSize_t i = 0; i < count && !is_lost; ++i)
      is_lost = EndsLineIn11(attributes->item(i)->getNodeValue());
    return !is_lost;
  });
  return is_lost;
}

bool WriteNode(const xercesc::DOMNode& node, const std::string& encoding,
               xercesc::MemBufFormatTarget& target) {
  const WideText wide_encoding{std::string_view(encoding)};
  std::optional<CdataAsText> cdata_as_text;
  if (!StartsWithIgnoreCase(encoding, "UTF")) {
    if (const WideChar* name =
            FindUnwritableAttribute(node, wide_encoding.get())) {
      LogRefused("DomDocumentContent",
                 "the attribute name '" + LocalText(name) +
                     "' is not representable in '" + encoding + "' encoding");
      return false;
    }
    cdata_as_text.emplace(node);
  } else if (WouldLoseText(node)) {
    LogRefused("DomDocumentContent",
               "U+0085 and U+2028 end a line in XML 1.1; write '" + encoding +
                   "' as GB2312, or declare version 1.0");
    return false;
  }

  auto* implementation =
      xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
  const ReleasedPtr<xercesc::DOMLSSerializer> writer(
      implementation->createLSSerializer());
  const ReleasedPtr<xercesc::DOMLSOutput> output(
      implementation->createLSOutput());
  WriteErrors errors;
  writer->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMErrorHandler,
                                       &errors);
  output->setByteStream(&target);
  output->setEncoding(wide_encoding.get());
  if (writer->write(&node, output.get())) return true;
  LogRefused("DomDocumentContent", errors.reason());
  return false;
}

}  // namespace

struct DomDocumentContent::Impl {
  xercesc::MemBufFormatTarget target{kFirstCapacity};
};

DomDocumentContent::DomDocumentContent() = default;

DomDocumentContent::~DomDocumentContent() {
  // The buffer belongs to the platform's memory.
  if (!PlatformIsUp()) static_cast<void>(impl_.release());
}

std::string_view ContentAccess::Text(const DomDocumentContent& content) {
  if (!content.impl_) return {};
  const xercesc::MemBufFormatTarget& target = content.impl_->target;
  return {reinterpret_cast<const char*>(target.getRawBuffer()),
          target.getLen()};
}

const char* DomDocumentContent::GetContent() const {
  return impl_ ? ContentAccess::Text(*this).data() : "";
}

bool DomDocumentContent::_GetDocument(const DomDocument& document,
                                      const char* encoding) {
  xercesc::DOMNode* node = XercesAccess::Document(document);
  return Write(node, encoding, false);
}

bool DomDocumentContent::_GetElement(const DomElement& element,
                                     const char* encoding) {
  xercesc::DOMNode* node = XercesAccess::Element(element);
  return Write(node, encoding, true);
}

bool DomDocumentContent::Write(void* opaque, const char* encoding,
                               bool declare) {
  impl_.reset();
  const auto* node = static_cast<const xercesc::DOMNode*>(opaque);
  if (node == nullptr || IsTooDeep(*node, "DomDocumentContent")) return false;
  if (encoding == nullptr) encoding = "";
  return Guarded("DomDocumentContent", [&] {
    auto content = std::make_unique<Impl>();
    if (declare && *encoding != '\0') {
      WriteText("<?xml version=\"1.0\" encoding=\"", content->target);
      WriteText(encoding, content->target);
      WriteText("\" ?>", content->target);
    }
    if (!WriteNode(*node, ChosenEncoding(*node, encoding), content->target))
      return false;
    impl_ = std::move(content);
    return !ContentAccess::Text(*this).empty();
  });
}

}  // namespace kiv
