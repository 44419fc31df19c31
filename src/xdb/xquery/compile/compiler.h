#ifndef XDB_XQUERY_COMPILE_COMPILER_H_
#define XDB_XQUERY_COMPILE_COMPILER_H_

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "xdb/xquery/compile/needs.h"
#include "xdb/xquery/compile/query.h"
#include "xdb/xquery/functions/function_table.h"
#include "xdb/xquery/run/axes.h"
#include "xdb/xquery/run/collection.h"
#include "xdb/xquery/run/constructors.h"
#include "xdb/xquery/run/flwor.h"
#include "xdb/xquery/run/joins.h"
#include "xdb/xquery/syntax/ast.h"

namespace kiv::xdb::xq {

// Makes plans of expressions: resolves names, gives the errors that need no
// data, and puts conversions, checks and sorting only where what is known of
// the operands calls for them.
class Compiler {
 public:
  Compiler(const StaticSettings& settings, CompiledQuery& query);

  void CompileModule(const ast::Module& module);

  PlanPtr Compile(const ast::Expr& expr);
  PlanPtr Compile(const ast::ExprPtr& expr) { return Compile(*expr); }

  // What Compile visits with.
  PlanPtr operator()(const ast::Literal& expr);
  PlanPtr operator()(const ast::VariableReference& expr);
  PlanPtr operator()(const ast::ContextItem& expr);
  PlanPtr operator()(const ast::Sequence& expr);
  PlanPtr operator()(const ast::FunctionCall& expr);
  PlanPtr operator()(const ast::OrderingMode& expr);
  PlanPtr operator()(const ast::Flwor& expr);
  PlanPtr operator()(const ast::Quantified& expr);
  PlanPtr operator()(const ast::Typeswitch& expr);
  PlanPtr operator()(const ast::If& expr);
  PlanPtr operator()(const ast::Or& expr);
  PlanPtr operator()(const ast::And& expr);
  PlanPtr operator()(const ast::GeneralComparison& expr);
  PlanPtr operator()(const ast::ValueComparison& expr);
  PlanPtr operator()(const ast::NodeComparison& expr);
  PlanPtr operator()(const ast::Range& expr);
  PlanPtr operator()(const ast::Arithmetic& expr);
  PlanPtr operator()(const ast::Unary& expr);
  PlanPtr operator()(const ast::Union& expr);
  PlanPtr operator()(const ast::Intersect& expr);
  PlanPtr operator()(const ast::Except& expr);
  PlanPtr operator()(const ast::InstanceOf& expr);
  PlanPtr operator()(const ast::TreatAs& expr);
  PlanPtr operator()(const ast::CastableAs& expr);
  PlanPtr operator()(const ast::CastAs& expr);
  PlanPtr operator()(const ast::Extension& expr);
  PlanPtr operator()(const ast::Path& expr);
  PlanPtr operator()(const ast::Root& expr);
  PlanPtr operator()(const ast::AxisStep& expr);
  PlanPtr operator()(const ast::Filter& expr);
  PlanPtr operator()(const ast::DirectElement& expr);
  PlanPtr operator()(const ast::DirectComment& expr);
  PlanPtr operator()(const ast::DirectInstruction& expr);
  PlanPtr operator()(const ast::ComputedNode& expr);

 private:
  // Nodes that lie on one way below the documents of a collection.
  struct Provenance {
    CollectionPlan* collection = nullptr;  // a part of the plan being made
    PathPattern way;
    // Another "//" before the next step.
    bool is_any_depth = false;
    // Loops around the collection.
    std::size_t loops = 0;
    // By an expression that begins with the collection, not with a variable.
    bool is_direct = true;
    // A sequence that is kept for many turns of a loop: what the documents must
    // have cannot be another thing each time.
    bool is_kept = false;
  };
  struct LocalVariable {
    QName name;
    std::size_t slot;
    Properties known;
    std::optional<Provenance> provenance;           // of its items, one by one
    const ast::FunctionCall* collection = nullptr;  // what it is a name for
  };
  // What is known of a slot, for as long as its function is compiled.
  struct SlotFacts {
    // How many loops are around the place that binds it, its own included.
    std::size_t loops = 0;
    Forgets forgets;
  };
  // A clause before it is known whether it is part of a join.
  struct DraftClause {
    PlanPtr operand;
    Needs needs;  // of the operand
    Bound variable;
    std::optional<Bound> at;
    bool is_for = true;
    bool is_name = false;   // of a collection
    std::size_t loops = 0;  // around its operand
    std::optional<JoinSides> join;
    std::size_t table_slot = 0;
    std::vector<PlanPtr> conditions;  // of its tuples

    bool Binds(std::size_t slot) const {
      return slot == variable.slot || (at && slot == at->slot);
    }
    bool IsNeededBy(const Needs& others) const {
      return others.Has(variable.slot) || (at && others.Has(at->slot));
    }
  };
  // A comparison that may become a join.
  struct ComparedSides {
    JoinComparison comparison;
    PlanPtr left;
    PlanPtr right;
    Needs left_needs;
    Needs right_needs;
    Position position;
  };

