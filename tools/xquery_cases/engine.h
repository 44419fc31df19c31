#ifndef XQUERY_CASES_ENGINE_H_
#define XQUERY_CASES_ENGINE_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace xquery_cases {

// What a query ends with instead of a result. The code is the local name of
// the error's, such as XPST0003.
struct QueryFailure {
  std::string code;
  std::string message;
};

// A sequence of items; what is in it only the engine knows.
class Value {
 public:
  virtual ~Value() = default;
};
using ValuePtr = std::shared_ptr<const Value>;

struct Variable {
  std::string name;
  ValuePtr value;
  // Else the query may use the variable without saying a word of it.
  bool is_declared = false;
};

struct Document {
  std::string uri;
  std::string file;
};

struct Collection {
  std::string uri;  // empty: the default collection
  std::vector<Document> documents;
};

struct Query {
  std::string text;
  std::string base_uri;  // empty: undefined
  // Of the static context; an empty prefix is the default for elements.
  std::vector<std::pair<std::string, std::string>> namespaces;
  std::vector<Variable> variables;
  ValuePtr context;  // or null
  // Beside what doc() finds as a file.
  std::vector<Document> documents;
  std::vector<Collection> collections;
};

// What the cases are run on. Every operation throws QueryFailure, and nothing
// else.
class Engine {
 public:
  virtual ~Engine() = default;

  virtual ValuePtr Run(const Query& query) = 0;
  virtual ValuePtr Load(const Document& document) = 0;
  // As XML without a declaration and without indentation; items that are no
  // nodes as their string values, with a space between two of those.
  virtual std::string Serialize(const Value& value) = 0;
};

// The one that this program was built with.
std::unique_ptr<Engine> MakeEngine();

}  // namespace xquery_cases

#endif  // XQUERY_CASES_ENGINE_H_
