#include "judge.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "xml_equality.h"

namespace xquery_cases {
namespace {

Verdict Passed() { return {Outcome::Passed, ""}; }
Verdict Failed(std::string reason) {
  return {Outcome::Failed, std::move(reason)};
}

std::string FileUri(const std::string& file) {
  std::string uri = "file://";
  for (const char c : std::filesystem::absolute(file).string()) {
    if (c == ' ' || c == '%') {
      uri += c == ' ' ? "%20" : "%25";
    } else {
      uri += c;
    }
  }
  return uri;
}

// As a literal of the query language.
std::string Literal(const std::string& text) {
  std::string literal = "\"";
  for (const char c : text) {
    if (c == '"') {
      literal += "\"\"";
    } else if (c == '&') {
      literal += "&amp;";
    } else if (c == '\r') {
      literal += "&#13;";
    } else {
      literal += c;
    }
  }
  return literal + "\"";
}

std::string Collapsed(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const bool is_space = c == ' ' || c == '\t' || c == '\n' || c == '\r';
    if (!is_space) {
      result += c;
    } else if (!result.empty() && result.back() != ' ') {
      result += ' ';
    }
  }
  if (result.ends_with(' ')) result.pop_back();
  return result;
}

std::string Shown(const QueryFailure& failure) {
  return failure.code + " (" + failure.message + ")";
}

// One case: its result, and the assertions over it.
class Trial {
 public:
  Trial(const Case& one, Engine& engine, const std::string& sources)
      : case_(one), engine_(engine), sources_(sources) {}

  void Run() {
    try {
      result_ = engine_.Run(MakeQuery());
    } catch (const QueryFailure& failure) {
      failure_ = failure;
    }
  }

  Verdict Check(const Assertion& expected);

 private:
  std::string PathOf(const std::string& file) const {
    return (std::filesystem::path(sources_) / file).string();
  }

  Document DocumentOf(const std::string& file, const std::string& uri) const {
    return {uri.empty() ? FileUri(PathOf(file)) : uri, PathOf(file)};
  }

  Query MakeQuery();
  Query About(const std::string& expression) const;
  std::string Evaluate(const std::string& expression);
  Verdict Holds(const std::string& expression);
  Verdict CheckError(const Assertion& expected) const;
  Verdict CheckAny(const Assertion& expected);
  Verdict CheckAll(const Assertion& expected);
  Verdict CheckNot(const Assertion& expected);
  Verdict CheckValue(const Assertion& expected);
  Verdict CheckString(const Assertion& expected);
  Verdict CheckXml(const Assertion& expected);
  Verdict CheckSerializationError(const Assertion& expected);
  std::string TextOf(const Assertion& expected) const;