  // How an expression looks at the focus that it is evaluated with.
  struct FocusUse {
    bool position = false;
    bool last = false;
  };
  struct Predicate {
    PlanPtr plan;
    FocusUse use;

    // Whether it keeps the same items when they come in another order.
    bool IsPositional() const;
  };
  // Ends the scope of the variables that were declared since it was made.
  class Scope {
   public:
    explicit Scope(Compiler& compiler)
        : compiler_(compiler), size_(compiler.locals_.size()) {}
    ~Scope() { compiler_.locals_.resize(size_); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    Compiler& compiler_;
    const std::size_t size_;
  };

  // The variables declared from now on are those of a FLWOR.
  class OwnLocals {
   public:
    explicit OwnLocals(Compiler& compiler)
        : compiler_(compiler),
          outer_(std::exchange(compiler.first_own_local_,
                               compiler.locals_.size())) {}
    ~OwnLocals() { compiler_.first_own_local_ = outer_; }
    OwnLocals(const OwnLocals&) = delete;
    OwnLocals& operator=(const OwnLocals&) = delete;

   private:
    Compiler& compiler_;
    const std::size_t outer_;
  };

  // compile_module.cpp
  void CompileSettings(const ast::Prolog& prolog);
  void DeclareNamespaces(const ast::Prolog& prolog);
  void CheckOptions(const ast::Prolog& prolog);
  void DeclareFunctions(const ast::Prolog& prolog);
  void CompileDeclarations(const ast::Prolog& prolog);
  void CompileFunction(const ast::FunctionDeclaration& declaration,
                       UserFunction& function);
  void CheckCycles() const;
  void CompileVariable(const ast::VariableDeclaration& declaration);
  ConstructionContextPtr Construction();

  // names.cpp
  QName Resolve(const ast::LexicalName& name, std::string_view default_uri,
                std::string_view code = "XPST0081") const;
  const std::string* FindNamespace(std::string_view prefix) const;
  const std::string& default_element_namespace() const;
  Type ResolveAtomic(const ast::LexicalName& name) const;
  SequenceType ResolveType(const ast::SequenceType& type) const;
  ItemType ResolveNodeType(const ast::NodeTest& test) const;
  Type ResolveCastTarget(const ast::LexicalName& name) const;
  std::optional<QName> NameOfText(std::string_view text) const;
  Bound Declare(const ast::LexicalName& name, const Properties& known);
  Bound NewSlot();
  void StartFrame();
  void CheckCollation(const std::string& uri, std::string_view code,
                      Position position) const;

  // compile_paths.cpp
  NodeMatch ResolveTest(const ast::NodeTest& test, ast::Axis axis);
  std::vector<Predicate> CompilePredicates(
      const std::vector<ast::ExprPtr>& predicates);
  PlanPtr MakeStep(ast::Axis axis, const ast::AxisStep& step,
                   std::vector<Predicate> predicates);
  PlanPtr Join(PlanPtr left, const ast::Expr& right, bool is_last);
  PlanPtr WithFocus(FocusUse& use, const std::function<PlanPtr()>& make_plan);

  // compile_flwor.cpp
  using Drafts = std::vector<DraftClause>;
  Occurrence AddClauses(const std::vector<ast::Binding>& bindings,
                        Drafts& drafts);
  Occurrence AddFor(const ast::Binding& binding, Drafts& drafts);
  Occurrence AddLet(const ast::Binding& binding, Drafts& drafts);
  std::unique_ptr<const Clause> OrderBy(const ast::Flwor& expr,
                                        const Drafts& drafts);
  static Clauses Finish(Drafts drafts);

  // compile_joins.cpp
  PlanPtr Observe(Needs& needs, const std::function<PlanPtr()>& make_plan);
  PlanPtr MayKeep(const ast::Expr& expr, PlanPtr plan, const Needs& needs,
                  std::size_t first_memo);
  bool IsSteady(const Needs& needs, std::size_t loops) const;
  std::size_t KeptSlot(const Needs& needs);
  void AddCondition(const ast::Expr& condition, Drafts& drafts);
  PlanPtr ConditionOrJoin(const ast::Expr& condition, Drafts& drafts);
  bool MakeJoin(ComparedSides& sides, DraftClause& draft);
  ComparedSides SidesOf(const ast::GeneralComparison& expr);
  ComparedSides SidesOf(const ast::ValueComparison& expr);
  PlanPtr Compared(ComparedSides sides);

