#include "xml/element_lines.h"

#include <memory>
#include <xercesc/framework/LocalFileInputSource.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "port/native_path.h"
#include "util/utf8.h"

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

  void fatalError(const xercesc::SAXParseException& error) override {
    throw error;
  }

 private:
  std::vector<unsigned>& lines_;
  const xercesc::Locator* locator_ = nullptr;
};

void Read(const std::u16string& path, std::vector<unsigned>& lines) {
  const std::unique_ptr<xercesc::SAX2XMLReader> reader(
      xercesc::XMLReaderFactory::createXMLReader());
  reader->setFeature(xercesc::XMLUni::fgSAX2CoreValidation, false);
  reader->setFeature(xercesc::XMLUni::fgXercesLoadExternalDTD, false);
  LineCollector collector(lines);
  reader->setContentHandler(&collector);
  reader->setErrorHandler(&collector);
  reader->parse(xercesc::LocalFileInputSource(path.c_str()));
}

}  // namespace

std::vector<unsigned> ReadElementLines(const std::string& file) {
  std::vector<unsigned> lines;
  try {
    Read(Utf8ToUtf16(port::SystemPath(file)), lines);
  } catch (...) {
    // What is wrong with the document is DomParser's to say.
    lines.clear();
  }
  return lines;
}

}  // namespace kiv