  const Case& case_;
  Engine& engine_;
  const std::string& sources_;
  ValuePtr result_;
  std::optional<QueryFailure> failure_;
};

Query Trial::MakeQuery() {
  const Environment& environment = case_.environment;
  Query query;
  query.text = case_.query;
  query.base_uri = environment.base_uri.value_or(FileUri(PathOf(case_.file)));
  if (query.base_uri == "#UNDEFINED") query.base_uri.clear();
  query.namespaces = environment.namespaces;
  for (const Source& source : environment.sources) {
    const Document document = DocumentOf(source.file, source.uri);
    if (source.role == ".") {
      query.context = engine_.Load(document);
    } else if (source.role.starts_with('$')) {
      query.variables.push_back(
          {source.role.substr(1), engine_.Load(document), false});
    }
    query.documents.push_back(document);
  }
  for (const auto& [uri, files] : environment.collections) {
    Collection collection{uri, {}};
    for (const std::string& file : files) {
      collection.documents.push_back(DocumentOf(file, ""));
    }
    query.collections.push_back(std::move(collection));
  }
  for (const Parameter& parameter : environment.parameters) {
    Query select;
    select.text = parameter.select;
    select.base_uri = query.base_uri;
    select.namespaces = environment.namespaces;
    query.variables.push_back(
        {parameter.name, engine_.Run(select), parameter.is_declared});
  }
  return query;
}

// An expression over $result.
Query Trial::About(const std::string& expression) const {
  Query query;
  query.text = expression;
  query.base_uri = FileUri(PathOf(case_.file));
  query.namespaces = case_.environment.namespaces;
  query.variables.push_back({"result", result_, false});
  return query;
}

std::string Trial::Evaluate(const std::string& expression) {
  return engine_.Serialize(*engine_.Run(About(expression)));
}

Verdict Trial::Holds(const std::string& expression) {
  try {
    const std::string answer = Evaluate(expression);
    if (answer == "true") return Passed();
    std::string found;
    try {
      found = engine_.Serialize(*result_);
    } catch (const QueryFailure& failure) {
      found = "what gives " + failure.code + " when it is serialized";
    }
    return Failed("expected " + expression + ", found " + found);
  } catch (const QueryFailure& failure) {
    return Failed(expression + " gave " + Shown(failure));
  }
}

Verdict Trial::Check(const Assertion& expected) {
  if (expected.kind == "any-of") return CheckAny(expected);
  if (expected.kind == "all-of") return CheckAll(expected);
  if (expected.kind == "not") return CheckNot(expected);
  if (expected.kind == "error") return CheckError(expected);
  if (expected.kind == "serialization-matches") {
    return {Outcome::Skipped, "an assertion on how the result is written"};
  }
  if (failure_) {
    return Failed("expected " + expected.kind + ", got " + Shown(*failure_));
  }
  if (expected.kind == "assert-serialization-error") {
    return CheckSerializationError(expected);
  }
  if (expected.kind == "assert-string-value") return CheckString(expected);
  if (expected.kind == "assert-xml") return CheckXml(expected);
  return CheckValue(expected);
}

Verdict Trial::CheckError(const Assertion& expected) const {
  if (!failure_) {
    std::string found;
    try {
      found = engine_.Serialize(*result_);
    } catch (const QueryFailure& failure) {
      // What cannot be written out may fail as late as then.
      if (failure.code == expected.code) return Passed();
      found = "what gives " + failure.code + " when it is serialized";
    }
    return Failed("expected " + expected.code + ", found " + found);
  }
  if (expected.code == "*" || failure_->code == expected.code) return Passed();
  return Failed("expected " + expected.code + ", got " + Shown(*failure_));
}

// The best of the children: passed before skipped before failed.
Verdict Trial::CheckAny(const Assertion& expected) {
  Verdict result = Failed("");
  for (const Assertion& child : expected.children) {
    Verdict verdict = Check(child);
    if (verdict.outcome == Outcome::Passed) return verdict;
    if (verdict.outcome == Outcome::Skipped) {
      result = verdict;
    } else if (result.outcome == Outcome::Failed) {
      result.reason += (result.reason.empty() ? "" : "; or ") + verdict.reason;
    }
  }
  return result;
}

// The worst of the children.
Verdict Trial::CheckAll(const Assertion& expected) {
  Verdict result = Passed();
  for (const Assertion& child : expected.children) {
    Verdict verdict = Check(child);
    if (verdict.outcome == Outcome::Failed) return verdict;
    if (verdict.outcome == Outcome::Skipped) result = verdict;
  }
  return result;
}

Verdict Trial::CheckNot(const Assertion& expected) {
  for (const Assertion& child : expected.children) {
    Verdict verdict = Check(child);
    if (verdict.outcome == Outcome::Skipped) return verdict;
    if (verdict.outcome == Outcome::Passed) {
      return Failed("not expected: " + child.kind + " " + child.text);
    }
  }
  return Passed();
}

// What an expression over the result can say.
Verdict Trial::CheckValue(const Assertion& expected) {
  const std::string& text = expected.text;
  const std::string& kind = expected.kind;
  if (kind == "assert-true") {
    return Holds("$result instance of xs:boolean and $result");
  }
  if (kind == "assert-false") {
    return Holds("$result instance of xs:boolean and not($result)");
  }
  if (kind == "assert-empty") return Holds("empty($result)");
  if (kind == "assert-count") return Holds("count($result) eq " + text);
  if (kind == "assert-eq") return Holds("$result eq (" + text + ")");
  if (kind == "assert-type") return Holds("$result instance of " + text);
  if (kind == "assert") return Holds("boolean(" + text + ")");
  if (kind == "assert-deep-eq") {
    return Holds("deep-equal($result, (" + text + "))");
  }
  if (kind == "assert-permutation") {
    // As often in the one as in the other.
    return Holds("let $expected := (" + text +
                 ") return count($expected) eq count($result) and (every $one "
                 "in $expected satisfies count($expected[deep-equal(., $one)]) "
                 "eq count($result[deep-equal(., $one)]))");
  }
  return Failed("an assertion that is not known: " + kind);
}

Verdict Trial::CheckString(const Assertion& expected) {
  const std::string joined =
      "string-join(for $one in $result return string($one), \" \")";
  if (!expected.normalize_space) {
    return Holds(joined + " eq " + Literal(TextOf(expected)));
  }
  return Holds("normalize-space(" + joined + ") eq " +
               Literal(Collapsed(TextOf(expected))));
}

Verdict Trial::CheckXml(const Assertion& expected) {
  std::string found;
  try {
    found = engine_.Serialize(*result_);
  } catch (const QueryFailure& failure) {
    return Failed("serialization gave " + Shown(failure));
  }
  const std::string text = TextOf(expected);
  const std::string difference =
      XmlDifference(text, found, expected.ignore_prefixes);
  if (difference.empty()) return Passed();
  return Failed("expected " + text + ", found " + found + " (" + difference +
                ")");
}

Verdict Trial::CheckSerializationError(const Assertion& expected) {
  try {
    return Failed("expected " + expected.code +
                  " of the serialization, found " +
                  engine_.Serialize(*result_));
  } catch (const QueryFailure& failure) {
    if (failure.code == expected.code || expected.code == "*") return Passed();
    return Failed("expected " + expected.code + " of the serialization, got " +
                  Shown(failure));
  }
}

// Files of results lie beside that of the case.
std::string Trial::TextOf(const Assertion& expected) const {
  if (expected.file.empty()) return expected.text;
  const auto folder = std::filesystem::path(case_.file).parent_path();
  return ReadFile(PathOf((folder / expected.file).string()));
}

}  // namespace

Verdict Judge(const Case& one, Engine& engine, const std::string& sources) {
  try {
    Trial trial(one, engine, sources);
    trial.Run();
    return trial.Check(one.expected);
  } catch (const std::exception& error) {
    return {Outcome::Failed, error.what()};
  }
}

}  // namespace xquery_cases