  // compile_index.cpp
  // Where the paths that a condition may be about begin: at the context item
  // that has the provenance, or, without one, at variables.
  struct LeafRoots {
    const Provenance* focus = nullptr;
    // Of the focus, or of the variables that were met.
    CollectionPlan* collection = nullptr;
    // What is compared with may be another value each time that the collection
    // is opened.
    bool may_vary = true;
  };
  struct Leaf {
    PathPattern way;
    bool is_text = false;
  };
  const ast::FunctionCall* NamedCollection(const ast::Expr& expr) const;
  PlanPtr Collection(const ast::FunctionCall& expr);
  PlanPtr Substituted();
  void Follow(std::optional<Provenance>& from, const ast::Expr& step);
  void RequirePredicates(const std::optional<Provenance>& from,
                         const std::vector<ast::ExprPtr>& predicates);
  void RequireCondition(const ast::Expr& condition);
  std::optional<IndexCondition> IndexConditionOf(const ast::Expr& expr,
                                                 LeafRoots& roots);
  std::optional<IndexCondition> ConditionsOf(
      const std::vector<ast::ExprPtr>& operands, bool must_all,
      LeafRoots& roots);
  std::optional<IndexCondition> ConditionOfPath(const ast::Expr& expr,
                                                LeafRoots& roots);
  std::optional<IndexCondition> ConditionOfValue(const ast::Expr& expr,
                                                 LeafRoots& roots);
  std::optional<Provenance> StartOf(const ast::Expr& expr, LeafRoots& roots);
  std::optional<Leaf> LeafOf(const ast::Expr& expr, LeafRoots& roots);
  const ast::Expr* FindLeaf(const ast::Expr& expr, LeafRoots& roots);
  const ast::Expr* FindLeafInCall(const ast::FunctionCall& expr,
                                  LeafRoots& roots);
  const Function* LibraryFunction(const ast::FunctionCall& expr) const;
  bool TestsTruth(const ast::Expr& expr) const;
  bool IsKnownBefore(const Needs& needs, std::size_t value_slot,
                     const LeafRoots& roots) const;
  void AddComparison(const ast::Expr& expr, const ast::Expr& leaf,
                     IndexCondition& condition, Needs& needs);
  const LocalVariable* FindLocal(const ast::LexicalName& name) const;

  // compile_operators.cpp
  PlanPtr Operand(const ast::ExprPtr& expr, const char* what);
  PlanPtr Nodes(const ast::ExprPtr& expr);
  PlanPtr CastOf(PlanPtr operand, Type type, bool is_optional,
                 Position position) const;

  // compile_calls.cpp
  PlanPtr ConstructorCall(const ast::FunctionCall& expr, const QName& name);
  PlanPtr LibraryCall(const ast::FunctionCall& expr, const QName& name);
  PlanPtr UserCall(const ast::FunctionCall& expr, const QName& name);

  // compile_constructors.cpp
  std::vector<std::pair<std::string, std::string>> EnclosingNamespaces() const;
  std::vector<ContentPart> Content(const std::vector<ast::Part>& parts,
                                   bool is_value);
  void CheckAttributes(const ast::DirectElement& expr) const;
  ConstructedName NameOf(const ast::ComputedNode& expr, bool is_element);

  const StaticSettings& settings_;
  CompiledQuery& query_;
  // The inner ones last; an empty URI takes a prefix out of scope.
  std::vector<std::pair<std::string, std::string>> namespaces_;
  std::string default_function_namespace_;
  std::string base_uri_;
  CopyModes copy_modes_;
  bool is_empty_least_ = true;
  // How many of them the direct constructors around did not declare.
  std::size_t prolog_namespaces_ = 0;
  // Of the namespaces as they are now; null after they change.
  ConstructionContextPtr construction_;

  std::vector<LocalVariable> locals_;
  std::vector<const GlobalVariable*> visible_globals_;
  // What the function or variable that is being compiled refers to.
  struct References {
    std::vector<const GlobalVariable*> variables;
    std::vector<const UserFunction*> functions;
  };
  std::map<const UserFunction*, References> function_references_;
  std::map<const GlobalVariable*, References> variable_references_;
  References* references_ = nullptr;
  std::size_t slot_count_ = 0;
  std::vector<SlotFacts> slots_;
  // Of the expression that is being compiled.
  Needs* needs_ = nullptr;
  // Around it: loops of for, and of steps and predicates.
  std::size_t loops_ = 0;
  // Of which those from here on change the focus.
  std::size_t focus_loops_ = 0;
  struct Memo {
    MemoPlan* plan;
    std::size_t loops;
  };
  std::vector<Memo> memos_;
  std::size_t name_count_ = 0;
  FocusUse* focus_use_ = nullptr;

  // Of the expression that was compiled last.
  std::optional<Provenance> provenance_;
  // Variables before this one are not of the FLWOR that is being compiled.
  std::size_t first_own_local_ = 0;
  std::map<const GlobalVariable*, const ast::FunctionCall*> named_collections_;
  // An expression in whose place a variable is compiled.
  struct Substitute {
    const ast::Expr* expr = nullptr;
    std::size_t slot = 0;
  };
  Substitute substitute_;
  // Expressions that were compiled once more for conditions of an index.
  std::size_t copied_count_ = 0;
  bool is_copying_ = false;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_COMPILE_COMPILER_H_
