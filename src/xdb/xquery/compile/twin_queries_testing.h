#ifndef XDB_XQUERY_COMPILE_TWIN_QUERIES_TESTING_H_
#define XDB_XQUERY_COMPILE_TWIN_QUERIES_TESTING_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "xdb/xquery/compile/query.h"
#include "xdb/xquery/run/listed_documents_testing.h"
#include "xdb/xquery/run/serializer.h"

// For tests: documents and queries made of arbitrary bytes. Each query comes
// twice, once so that indices and joins can serve it, and once with its
// conditions in functions, into which no plan looks.
namespace kiv::xdb::xq {

// Decisions, one a byte; behind the last byte always the first choice.
class Choices {
 public:
  explicit Choices(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::size_t Below(std::size_t count) {
    if (bytes_.empty()) return 0;
    const std::uint8_t byte = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return byte % count;
  }
  bool OneIn(std::size_t count) { return Below(count) == count - 1; }
  template <std::size_t kCount>
  const char* Of(const char* const (&words)[kCount]) {
    return words[Below(kCount)];
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

// What is hard on comparisons: values that are equal as numbers and not as
// texts, or as doubles and not as integers; what is no number; what is longer
// than an entry of an index, or than what an index takes.
class AwkwardXml {
 public:
  explicit AwkwardXml(Choices& choices)
      : choices_(choices), has_texts_(choices.OneIn(2)) {}

  std::string Document() { return Element(0); }

 private:
  std::string Value() {
    static constexpr const char* kNumbers[] = {"1",
                                               "2",
                                               "3",
                                               "10",
                                               "1.0",
                                               "1e0",
                                               " 1 ",
                                               "-0",
                                               "0",
                                               "NaN",
                                               "INF",
                                               "9007199254740992",
                                               "9007199254740993",
                                               "0.1"};
    static constexpr const char* kTexts[] = {
        "",
        "a",
        "b",
        "ab",
        "abcde",
        "abcdf",
        "2004-01-01",
        "true",
        "0123456789012345678901234567890123456789012345678901234567890123456"};
    return has_texts_ && choices_.OneIn(2) ? choices_.Of(kTexts)
                                           : choices_.Of(kNumbers);
  }
  std::string Element(int depth) {
    static constexpr const char* kNames[] = {"a", "b", "r", "p:a"};
    const std::string name = depth == 0 ? "r" : choices_.Of(kNames);
    std::string xml = "<" + name;
    if (depth == 0) xml += " xmlns:p='u'";
    if (choices_.OneIn(2)) xml += " x='" + Value() + "'";
    if (choices_.OneIn(3)) xml += " y='" + Value() + "'";
    xml += ">";
    for (std::size_t parts = choices_.Below(4); parts != 0; --parts) {
      if (depth < 3 && !choices_.OneIn(3)) {
        xml += Element(depth + 1);
      } else {
        xml += Value();
        if (choices_.OneIn(5)) xml += "<!--c-->";
      }
    }
    return xml + "</" + name + ">";
  }

  Choices& choices_;
  const bool has_texts_;
};

class TwinQueries {
 public:
  explicit TwinQueries(Choices& choices)
      : choices_(choices), shape_(choices.Below(7)) {
    const bool has_order = choices.OneIn(3);
    switch (shape_) {
      case 0: {
        const std::string head = "(" + Source("") + ")" + Position() + "[";
        const Twin condition = Condition("");
        Both(head, condition, "]" + Position());
        break;
      }
      case 1: {
        const std::string head = "count(" + Source("") + Position() + "[";
        Both(head, Condition(""), "])");
        break;
      }
      case 2:
        Both(choices.OneIn(2) ? "some " : "every ", Bindings() + " satisfies ",
             Condition("$a"), "");
        break;
      case 3:
        Both("for ", Bindings() + " where ", Conditions(),
             (has_order ? Order() : "") + Result());
        break;
      case 4:
        Both("for $a in " + Source("") +
                 " return <o>{data($a), count(for $b in " + Source("") +
                 " where ",
             Conditions(), " return $b)}</o>");
        break;
      case 5:
        Both("for $a in " + Source("") + " let $l := for $b in " + Source("") +
                 " where ",
             Conditions(),
             " return $b " + (has_order ? Order() : "") +
                 " return ($a/name(), ':', $l/string(), ';')");
        break;
      default:
        Both("let $l := collection('c')//* for $a in $l, $b in " + Source("") +
                 " where ",
             Conditions(), Result());
    }
  }

  const std::string& planned() const { return planned_; }
  std::string plain() const { return functions_ + plain_; }
  // Its conditions are not those of a path.
  bool has_tuples() const { return shape_ > 1; }

 private:
  struct Twin {
    std::string planned;
    std::string plain;
  };

  void Both(const std::string& begin, const Twin& condition,
            const std::string& end) {
    planned_ = begin + condition.planned + end;
    plain_ = begin + condition.plain + end;
  }
  void Both(const std::string& begin, const std::string& middle,
            const Twin& condition, const std::string& end) {
    Both(begin + middle, condition, end);
  }

  std::string Source(const std::string& inner) {
    static constexpr const char* kSources[] = {"/r",    "//a",     "/r/a",
                                               "//*",   "//*:a",   "//b[1]",
                                               "/r//b", "/r/*/..", "/*[@x]"};
    return "collection('c')" + std::string(choices_.Of(kSources)) + inner;
  }
  std::string Position() {
    static constexpr const char* kPositions[] = {"", "", "[1]", "[last()]",
                                                 "[position() < 3]"};
    return choices_.Of(kPositions);
  }
  std::string Bindings() {
    const std::string first = "$a in " + Source("");
    const std::string at = choices_.OneIn(3) ? " at $i" : "";
    return first + ", $b" + at + " in " + Source("");
  }
  std::string Order() {
    return " order by " + Value("$b") + "[1]" +
           (choices_.OneIn(2) ? " descending" : "") +
           (choices_.OneIn(2) ? ", " + Value("$a") + "[1]" : "");
  }
  std::string Result() {
    return choices_.OneIn(2)
               ? " return <o>{data($a), '-', data($b)}</o>"
               : " return ($a/name(), $b/string(), $b/count(preceding::*))";
  }

  // The items that `from` leads to; "" is the context item.
  std::string Path(const std::string& from) {
    static constexpr const char* kPaths[] = {
        "@x",     "a",         "@y",
        "b",      "a/@x",      "b/text()",
        ".//@x",  "a/b",       "a[1]",
        ".",      "*",         "a[@x]/b",
        "text()", "*/@*",      "p:a",
        "../@x",  "b[last()]", "descendant::b[@y = '1']"};
    return (from.empty() ? "" : from + "/") + choices_.Of(kPaths);
  }
  std::string Value(const std::string& from) {
    const std::string path = Path(from);
    switch (choices_.Below(10)) {
      case 0:
        return "number(" + path + ")";
      case 1:
        return "(" + path + ")/number()";
      case 2:
        return "string(" + path + ")";
      case 3:
        return "(" + path + ", " + Path(from) + ")";
      case 4:
        return "concat((" + path + ")[1], '')";
      case 5:
        return "string-length((" + path + ")[1])";
      default:
        return path;
    }
  }
  std::string Constant() {
    static constexpr const char* kConstants[] = {
        "'1'",
        "1",
        "('1', 'a')",
        "(1, 10)",
        "1.0",
        "1e0",
        "()",
        "collection('c')//@y",
        "collection('c')/r[@x = '1']/a",
        "number('none')",
        "'abcde'",
        "xs:float(0.1)",
        "xs:untypedAtomic('1')",
        "9007199254740993",
        "9.007199254740992e15",
        "('ab', 3)",
        "true()",
        "xs:date('2004-01-01')",
        "''",
        "'01234567890123456789012345678901234'"};
    return choices_.Of(kConstants);
  }
  // About the context item, or $a and perhaps $b.
  std::string Test(const std::string& from) {
    static constexpr const char* kRelations[] = {" = ",  " = ",  " != ", " < ",
                                                 " <= ", " > ",  " >= ", " eq ",
                                                 " ne ", " lt ", " le ", " gt ",
                                                 " ge "};
    const bool is_join = !from.empty() && choices_.OneIn(2);
    switch (choices_.Below(10)) {
      case 0:
        return "exists(" + Path(from) + ")";
      case 1:
        return "boolean(" + Path(from) + "/self::node())";
      case 2:
        return "not(" + Value(from) + choices_.Of(kRelations) + Constant() +
               ")";
      case 3:
        return "contains(" + Path(from) + "[1], '1')";
      default: {
        const std::string left = Value(from);
        const char* const relation = choices_.Of(kRelations);
        const std::string right = is_join ? Value("$b") : Constant();
        return choices_.OneIn(3) ? right + relation + left
                                 : left + relation + right;
      }
    }
  }
  std::string Tests(const std::string& from) {
    std::string tests = Test(from);
    if (choices_.OneIn(3)) tests += " and " + Test(from);
    if (choices_.OneIn(4)) tests = "(" + tests + " or " + Test(from) + ")";
    return tests;
  }
  // One function a condition, so that the order of their tests stays.
  Twin Condition(const std::string& from) {
    Twin twin{Tests(from), {}};
    const std::string name = "local:f" + std::to_string(function_count_++);
    if (from.empty()) {
      functions_ += "declare function " + name + "($c) {$c/boolean(" +
                    twin.planned + ")}; ";
      twin.plain = name + "(.)";
    } else {
      functions_ +=
          "declare function " + name + "($a, $b) {" + twin.planned + "}; ";
      twin.plain = name + "($a, $b)";
    }
    return twin;
  }
  Twin Conditions() {
    Twin all = Condition("$a");
    if (choices_.OneIn(2)) {
      const Twin other = Condition("$b");
      all.planned += " and " + other.planned;
      all.plain += " and " + other.plain;
    }
    return all;
  }

  Choices& choices_;
  const std::size_t shape_;
  int function_count_ = 0;
  std::string functions_;
  std::string planned_;
  std::string plain_;
};

// The result as it is written, or the code of the error. None: it took too
// long.
struct TwinAnswer {
  bool is_error = false;
  std::string text;
};
inline std::optional<TwinAnswer> AnswerOf(const std::string& query,
                                          DocumentSource& documents) {
  Surroundings surroundings;
  surroundings.documents = &documents;
  surroundings.limits.time = std::chrono::seconds(2);
  surroundings.limits.memory_bytes = 64 << 20;
  TwinAnswer answer;
  try {
    StaticSettings settings;
    settings.namespaces = {{"p", "u"}};
    RunningQuery running(Compile(query, settings), surroundings, Item(), {});
    Serializer serializer(answer.text);
    for (Item item; running.Next(item);) serializer.Write(item);
  } catch (const Error& error) {
    if (error.code() == "XPDY0130") return std::nullopt;
    answer = {true, error.code()};
  }
  return answer;
}

// What is wrong with the answers of a query made of those bytes, over documents
// made of them; empty: nothing. Only where the plain query fails may the other
// one do what it likes: it need not look at what made that fail. Conditions of
// tuples may be tested before it is known that there are any, and fail.
inline std::string FaultOfTwins(std::span<const std::uint8_t> bytes) {
  Choices choices(bytes);
  const TwinQueries queries(choices);
  ListedDocuments documents;
  std::string all;
  AwkwardXml xml(choices);
  static constexpr const char* kNames[] = {"e", "a", "d", "b", "c"};
  for (std::size_t count = 1 + choices.Below(5); count != 0; --count) {
    const std::string document = xml.Document();
    documents.Add(kNames[count - 1], document);
    all += document + "\n";
  }
  documents.SetIndexed(false);
  const auto plain = AnswerOf(queries.plain(), documents);
  if (!plain || plain->is_error) return "";
  for (const bool is_indexed : {false, true}) {
    documents.SetIndexed(is_indexed);
    const auto planned = AnswerOf(queries.planned(), documents);
    if (!planned || (planned->is_error && queries.has_tuples())) continue;
    if (planned->is_error || planned->text != plain->text) {
      return all + queries.planned() + "\ngives " + planned->text +
             (is_indexed ? " with" : " without") + " the index, but\n" +
             queries.plain() + "\ngives " + plain->text;
    }
  }
  return "";
}

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_COMPILE_TWIN_QUERIES_TESTING_H_
