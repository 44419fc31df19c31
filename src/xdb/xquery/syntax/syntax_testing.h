#ifndef XDB_XQUERY_SYNTAX_SYNTAX_TESTING_H_
#define XDB_XQUERY_SYNTAX_SYNTAX_TESTING_H_

#include <optional>
#include <string>
#include <vector>

#include "xdb/xquery/syntax/ast.h"

// The tree as a short text: "1 + $a/b" is (+ 1 (/ $a child::b)).
namespace kiv::xdb::xq::ast {

inline std::string Show(const LexicalName& name) { return name.Text(); }

inline std::string Quote(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '\n') {
      result += "\\n";
    } else if (c == '\t') {
      result += "\\t";
    } else if (c == '\r') {
      result += "\\r";
    } else {
      result += c;
    }
  }
  return result + '"';
}

inline std::string ShowNameOrStar(const NodeTest& test) {
  if (test.any_namespace && test.any_local) return "*";
  if (test.any_namespace) return "*:" + test.name.local;
  if (test.any_local) return test.name.prefix + ":*";
  return Show(test.name);
}

inline std::string Show(const NodeTest& test) {
  const char* const kWords[] = {"",
                                "node",
                                "document-node",
                                "element",
                                "attribute",
                                "text",
                                "comment",
                                "processing-instruction",
                                "schema-element",
                                "schema-attribute"};
  if (test.kind == TestKind::Name) return ShowNameOrStar(test);
  std::string result = kWords[static_cast<int>(test.kind)] + std::string("(");
  if (test.kind == TestKind::Element || test.kind == TestKind::Attribute ||
      test.kind == TestKind::SchemaElement ||
      test.kind == TestKind::SchemaAttribute) {
    result += ShowNameOrStar(test);
  }
  if (test.type) {
    result += "," + Show(*test.type) + (test.is_nillable ? "?" : "");
  }
  if (test.target) result += Quote(*test.target);
  if (test.root) result += Show(*test.root);
  return result + ")";
}

inline std::string Show(const SequenceType& type) {
  const char* const kSigns[] = {"", "?", "*", "+"};
  const std::string item = type.kind == TypeKind::Empty    ? "empty-sequence()"
                           : type.kind == TypeKind::Item   ? "item()"
                           : type.kind == TypeKind::Atomic ? Show(type.atomic)
                                                           : Show(type.node);
  return item + kSigns[static_cast<int>(type.occurrence)];
}

inline std::string Show(const SingleType& type) {
  return Show(type.name) + (type.is_optional ? "?" : "");
}

std::string Show(const Expr& expr);

inline std::string Show(const ExprPtr& expr) {
  return expr == nullptr ? "none" : Show(*expr);
}

inline std::string ShowAll(const std::vector<ExprPtr>& exprs) {
  std::string result;
  for (const ExprPtr& expr : exprs) result += " " + Show(expr);
  return result;
}

inline std::string ShowPredicates(const std::vector<ExprPtr>& exprs) {
  std::string result;
  for (const ExprPtr& expr : exprs) result += "[" + Show(expr) + "]";
  return result;
}

inline std::string ShowParts(const std::vector<Part>& parts) {
  std::string result;
  for (const Part& part : parts) {
    result += " ";
    result += part.expr ? "{" + Show(part.expr) + "}" : Quote(part.text);
  }
  return result;
}

inline std::string ShowType(const std::optional<SequenceType>& type) {
  return type ? " as " + Show(*type) : "";
}

inline std::string Show(const Binding& binding) {
  return "$" + Show(binding.variable) + ShowType(binding.type) +
         (binding.at ? " at $" + Show(*binding.at) : "") +
         (binding.kind == Binding::Kind::Let ? " := " : " in ") +
         Show(binding.operand);
}

