#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLDocumentHandler.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/framework/XMLErrorCodes.hpp>
#include <xercesc/framework/XMLErrorReporter.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/internal/XMLScannerResolver.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/common/GrammarResolver.hpp>

#include "kiv/dom_parser.h"
#include "util/utf8.h"
#include "util/xerces_platform.h"
#include "xml/document_bytes.h"
#include "xml/document_path.h"
#include "xml/guarded_parser.h"
#include "xml/xml_events.h"
#include "xml/xml_guard.h"
#include "xml/xml_text.h"

namespace kiv {
namespace {

// Texts of one event, one behind the other in UTF-8. Views are made when all
// are in: the buffer moves as it grows.
class EventTexts {
 public:
  struct Span {
    std::size_t begin = 0;
    std::size_t size = 0;
  };

  void Clear() { size_ = 0; }

  Span Add(std::u16string_view text) {
    const std::size_t room = size_ + 3 * text.size();
    if (room > buffer_.size()) buffer_.resize(2 * room);
    const Span span{size_, Utf16ToUtf8(text, buffer_.data() + size_)};
    size_ += span.size;
    return span;
  }
  Span Add(const XMLCh* text) {
    return text == nullptr ? Span{} : Add(std::u16string_view(text));
  }

  std::string_view View(Span span) const {
    return {buffer_.data() + span.begin, span.size};
  }

  // What one huge text took is not kept for all the small ones to come.
  void Shrink() {
    constexpr std::size_t kKept = std::size_t{1} << 20;
    if (buffer_.size() <= kKept) return;
    buffer_ = {};
    size_ = 0;
  }

 private:
  std::vector<char> buffer_;
  std::size_t size_ = 0;
};

// The scanner of the XML library with the guards of guarded_parser.h, its
// events translated. Making one takes longer than reading a small document.
class EventScanner final : public xercesc::XMLDocumentHandler,
                           public xercesc::XMLErrorReporter {
 public:
  EventScanner()
      : grammars_(nullptr),
        scanner_(xercesc::XMLScannerResolver::resolveScanner(
            xercesc::XMLUni::fgSGXMLScanner, nullptr, &grammars_)) {
    scanner_->setDocHandler(this);
    scanner_->setErrorReporter(this);
    scanner_->setDoNamespaces(true);
    scanner_->setDisallowDTD(true);
    scanner_->setLoadExternalDTD(false);
    scanner_->setLoadSchema(false);
    scanner_->setDisableDefaultEntityResolution(true);
    scanner_->setURIStringPool(grammars_.getStringPool());
  }

  // The scanner keeps every namespace it ever met.
  bool IsWorn() const {
    constexpr unsigned kMostNamespaces = 1000;
    return scanner_->getURIStringPool()->getStringCount() > kMostNamespaces;
  }

  void Read(std::string_view document, XmlEvents& events) {
    events_ = &events;
    document_ = document;
    depth_ = 0;
    const xercesc::MemBufInputSource source(
        reinterpret_cast<const XMLByte*>(document.data()), document.size(),
        u"document");
    scanner_->scanDocument(source);
    texts_.Shrink();
  }

 private:
  // XMLErrorReporter.
  void error(unsigned code, const XMLCh*, ErrTypes type, const XMLCh* text,
             const XMLCh*, const XMLCh*, XMLFileLoc line,
             XMLFileLoc column) override {
    if (type != ErrType_Fatal) return;
    // Which is how the scanner calls a document type declaration.
    if (code == xercesc::XMLErrs::InvalidDocumentStructure &&
        document_.find("<!DOCTYPE") != std::string_view::npos)
      throw DocumentRefused{"document type declarations are refused", line,
                            column};
    throw DocumentRefused{LocalText(text), line, column};
  }
  void resetErrors() override {}

  // XMLDocumentHandler.
  void startDocument() override {}
  void endDocument() override {}
  void resetDocument() override {}
  void startEntityReference(const xercesc::XMLEntityDecl&) override {}
  void endEntityReference(const xercesc::XMLEntityDecl&) override {}
  void ignorableWhitespace(const XMLCh*, XMLSize_t, bool) override {}

  void XMLDecl(const XMLCh* version, const XMLCh* encoding,
               const XMLCh* standalone, const XMLCh*) override {
    texts_.Clear();
    const auto version_text = texts_.Add(version);
    const auto encoding_text = texts_.Add(encoding);
    const auto standalone_text = texts_.Add(standalone);
    const std::string_view said = texts_.View(standalone_text);
    events_->Declaration(texts_.View(version_text), texts_.View(encoding_text),
                         said == "yes"  ? XmlStandalone::Yes
                         : said == "no" ? XmlStandalone::No
                                        : XmlStandalone::Unsaid);
  }

  void docCharacters(const XMLCh* text, XMLSize_t size,
                     bool is_cdata) override {
    // White space around the root comes here too.
    if (depth_ == 0 || (size == 0 && !is_cdata)) return;
    texts_.Clear();
    const auto span = texts_.Add(std::u16string_view(text, size));
    if (is_cdata)
      events_->CData(texts_.View(span));
    else
      events_->Text(texts_.View(span));
  }

  void docComment(const XMLCh* comment) override {
    texts_.Clear();
    const auto span = texts_.Add(comment);
    events_->Comment(texts_.View(span));
  }

  void docPI(const XMLCh* target, const XMLCh* content) override {
    texts_.Clear();
    const auto target_text = texts_.Add(target);
    const auto content_text = texts_.Add(content);
    events_->ProcessingInstruction(texts_.View(target_text),
                                   texts_.View(content_text));
  }

  void startElement(const xercesc::XMLElementDecl& declaration,
                    unsigned namespace_id, const XMLCh* prefix,
                    const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                    XMLSize_t attribute_count, bool is_empty, bool) override;

  void endElement(const xercesc::XMLElementDecl&, unsigned, bool,
                  const XMLCh*) override {
    --depth_;
    events_->EndElement();
  }

  struct NameSpans {
    EventTexts::Span prefix;
    EventTexts::Span uri;
    EventTexts::Span local;
  };
  struct AttributeSpans {
    NameSpans name;
    EventTexts::Span value;
  };

  NameSpans AddName(const XMLCh* prefix, unsigned uri_id, const XMLCh* local) {
    return {texts_.Add(prefix), texts_.Add(scanner_->getURIText(uri_id)),
            texts_.Add(local)};
  }
  XmlName Name(const NameSpans& spans) const {
    return {texts_.View(spans.prefix), texts_.View(spans.uri),
            texts_.View(spans.local)};
  }
  void TellElement(const NameSpans& name);

  xercesc::GrammarResolver grammars_;
  const std::unique_ptr<xercesc::XMLScanner> scanner_;
  XmlEvents* events_ = nullptr;
  std::string_view document_;
  unsigned depth_ = 0;
  EventTexts texts_;
  std::vector<AttributeSpans> attribute_spans_;
  std::vector<AttributeSpans> namespace_spans_;
  std::vector<XmlAttribute> attributes_;
  std::vector<XmlNamespace> namespaces_;
};

void EventScanner::startElement(
    const xercesc::XMLElementDecl& declaration, unsigned namespace_id,
    const XMLCh* prefix,
    const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
    XMLSize_t attribute_count, bool is_empty, bool) {
  RefuseBeyondLimits(*scanner_, depth_, attribute_count);
  if (namespace_id == scanner_->getXMLNSNamespaceId())
    RefuseHere(*scanner_, "an element cannot have 'xmlns' as its prefix");
  texts_.Clear();
  attribute_spans_.clear();
  namespace_spans_.clear();
  const NameSpans name =
      AddName(prefix, namespace_id, declaration.getBaseName());
  for (XMLSize_t i = 0; i < attribute_count; ++i) {
    const xercesc::XMLAttr& attribute = *attributes.elementAt(i);
    const bool is_default =
        *attribute.getPrefix() == 0 &&
        xercesc::XMLString::equals(attribute.getName(),
                                   xercesc::XMLUni::fgXMLNSString);
    if (is_default || attribute.getURIId() == scanner_->getXMLNSNamespaceId()) {
      AttributeSpans spans;
      if (!is_default) spans.name.local = texts_.Add(attribute.getName());
      spans.value = texts_.Add(attribute.getValue());
      namespace_spans_.push_back(spans);
    } else {
      AttributeSpans spans;
      spans.name = AddName(attribute.getPrefix(), attribute.getURIId(),
                           attribute.getName());
      spans.value = texts_.Add(attribute.getValue());
      attribute_spans_.push_back(spans);
    }
  }
  TellElement(name);
  if (is_empty)
    events_->EndElement();
  else
    ++depth_;
}

void EventScanner::TellElement(const NameSpans& name) {
  namespaces_.clear();
  for (const AttributeSpans& spans : namespace_spans_)
    namespaces_.push_back(
        {texts_.View(spans.name.local), texts_.View(spans.value)});
  attributes_.clear();
  for (const AttributeSpans& spans : attribute_spans_)
    attributes_.push_back({Name(spans.name), texts_.View(spans.value)});
  events_->StartElement(Name(name), namespaces_, attributes_);
}

// Scanners at rest. They end with the XML platform, which they are made of.
class ScannerPool {
 public:
  static ScannerPool& Instance() {
    static ScannerPool pool;
    return pool;
  }

