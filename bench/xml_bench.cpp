// Walking elements and reading three attributes of each, through the
// wrapper and with the DOM itself.
#include <string>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/XMLString.hpp>

#include "compare.h"
#include "kiv/dom.h"

namespace {

std::string Document(std::size_t elements) {
  std::string text = "<?xml version=\"1.0\" encoding=\"GB2312\"?><records>";
  for (std::size_t i = 0; i < elements; ++i) {
    const std::string number = std::to_string(i);
    text += "<record id=\"" + number +
            "\" scale=\"weighbridge-01\" plate=\"\xBE\xA9"  // 京
            "A" +
            number + "\"/>";
  }
  return text + "</records>";
}

void Wrapper(benchmark::State& state, std::size_t elements) {
  kiv::DomParser parser;
  kiv::DomDocument document;
  kiv::DomElement root;
  const std::string text = Document(elements);
  if (!parser.parseMem(text.data(), static_cast<unsigned>(text.size()),
                       document) ||
      !document.GetDocumentElement(root)) {
    state.SkipWithError("the document was refused");
    return;
  }
  for (auto _ : state) {
    std::size_t bytes = 0;
    std::size_t count = 0;
    std::string value;
    kiv::DomElement element;
    bool is_there = root.GetFirstChild(element);
    while (is_there) {
      for (const char* name : {"id", "scale", "plate"}) {
        element.Attribute(name, value);
        bytes += value.size();
      }
      ++count;
      is_there = element.GetNextSibling(element);
    }
    benchmark::DoNotOptimize(bytes);
    if (count != elements) state.SkipWithError("elements were lost");
  }
}

// As a program on the DOM alone does it: names converted once, each value into
// a string of the local encoding.
void RawDom(benchmark::State& state, std::size_t elements) {
  xercesc::XercesDOMParser parser;
  const std::string text = Document(elements);
  const xercesc::MemBufInputSource source(
      reinterpret_cast<const XMLByte*>(text.data()), text.size(), "bench");
  parser.parse(source);
  const xercesc::DOMElement* root = parser.getDocument()->getDocumentElement();
  const XMLCh* const names[] = {u"id", u"scale", u"plate"};
  for (auto _ : state) {
    std::size_t bytes = 0;
    std::size_t count = 0;
    for (const xercesc::DOMElement* element = root->getFirstElementChild();
         element != nullptr; element = element->getNextElementSibling()) {
      for (const XMLCh* name : names) {
        char* narrow =
            xercesc::XMLString::transcode(element->getAttribute(name));
        const std::string value = narrow;
        xercesc::XMLString::release(&narrow);
        bytes += value.size();
      }
      ++count;
    }
    benchmark::DoNotOptimize(bytes);
    if (count != elements) state.SkipWithError("elements were lost");
  }
}

const bool walk = bench::Compare(
    {"xml/walk_three_attributes", "elements/s", bench::Size, "raw xerces",
     1 / 1.5},
    bench::Curve{"elements", 100'000, {100, 1000, 10'000, 1'000'000}}, Wrapper,
    RawDom);

}  // namespace
