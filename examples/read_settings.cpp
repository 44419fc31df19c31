// Reads a settings document, changes it and writes it: child elements by name
// and attribute, numbers and flags with defaults, text.
#include <cstring>
#include <iostream>
#include <string>

#include "kiv/dom.h"
#include "kiv/encoding.h"
#include "kiv/startup.h"

namespace {

// The name is 北门 in GB2312, as an editor on the spot would write it.
constexpr const char kSettings[] =
    "<?xml version=\"1.0\" encoding=\"GB2312\"?>\n"
    "<settings>\n"
    "  <scale port=\"COM3\" name=\"\xB1\xB1\xC3\xC5\" enabled=\"TRUE\">\n"
    "    <baud>9600</baud>\n"
    "  </scale>\n"
    "  <scale port=\"COM4\" retries=\"-1\"/>\n"
    "</settings>\n";

int faults = 0;

// A terminal takes UTF-8.
void Show(const std::string& what, const std::string& text_gb,
          const std::string& expected_gb) {
  std::cout << what << ": " << kiv::stringToUtf8(text_gb.c_str(), 0).get()
            << '\n';
  if (text_gb == expected_gb) return;
  std::cout << "  expected " << kiv::stringToUtf8(expected_gb.c_str(), 0).get()
            << '\n';
  ++faults;
}

bool Run() {
  kiv::DomParser parser;
  kiv::DomDocument document;
  kiv::DomElement settings;
  if (!parser.parseMem(kSettings, std::strlen(kSettings), document) ||
      !document.GetDocumentElement(settings))
    return false;

  kiv::DomElement scale;
  kiv::DomNodeList2 scales;
  settings.ChildElementList("scale", scales);
  for (unsigned i = 0; scales.item(i, scale); ++i)
    std::cout << "scale on " << scale.Attribute("port") << ", "
              << (scale.AttributeBool("enabled", false) ? "on" : "off") << ", "
              << scale.AttributeInt("retries", 3) << " retries\n";

  if (!settings.GetFirstChildElement("scale", scale, "port", "COM3"))
    return false;
  Show("name", scale.Attribute("name"), "\xB1\xB1\xC3\xC5");
  kiv::DomElement baud;
  std::string value;
  scale.GetOrCreateElement("baud", baud);
  baud.GetTrimTextChildValue(value);
  Show("baud", value, "9600");

  baud.SetTextContent("19200");
  scale.RemoveAttribute("enabled");
  kiv::DomDocumentContent content;
  if (!scale.GetElementContent(content, "GB2312")) return false;
  Show("written", content.GetContent(),
       "<?xml version=\"1.0\" encoding=\"GB2312\" ?>"
       "<scale name=\"\xB1\xB1\xC3\xC5\" port=\"COM3\">\n"
       "    <baud>19200</baud>\n"
       "  </scale>");

  // What is not well-formed is refused, and the log says where and why.
  Show("broken",
       parser.parseMem("<settings>", 10, document) ? "read" : "refused",
       "refused");
  return true;
}

}  // namespace

int main() {
  kiv::GlobalInit();
  const bool is_done = Run();
  kiv::GlobalUninit();
  return is_done && faults == 0 ? 0 : 1;
}
