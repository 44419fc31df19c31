#include <algorithm>
#include <set>

#include "xdb/xquery/compile/compiler.h"
#include "xdb/xquery/functions/function_table.h"
#include "xdb/xquery/functions/uri.h"
#include "xdb/xquery/run/conversions.h"
#include "xdb/xquery/run/nodes.h"
#include "xdb/xquery/values/lexical.h"
#include "xdb/xquery/values/stack_guard.h"

namespace kiv::xdb::xq {
namespace {

constexpr std::string_view kInstanceNamespace =
    "http://www.w3.org/2001/XMLSchema-instance";
constexpr std::string_view kLocalNamespace =
    "http://www.w3.org/2005/xquery-local-functions";

bool IsReserved(std::string_view uri) {
  return uri == kXmlNamespace || uri == kSchemaNamespace ||
         uri == kInstanceNamespace || uri == kFunctionNamespace;
}

void CheckUri(const ast::UriLiteral& uri) {
  if (!IsUri(uri.text)) {
    throw Error("XQST0046", "\"" + uri.text + "\" is no URI", uri.position);
  }
}

// Another one each time.
bool MakesNode(ast::ExprKind kind) {
  using ast::ExprKind;
  return kind == ExprKind::DirectElement || kind == ExprKind::DirectComment ||
         kind == ExprKind::DirectInstruction || kind == ExprKind::ComputedNode;
}

// Its visit leaves behind where the nodes come from, or that it is not known.
bool KnowsProvenance(ast::ExprKind kind) {
  using ast::ExprKind;
  return kind == ExprKind::Path || kind == ExprKind::Filter ||
         kind == ExprKind::FunctionCall || kind == ExprKind::VariableReference;
}

const SequenceType kAnything{ItemType::OfKind(ItemKind::Item),
                             Occurrence::ZeroOrMore};

}  // namespace

Compiler::Compiler(const StaticSettings& settings, CompiledQuery& query)
    : settings_(settings),
      query_(query),
      default_function_namespace_(kFunctionNamespace),
      base_uri_(settings.base_uri) {
  namespaces_ = {{"xml", std::string(kXmlNamespace)},
                 {"xs", std::string(kSchemaNamespace)},
                 {"xsi", std::string(kInstanceNamespace)},
                 {"fn", std::string(kFunctionNamespace)},
                 {"local", std::string(kLocalNamespace)}};
  for (const auto& entry : settings.namespaces) namespaces_.push_back(entry);
}

PlanPtr Compiler::Compile(const ast::Expr& expr) {
  RequireStack(expr.position);
  copied_count_ += is_copying_;
  try {
    Needs needs;
    const std::size_t first_memo = memos_.size();
    provenance_.reset();
    PlanPtr plan = Observe(needs, [&]() -> PlanPtr {
      if (&expr == substitute_.expr) return Substituted();
      needs_->is_tied = MakesNode(expr.kind);
      return ast::Visit(expr, *this);
    });
    if (!KnowsProvenance(expr.kind)) provenance_.reset();
    plan = MayKeep(expr, std::move(plan), needs, first_memo);
    if (provenance_)
      provenance_->is_kept |=
          dynamic_cast<const MemoPlan*>(plan.get()) != nullptr;
    // The plan is this call's own until it is handed out.
    auto& made = const_cast<Plan&>(*plan);
    if (!made.position.IsKnown()) made.position = expr.position;
    return plan;
  } catch (Error& error) {
    error.PlaceAt(expr.position);
    throw;
  }
}

void Compiler::CompileModule(const ast::Module& module) {
  CompileSettings(module.prolog);
  prolog_namespaces_ = namespaces_.size();
  CheckOptions(module.prolog);
  DeclareFunctions(module.prolog);
  for (const QName& name : settings_.variables) {
    GlobalVariable& variable = query_.variables.emplace_back();
    variable.name = name;
    variable.index = query_.variables.size() - 1;
    visible_globals_.push_back(&variable);
  }
  CompileDeclarations(module.prolog);
  CheckCycles();
  StartFrame();
  query_.body = Compile(module.body);
  query_.slot_count = slot_count_;
  query_.base_uri = base_uri_;
}

void Compiler::CompileSettings(const ast::Prolog& prolog) {
  if (prolog.base_uri) {
    CheckUri(*prolog.base_uri);
    base_uri_ = ResolveReference(prolog.base_uri->text, settings_.base_uri)
                    .value_or(prolog.base_uri->text);
  }
  DeclareNamespaces(prolog);
  if (prolog.default_collation) {
    CheckCollation(prolog.default_collation->text, "XQST0038",
                   prolog.default_collation->position);
  }
  if (prolog.copy_namespaces) {
    copy_modes_.preserve = prolog.copy_namespaces->preserve;
    copy_modes_.inherit = prolog.copy_namespaces->inherit;
  }
  if (prolog.empty_order)
    is_empty_least_ = *prolog.empty_order == ast::EmptyOrder::Least;
}

void Compiler::DeclareNamespaces(const ast::Prolog& prolog) {
  std::set<std::string> prefixes;
  for (const ast::NamespaceDeclaration& one : prolog.namespaces) {
    if (!prefixes.insert(one.prefix).second) {
      throw Error("XQST0033", "the prefix " + one.prefix + " is declared twice",
                  one.position);
    }
    if (one.prefix == "xml" || one.prefix == "xmlns" ||
        one.uri == kXmlNamespace || one.uri == kXmlnsNamespace) {
      throw Error("XQST0070", "xml and xmlns cannot be declared", one.position);
    }
    CheckUri({one.position, one.uri});
    namespaces_.emplace_back(one.prefix, one.uri);
  }
  const auto check_default = [](const ast::UriLiteral& uri) {
    if (uri.text == kXmlNamespace || uri.text == kXmlnsNamespace) {
      throw Error("XQST0070", "a namespace that no default can have",
                  uri.position);
    }
    CheckUri(uri);
  };
  if (prolog.default_element_namespace) {
    check_default(*prolog.default_element_namespace);
    namespaces_.emplace_back("", prolog.default_element_namespace->text);
  }
  if (prolog.default_function_namespace) {
    check_default(*prolog.default_function_namespace);
    default_function_namespace_ = prolog.default_function_namespace->text;
  }
}

void Compiler::CheckOptions(const ast::Prolog& prolog) {
  for (const ast::OptionDeclaration& option : prolog.options) {
    if (option.name.prefix.empty()) {
      throw Error("XPST0081", "an option must have a prefix", option.position);
    }
    Resolve(option.name, "");
  }
}

void Compiler::DeclareFunctions(const ast::Prolog& prolog) {
  for (const ast::FunctionDeclaration& declaration : prolog.functions) {
    const QName name = Resolve(declaration.name, default_function_namespace_);
    const std::string shown = declaration.name.local;
    if (name.uri.empty()) {
      throw Error("XQST0060", "the function " + shown + " is in no namespace",
                  declaration.position);
    }
    if (IsReserved(name.uri)) {
      throw Error("XQST0045",
                  "the function " + shown + " is in a reserved namespace",
                  declaration.position);
    }
    for (const UserFunction& other : query_.functions) {
      if (other.name == name &&
          other.parameters.size() == declaration.parameters.size()) {
        throw Error("XQST0034", "the function " + shown + " is declared twice",
                    declaration.position);
      }
    }
    UserFunction& function = query_.functions.emplace_back();
    function.name = name;
    std::vector<QName> names;
    for (const ast::Parameter& parameter : declaration.parameters) {
      QName parameter_name = Resolve(parameter.name, "");
      if (std::find(names.begin(), names.end(), parameter_name) !=
          names.end()) {
        throw Error("XQST0039",
                    "the parameter " + parameter.name.local + " twice",
                    declaration.position);
      }
      names.push_back(std::move(parameter_name));
      function.parameters.push_back(
          parameter.type ? ResolveType(*parameter.type) : kAnything);
    }
    if (declaration.result) function.result = ResolveType(*declaration.result);
  }
}

// In the order of the query: a declaration sees all functions, and the
// variables before it.
void Compiler::CompileDeclarations(const ast::Prolog& prolog) {
  auto variable = prolog.variables.begin();
  const auto compile_variables_before = [&](const Position* position) {
    for (; variable != prolog.variables.end() &&
           (position == nullptr || variable->position < *position);
         ++variable) {
      CompileVariable(*variable);
    }
  };
  for (std::size_t i = 0; i < prolog.functions.size(); ++i) {
    const ast::FunctionDeclaration& declaration = prolog.functions[i];
    compile_variables_before(&declaration.position);
    CompileFunction(declaration, query_.functions[i]);
  }
  compile_variables_before(nullptr);
}

void Compiler::CompileFunction(const ast::FunctionDeclaration& declaration,
                               UserFunction& function) {
  if (!declaration.body) {
    throw Error("XPST0017",
                "there is no external function " + declaration.name.local,
                declaration.position);
  }
  const Scope scope(*this);
  references_ = &function_references_[&function];
  StartFrame();
  for (std::size_t p = 0; p < declaration.parameters.size(); ++p) {
    Properties known;
    known.type = function.parameters[p];
    Declare(declaration.parameters[p].name, known);
  }
  function.body = Convert(Compile(declaration.body), function.result, false,
                          "the result of " + function.name.local);
  function.slot_count = slot_count_;
  references_ = nullptr;
}

// A variable may not depend on itself, not through functions either.
void Compiler::CheckCycles() const {
  for (const auto& [variable, own] : variable_references_) {
    std::set<const UserFunction*> met_functions;
    std::set<const GlobalVariable*> met_variables;
    std::vector<const References*> open = {&own};
    while (!open.empty()) {
      const References* next = open.back();
      open.pop_back();
      for (const UserFunction* function : next->functions) {
        if (met_functions.insert(function).second)
          open.push_back(&function_references_.at(function));
      }
      for (const GlobalVariable* other : next->variables) {
        if (other == variable) {
          throw Error("XQST0054",
                      "$" + variable->name.local + " depends on itself",
                      variable->position);
        }
        const auto found = variable_references_.find(other);
        if (found != variable_references_.end() &&
            met_variables.insert(other).second)
          open.push_back(&found->second);
      }
    }
  }
}

void Compiler::CompileVariable(const ast::VariableDeclaration& declaration) {
  const QName name = Resolve(declaration.name, "");
  const std::size_t given = settings_.variables.size();
  for (std::size_t i = given; i < query_.variables.size(); ++i) {
    if (query_.variables[i].name == name) {
      throw Error("XQST0049", "the variable " + name.local + " twice",
                  declaration.position);
    }
  }
  GlobalVariable& variable = query_.variables.emplace_back();
  variable.name = name;
  variable.index = query_.variables.size() - 1;
  variable.position = declaration.position;
  if (declaration.type) variable.type = ResolveType(*declaration.type);
  if (declaration.value) {
    StartFrame();
    references_ = &variable_references_[&variable];
    PlanPtr plan = Compile(declaration.value);
    references_ = nullptr;
    if (!declaration.type)
      named_collections_[&variable] = NamedCollection(*declaration.value);
    if (declaration.type) {
      plan = Check(std::move(plan), variable.type, "XPTY0004",
                   "the value of $" + name.local);
    } else {
      variable.type = plan->properties.type;
    }
    variable.plan = std::move(plan);
    variable.slot_count = slot_count_;
  }
  visible_globals_.push_back(&variable);
}

ConstructionContextPtr Compiler::Construction() {
  if (construction_) return construction_;
  auto context = std::make_shared<ConstructionContext>();
  for (const auto& [prefix, uri] : namespaces_) {
    if (uri.empty())
      context->namespaces.erase(prefix);
    else
      context->namespaces[prefix] = uri;
  }
  context->base_uri = base_uri_;
  context->modes = copy_modes_;
  construction_ = std::move(context);
  return construction_;
}

}  // namespace kiv::xdb::xq