class Printer {
 public:
  std::string operator()(const Literal& literal) {
    return literal.type == LiteralKind::String ? Quote(literal.text)
           : literal.type == LiteralKind::Integer
               ? literal.text
               : literal.text +
                     (literal.type == LiteralKind::Decimal ? "m" : "d");
  }
  std::string operator()(const VariableReference& variable) {
    return "$" + Show(variable.name);
  }
  std::string operator()(const ContextItem&) { return "."; }
  std::string operator()(const Root&) { return "root"; }
  std::string operator()(const Sequence& sequence) {
    if (sequence.items.empty()) return "()";
    return "(," + ShowAll(sequence.items) + ")";
  }
  std::string operator()(const FunctionCall& call) {
    return "(call " + Show(call.name) + ShowAll(call.arguments) + ")";
  }
  std::string operator()(const OrderingMode& mode) {
    return (mode.is_ordered ? "(ordered " : "(unordered ") +
           Show(mode.operand) + ")";
  }
  std::string operator()(const Flwor& flwor) {
    std::string result = "(flwor";
    for (const Binding& binding : flwor.bindings) {
      result += " (" + Show(binding) + ")";
    }
    if (flwor.where) result += " where " + Show(flwor.where);
    if (flwor.is_stable) result += " stable";
    for (const OrderSpec& spec : flwor.order_by) {
      result += " by " + Show(spec.key);
      if (spec.is_descending) result += " descending";
      if (spec.empty) {
        result += *spec.empty == EmptyOrder::Least ? " least" : " greatest";
      }
      if (spec.collation) result += " " + Quote(*spec.collation);
    }
    return result + " return " + Show(flwor.result) + ")";
  }
  std::string operator()(const Quantified& quantified) {
    std::string result = quantified.is_every ? "(every" : "(some";
    for (const Binding& binding : quantified.bindings) {
      result += " (" + Show(binding) + ")";
    }
    return result + " " + Show(quantified.satisfies) + ")";
  }
  std::string operator()(const Typeswitch& choice) {
    std::string result = "(typeswitch " + Show(choice.operand);
    for (const Typeswitch::Case& one : choice.cases) {
      result += " (" + (one.variable ? "$" + Show(*one.variable) + " " : "") +
                Show(one.type) + " " + Show(one.result) + ")";
    }
    const Typeswitch::Case& rest = choice.otherwise;
    return result + " " +
           (rest.variable ? "$" + Show(*rest.variable) + " " : "") +
           Show(rest.result) + ")";
  }
  std::string operator()(const If& conditional) {
    return "(if " + Show(conditional.condition) + " " + Show(conditional.then) +
           " " + Show(conditional.otherwise) + ")";
  }
  std::string operator()(const Or& row) {
    return "(or" + ShowAll(row.operands) + ")";
  }
  std::string operator()(const And& row) {
    return "(and" + ShowAll(row.operands) + ")";
  }
  std::string operator()(const Union& row) {
    return "(union" + ShowAll(row.operands) + ")";
  }
  std::string operator()(const GeneralComparison& comparison) {
    const char* const kSigns[] = {"=", "!=", "<", "<=", ">", ">="};
    return Binary(kSigns[static_cast<int>(comparison.relation)],
                  comparison.left, comparison.right);
  }
  std::string operator()(const ValueComparison& comparison) {
    const char* const kSigns[] = {"eq", "ne", "lt", "le", "gt", "ge"};
    return Binary(kSigns[static_cast<int>(comparison.relation)],
                  comparison.left, comparison.right);
  }
  std::string operator()(const NodeComparison& comparison) {
    const char* const kSigns[] = {"is", "<<", ">>"};
    return Binary(kSigns[static_cast<int>(comparison.relation)],
                  comparison.left, comparison.right);
  }
  std::string operator()(const Range& range) {
    return Binary("to", range.first, range.last);
  }
  std::string operator()(const Arithmetic& arithmetic) {
    const char* const kSigns[] = {"+", "-", "*", "div", "idiv", "mod"};
    return Binary(kSigns[static_cast<int>(arithmetic.op)], arithmetic.left,
                  arithmetic.right);
  }
  std::string operator()(const Unary& unary) {
    return (unary.is_negative ? "(neg " : "(pos ") + Show(unary.operand) + ")";
  }
  std::string operator()(const Intersect& node) {
    return Binary("intersect", node.left, node.right);
  }
  std::string operator()(const Except& node) {
    return Binary("except", node.left, node.right);
  }
  std::string operator()(const InstanceOf& node) {
    return "(instance " + Show(node.operand) + " " + Show(node.type) + ")";
  }
  std::string operator()(const TreatAs& node) {
    return "(treat " + Show(node.operand) + " " + Show(node.type) + ")";
  }
  std::string operator()(const CastableAs& node) {
    return "(castable " + Show(node.operand) + " " + Show(node.type) + ")";
  }
  std::string operator()(const CastAs& node) {
    return "(cast " + Show(node.operand) + " " + Show(node.type) + ")";
  }
  std::string operator()(const Extension& extension) {
    std::string result = "(extension";
    for (const Pragma& pragma : extension.pragmas) {
      result += " " + Show(pragma.name) + Quote(pragma.content);
    }
    return result + " " + Show(extension.operand) + ")";
  }
  std::string operator()(const Path& path) {
    return "(/" + ShowAll(path.steps) + ")";
  }
  std::string operator()(const AxisStep& step) {
    const char* const kAxes[] = {"child",
                                 "descendant",
                                 "attribute",
                                 "self",
                                 "descendant-or-self",
                                 "following-sibling",
                                 "following",
                                 "parent",
                                 "ancestor",
                                 "preceding-sibling",
                                 "preceding",
                                 "ancestor-or-self"};
    return kAxes[static_cast<int>(step.axis)] + ("::" + Show(step.test)) +
           ShowPredicates(step.predicates);
  }
  std::string operator()(const Filter& filter) {
    return Show(filter.base) + ShowPredicates(filter.predicates);
  }
  std::string operator()(const DirectElement& element) {
    std::string result = "<" + Show(element.name);
    for (const NamespaceAttribute& one : element.namespaces) {
      result += " ns:" + one.prefix + "=" + Quote(one.uri);
    }
    for (const DirectAttribute& one : element.attributes) {
      result += " (@" + Show(one.name) + ShowParts(one.value) + ")";
    }
    return result + ShowParts(element.content) + ">";
  }
  std::string operator()(const DirectComment& comment) {
    return "<!-- " + Quote(comment.text) + ">";
  }
  std::string operator()(const DirectInstruction& instruction) {
    return "<? " + instruction.target + " " + Quote(instruction.text) + ">";
  }
  std::string operator()(const ComputedNode& node) {
    const char* const kWords[] = {"document", "element", "attribute",
                                  "text",     "comment", "instruction"};
    std::string result = "(" + std::string(kWords[static_cast<int>(node.node)]);
    if (!node.name.IsEmpty()) result += " " + Show(node.name);
    if (node.name_expr) result += " {" + Show(node.name_expr) + "}";
    return result + " " + Show(node.content) + ")";
  }

 private:
  static std::string Binary(const char* sign, const ExprPtr& left,
                            const ExprPtr& right) {
    return std::string("(") + sign + " " + Show(left) + " " + Show(right) + ")";
  }
};

inline std::string Show(const Expr& expr) {
  return expr.position.IsKnown() ? Visit(expr, Printer()) : "no position";
}

}  // namespace kiv::xdb::xq::ast

#endif  // XDB_XQUERY_SYNTAX_SYNTAX_TESTING_H_
