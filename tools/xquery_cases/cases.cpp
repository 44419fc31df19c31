#include "cases.h"

#include <zlib.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace xquery_cases {
namespace {

using Json = nlohmann::json;

std::string TextOf(const Json& value) {
  return value.is_null() ? std::string() : value.get<std::string>();
}

bool IsTrue(const Json& attributes, const char* name) {
  return attributes.value(name, "") == "true";
}

Assertion ReadAssertion(const Json& value) {
  Assertion assertion;
  assertion.kind = value.at(0).get<std::string>();
  if (value.at(1).is_array()) {
    for (const Json& child : value.at(1)) {
      assertion.children.push_back(ReadAssertion(child));
    }
    return assertion;
  }
  assertion.text = TextOf(value.at(1));
  if (value.size() < 3) return assertion;
  const Json& attributes = value.at(2);
  assertion.file = attributes.value("file", "");
  assertion.code = attributes.value("code", "");
  assertion.normalize_space = IsTrue(attributes, "normalize-space");
  assertion.ignore_prefixes = IsTrue(attributes, "ignore-prefixes");
  return assertion;
}

Environment ReadEnvironment(const Json& value) {
  Environment environment;
  if (value.is_null()) return environment;
  for (const Json& one : value.at("sources")) {
    environment.sources.push_back(
        {TextOf(one.at(0)), TextOf(one.at(1)), TextOf(one.at(2))});
  }
  for (const Json& one : value.at("params")) {
    environment.parameters.push_back(
        {TextOf(one.at(0)), TextOf(one.at(1)), TextOf(one.at(2)) == "true"});
  }
  for (const Json& one : value.at("ns")) {
    environment.namespaces.emplace_back(TextOf(one.at(0)), TextOf(one.at(1)));
  }
  for (const Json& one : value.at("colls")) {
    environment.collections.emplace_back(
        TextOf(one.at(0)), one.at(1).get<std::vector<std::string>>());
  }
  if (!value.at("base").is_null()) environment.base_uri = TextOf(value["base"]);
  return environment;
}

Case ReadCase(const Json& value) {
  Case one;
  one.set = TextOf(value.at("set"));
  one.name = TextOf(value.at("name"));
  one.file = TextOf(value.at("file"));
  one.query = TextOf(value.at("q"));
  one.environment = ReadEnvironment(value.at("env"));
  one.expected = ReadAssertion(value.at("res"));
  return one;
}

// What is not compressed comes through as it is.
std::string Unpacked(const std::string& file) {
  const std::unique_ptr<gzFile_s, int (*)(gzFile)> in(
      gzopen(file.c_str(), "rb"), gzclose);
  if (in == nullptr) throw std::runtime_error(file + " cannot be opened");
  std::string text;
  char block[1 << 16];
  int count = 0;
  while ((count = gzread(in.get(), block, sizeof block)) > 0) {
    text.append(block, static_cast<std::size_t>(count));
  }
  if (count < 0) throw std::runtime_error(file + " cannot be read");
  return text;
}

}  // namespace

std::vector<Case> ReadCases(const std::string& file) {
  const std::string text = Unpacked(file);
  std::vector<Case> cases;
  std::size_t number = 0;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    ++number;
    if (end != begin) {
      try {
        cases.push_back(ReadCase(
            Json::parse(text.begin() + static_cast<std::ptrdiff_t>(begin),
                        text.begin() + static_cast<std::ptrdiff_t>(end))));
      } catch (const Json::exception& error) {
        throw std::runtime_error(file + ", line " + std::to_string(number) +
                                 ": " + error.what());
      }
    }
    begin = end + 1;
  }
  return cases;
}

std::string ReadFile(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error(file + " cannot be opened");
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace xquery_cases
