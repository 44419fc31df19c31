// Declaring record types from a schema, and the XML library merely parsing it.
#include <string>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "compare.h"
#include "dm/schema.h"

namespace {

constexpr int kFields = 10;

std::string NameOf(std::size_t type) { return "Record" + std::to_string(type); }

std::string Schema(std::size_t count) {
  const char* const types[kFields] = {"int",      "short", "long",    "byte",
                                      "double",   "float", "boolean", "string",
                                      "dateTime", "string"};
  std::string text =
      "<?xml version=\"1.0\" encoding=\"GB2312\"?>\n"
      "<xsd:schema xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">\n";
  for (std::size_t i = 0; i < count; ++i) {
    text +=
        "  <xsd:complexType name=\"" + NameOf(i) + "\">\n    <xsd:sequence>\n";
    for (int field = 0; field < kFields; ++field) {
      text += "      <xsd:element name=\"field" + std::to_string(field) +
              "\" type=\"xsd:" + types[field] + "\"/>\n";
    }
    text += "    </xsd:sequence>\n  </xsd:complexType>\n";
  }
  return text + "</xsd:schema>\n";
}

bool DeclareAll(const std::string& schema) {
  return dm_o_declare_from_mem(schema.data(),
                               static_cast<unsigned>(schema.size()), 0, true);
}

// All are there already, so that every round replaces all of them.
void Declare(benchmark::State& state, std::size_t types) {
  const std::string schema = Schema(types);
  bool is_declared = DeclareAll(schema);
  for (auto _ : state) is_declared = is_declared && DeclareAll(schema);
  if (!is_declared) state.SkipWithError("the schema was refused");
  for (std::size_t i = 0; i < types; ++i) dm_o_del_metadata(NameOf(i).c_str());
}

void ParseOnly(benchmark::State& state, std::size_t types) {
  const std::string schema = Schema(types);
  for (auto _ : state) {
    xercesc::XercesDOMParser parser;
    const xercesc::MemBufInputSource source(
        reinterpret_cast<const XMLByte*>(schema.data()), schema.size(),
        "bench");
    parser.parse(source);
    benchmark::DoNotOptimize(parser.getDocument());
  }
}

// At most 1.5 times the time.
const bool declare = bench::Compare(
    {"dm/declare_1000_record_types", "types/s", bench::Size, "xerces_parsing",
     0.67},
    bench::Curve{"types", 1000, {10, 100, 10'000}}, Declare, ParseOnly);

}  // namespace
