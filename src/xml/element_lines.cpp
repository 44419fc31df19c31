#include "xml/element_lines.h"

#include <memory>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "kiv/dom_parser.h"
#include "port/read_file.h"
#include "xml/document_path.h"
#include "xml/guarded_parser.h"

namespace kiv {
namespace {

class LineCollector final : public xercesc::DefaultHandler {
 public:
  explicit LineCollector(std::vector<unsigned>& lines) : lines_(lines) {}

  void setDocumentLocator(const xercesc::Locator* locator) override {
    locator_ = locator;
  }

  void startElement(const XMLCh*, const XMLCh*, const XMLCh*,
                    const xercesc::Attributes&) override {
    lines_.push_back(static_cast<unsigned>(locator_->getLineNumber()));
  }

  // The file may be another one by now than DomParser took.
  void startDTD(const XMLCh*, const XMLCh*, const XMLCh*) override {
    throw DocumentRefused{"document type declarations are refused"};
  }

  void fatalError(const xercesc::SAXParseException& error) override {
    throw error;
  }

 private:
  std::vector<unsigned>& lines_;
  const xercesc::Locator* locator_ = nullptr;
};

void Read(const std::string& document, std::vector<unsigned>& lines) {
  const std::unique_ptr<xercesc::SAX2XMLReader> reader(
      xercesc::XMLReaderFactory::createXMLReader());
  reader->setFeature(xercesc::XMLUni::fgSAX2CoreValidation, false);
  reader->setFeature(xercesc::XMLUni::fgXercesLoadExternalDTD, false);
  LineCollector collector(lines);
  reader->setContentHandler(&collector);
  reader->setErrorHandler(&collector);
  reader->setLexicalHandler(&collector);
  reader->parse(xercesc::MemBufInputSource(
      reinterpret_cast<const XMLByte*>(document.data()), document.size(), ""));
}

}  // namespace

std::vector<unsigned> ReadElementLines(const std::string& path) {
  std::vector<unsigned> lines;
  try {
    const auto native_path = NativeDocumentPath(path);
    std::string document;
    if (native_path && port::ReadFileText(*native_path, DomParser::MaxBytes(),
                                          document) == port::FileRead::Whole)
      Read(document, lines);
  } catch (...) {
    // What is wrong with the document is DomParser's to say.
    lines.clear();
  }
  return lines;
}

}  // namespace kiv
