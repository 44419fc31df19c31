#ifndef XML_XML_EVENTS_H_
#define XML_XML_EVENTS_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// A document as a sequence of events, for what builds something other than a
// DOM of it. Texts are UTF-8 and live for the length of one call.
namespace kiv {

struct XmlName {
  std::string_view prefix;
  std::string_view uri;
  std::string_view local;
};

// xmlns:prefix="uri"; both may be empty.
struct XmlNamespace {
  std::string_view prefix;
  std::string_view uri;
};

struct XmlAttribute {
  XmlName name;
  std::string_view value;
};

enum class XmlStandalone { Unsaid, Yes, No };

class XmlEvents {
 public:
  virtual ~XmlEvents() = default;

  // First, where there is one. `encoding` is empty when it says none.
  virtual void Declaration(std::string_view version, std::string_view encoding,
                           XmlStandalone standalone) = 0;
  // Declarations and attributes each in the order of the document.
  virtual void StartElement(const XmlName& name,
                            std::span<const XmlNamespace> namespaces,
                            std::span<const XmlAttribute> attributes) = 0;
  virtual void EndElement() = 0;
  // Inside the root, never empty; one text may come in several.
  virtual void Text(std::string_view text) = 0;
  // One section, perhaps empty.
  virtual void CData(std::string_view text) = 0;
  // These two also before and after the root.
  virtual void Comment(std::string_view text) = 0;
  virtual void ProcessingInstruction(std::string_view target,
                                     std::string_view content) = 0;
};

// Why a document is refused. The reason is in the local encoding; line and
// column count from 1 and are 0 where the fault has no place.
struct XmlRefusal {
  std::string reason;
  std::uint64_t line = 0;
  std::uint64_t column = 0;
};

// Tells `events` of the document, whose encoding is that of its declaration.
// Throws XmlRefusal for what DomParser refuses: what is not well-formed or
// breaks the rules of namespaces, a document type declaration, more levels,
// attributes or bytes than its limits. What `events` throws ends the reading.
//
// Any number of threads. The XML platform must run.
void ReadXmlEvents(std::string_view document, XmlEvents& events);
// The same of a file, by a path as DomParser::parseURI has it.
void ReadXmlFile(const char* path, XmlEvents& events);

}  // namespace kiv

#endif  // XML_XML_EVENTS_H_
