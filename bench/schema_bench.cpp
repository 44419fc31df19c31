// Declaring 1,000 record types from a schema, and the XML library merely
// parsing it.
#include <string>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "compare.h"
#include "dm/schema.h"

namespace {

constexpr int kTypes = 1000;
constexpr int kFields = 10;

const std::string& Schema() {
  static const std::string schema = [] {
    const char* const types[kFields] = {
        "int",   "short",   "long",   "byte",     "double",
        "float", "boolean", "string", "dateTime", "string"};
    std::string text =
        "<?xml version=\"1.0\" encoding=\"GB2312\"?>\n"
        "<xsd:schema xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">\n";
    for (int i = 0; i < kTypes; ++i) {
      text += "  <xsd:complexType name=\"Record" + std::to_string(i) +
              "\">\n    <xsd:sequence>\n";
      for (int field = 0; field < kFields; ++field) {
        text += "      <xsd:element name=\"field" + std::to_string(field) +
                "\" type=\"xsd:" + types[field] + "\"/>\n";
      }
      text += "    </xsd:sequence>\n  </xsd:complexType>\n";
    }
    return text + "</xsd:schema>\n";
  }();
  return schema;
}

void Declare(benchmark::State& state) {
  const std::string& text = Schema();
  for (auto _ : state) {
    // Replacing: every round declares all of them.
    if (!dm_o_declare_from_mem(text.data(), static_cast<unsigned>(text.size()),
                               0, true)) {
      state.SkipWithError("the schema was refused");
      return;
    }
  }
}

void ParseOnly(benchmark::State& state) {
  const std::string& text = Schema();
  for (auto _ : state) {
    xercesc::XercesDOMParser parser;
    const xercesc::MemBufInputSource source(
        reinterpret_cast<const XMLByte*>(text.data()), text.size(), "bench");
    parser.parse(source);
    benchmark::DoNotOptimize(parser.getDocument());
  }
}

// At most 1.5 times the time.
const bool declare = bench::Compare(
    {"dm/declare_1000_record_types", "types/s", kTypes, "xerces_parsing", 0.67},
    Declare, ParseOnly);

}  // namespace