  std::unique_ptr<EventScanner> Take() {
    {
      const std::lock_guard lock(mutex_);
      if (!idle_.empty()) {
        auto scanner = std::move(idle_.back());
        idle_.pop_back();
        return scanner;
      }
    }
    BeforeXmlPlatformStops([] { Instance().Clear(); });
    return std::make_unique<EventScanner>();
  }

  void Give(std::unique_ptr<EventScanner> scanner) {
    if (scanner->IsWorn()) return;
    const std::lock_guard lock(mutex_);
    idle_.push_back(std::move(scanner));
  }

  void Clear() {
    const std::lock_guard lock(mutex_);
    idle_.clear();
  }

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<EventScanner>> idle_;
};

// For a catch block: what ended the scanner, as far as the document or the XML
// library had a part in it; else goes on with the exception.
[[noreturn]] void ThrowRefusal() {
  try {
    throw;
  } catch (const DocumentRefused& refused) {
    throw XmlRefusal{refused.reason, refused.line, refused.column};
  } catch (const xercesc::OutOfMemoryException&) {
    throw std::bad_alloc();
  } catch (const xercesc::XMLException& exception) {
    throw XmlRefusal{LocalText(exception.getMessage())};
  }
}

}  // namespace

void ReadXmlEvents(std::string_view document, XmlEvents& events) {
  if (!PlatformIsUp()) throw XmlRefusal{"the XML platform is not running"};
  try {
    CheckBytes(document);
    ScannerPool& pool = ScannerPool::Instance();
    auto scanner = pool.Take();
    // One that was stopped in the middle is not used again.
    scanner->Read(document, events);
    pool.Give(std::move(scanner));
  } catch (...) {
    ThrowRefusal();
  }
}

void ReadXmlFile(const char* path, XmlEvents& events) {
  const auto native_path = NativeDocumentPath(path);
  if (!native_path) throw XmlRefusal{"the path cannot be resolved"};
  std::string document;
  try {
    document = ReadDocument(*native_path);
  } catch (...) {
    ThrowRefusal();
  }
  ReadXmlEvents(document, events);
}

}  // namespace kiv
