#ifndef XQUERY_CASES_CASES_H_
#define XQUERY_CASES_CASES_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace xquery_cases {

// A document of the environment: role "." is the context item, "$x" a variable,
// empty a document that the query finds by its URI.
struct Source {
  std::string role;
  std::string file;  // below the folder of the sources
  std::string uri;   // may be empty
};

struct Parameter {
  std::string name;
  std::string select;        // an expression
  bool is_declared = false;  // by the query itself, as external
};

struct Environment {
  std::vector<Source> sources;
  std::vector<Parameter> parameters;
  std::vector<std::pair<std::string, std::string>> namespaces;  // prefix, URI
  std::vector<std::pair<std::string, std::vector<std::string>>> collections;
  std::optional<std::string> base_uri;
};

// What is expected: one assertion, or several joined.
struct Assertion {
  std::string kind;
  std::string text;
  std::string file;  // holds the text when it is not empty
  std::string code;  // of an error; "*" is any
  bool normalize_space = false;
  bool ignore_prefixes = false;
  std::vector<Assertion> children;
};

struct Case {
  std::string set;
  std::string name;
  std::string file;  // whose URI is the static base URI
  std::string query;
  Environment environment;
  Assertion expected;

  std::string FullName() const { return set + "/" + name; }
};

// One JSON object a line, plain or compressed by gzip. Throws
// std::runtime_error that names the file and the line.
std::vector<Case> ReadCases(const std::string& file);

// Throws std::runtime_error.
std::string ReadFile(const std::string& file);

}  // namespace xquery_cases

#endif  // XQUERY_CASES_CASES_H_
