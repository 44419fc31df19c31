#ifndef XML_GUARDED_PARSER_H_
#define XML_GUARDED_PARSER_H_

#include <cstdint>
#include <string>
#include <utility>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/parsers/DOMLSParserImpl.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/Locator.hpp>

#include "kiv/dom_parser.h"
#include "xml/xml_text.h"

namespace kiv {

// Why a document is refused. Thrown through the library's parser, which then
// stops where it is.
struct DocumentRefused {
  std::string reason;
  std::uint64_t line = 0;
  std::uint64_t column = 0;
};

// One element with more attributes is refused: the library's time for adding
// them grows with their square.
inline constexpr unsigned kMaxAttributes = 1000;

[[noreturn]] inline void RefuseHere(const xercesc::XMLScanner& scanner,
                                    std::string reason) {
  const xercesc::Locator* const locator = scanner.getLocator();
  throw DocumentRefused{std::move(reason), locator->getLineNumber(),
                        locator->getColumnNumber()};
}

// Of an element with so many parents.
inline void RefuseBeyondLimits(const xercesc::XMLScanner& scanner,
                               unsigned depth, XMLSize_t attribute_count) {
  if (depth == DomParser::MaxDepth())
    RefuseHere(scanner, "elements are nested deeper than " +
                            std::to_string(depth) + " levels");
  if (attribute_count > kMaxAttributes)
    RefuseHere(scanner, "an element has more than " +
                            std::to_string(kMaxAttributes) + " attributes");
}

// A parser of the XML library that refuses a document type declaration before
// anything of it is read, and depth before it is built.
template <class Parser>
class GuardedParser : public Parser {
 public:
  void startDocument() override {
    depth_ = 0;
    Parser::startDocument();
  }

  void doctypeDecl(const xercesc::DTDElementDecl&, const XMLCh*, const XMLCh*,
                   bool, bool) override {
    RefuseHere(*this->getScanner(), "document type declarations are refused");
  }

  void startElement(const xercesc::XMLElementDecl& declaration,
                    unsigned namespace_id, const XMLCh* prefix,
                    const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                    XMLSize_t attribute_count, bool is_empty,
                    bool is_root) override {
    RefuseBeyondLimits(*this->getScanner(), depth_, attribute_count);
    ++depth_;
    // Ends an empty element too, through endElement below.
    Parser::startElement(declaration, namespace_id, prefix, attributes,
                         attribute_count, is_empty, is_root);
  }

  void endElement(const xercesc::XMLElementDecl& declaration,
                  unsigned namespace_id, bool is_root,
                  const XMLCh* prefix) override {
    --depth_;
    Parser::endElement(declaration, namespace_id, is_root, prefix);
  }

 private:
  unsigned depth_ = 0;
};

using GuardedBuilder = GuardedParser<xercesc::DOMLSParserImpl>;

// Left alone, this parser passes over every error and hands out what it has
// built so far.
class GuardedPlainParser : public GuardedParser<xercesc::XercesDOMParser> {
 public:
  GuardedPlainParser() { getScanner()->setErrorReporter(this); }

  void error(unsigned, const XMLCh*, xercesc::XMLErrorReporter::ErrTypes type,
             const XMLCh* text, const XMLCh*, const XMLCh*, XMLFileLoc line,
             XMLFileLoc column) override {
    if (type == xercesc::XMLErrorReporter::ErrType_Fatal)
      throw DocumentRefused{LocalText(text), line, column};
  }
};

}  // namespace kiv

#endif  // XML_GUARDED_PARSER_H_
