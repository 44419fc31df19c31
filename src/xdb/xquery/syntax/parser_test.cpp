#include "xdb/xquery/syntax/parser.h"

#include <gtest/gtest.h>

#include <string>

#include "xdb/xquery/syntax/syntax_testing.h"

namespace kiv::xdb::xq {
namespace {

std::string Tree(std::string_view query) {
  try {
    return ast::Show(Parse(query).body);
  } catch (const Error& error) {
    return error.what();
  }
}

struct TreeCase {
  const char* name;
  const char* query;
  const char* tree;
};

class QueryTree : public testing::TestWithParam<TreeCase> {};

TEST_P(QueryTree, IsAsTheGrammarSays) {
  EXPECT_EQ(Tree(GetParam().query), GetParam().tree);
}

const auto kName = [](const auto& info) { return info.param.name; };

INSTANTIATE_TEST_SUITE_P(
    Operators, QueryTree,
    testing::Values(
        TreeCase{"Precedence",
                 "1 or 2 and 3 = 4 to 5 + 6 * 7 | 8 except 9 cast as d "
                 "castable as c "
                 "treat as b instance of a",
                 "(or 1 (and 2 (= 3 (to 4 (+ 5 (* 6 (union 7 (except 8 "
                 "(instance (treat (castable (cast 9 d) c) b) a)))))))))"},
        TreeCase{"Left", "1 - 2 - 3 + 4", "(+ (- (- 1 2) 3) 4)"},
        TreeCase{"Rows", "1 or 2 or 3 and 4 and 5 or 6",
                 "(or 1 2 (and 3 4 5) 6)"},
        TreeCase{"UnionOfBothSpellings", "$a | $b union $c",
                 "(union $a $b $c)"},
        TreeCase{"LoosestLast", "1 * 2 + 3 eq 4 and 5",
                 "(and (eq (+ (* 1 2) 3) 4) 5)"},
        TreeCase{"Signs", "- + - 1 * -a", "(* (pos 1) (neg child::a))"},
        TreeCase{"SignBeforeCast", "-1 cast as a", "(cast (neg 1) a)"},
        TreeCase{"NodeOrder", "(a << b, a >> b, a is b)",
                 "(, (<< child::a child::b) (>> child::a child::b) (is "
                 "child::a child::b))"},
        TreeCase{"ParenthesesLeaveNothing", "((1 + 2)) * (3)", "(* (+ 1 2) 3)"},
        TreeCase{"SequencesNest", "(1, (2, 3), ()), 4",
                 "(, (, 1 (, 2 3) ()) 4)"},
        TreeCase{"TypeTakesItsStar", "1 instance of a * 3 treat as b",
                 "XPST0003 at line 1, column 19: expected an operator or the "
                 "end of the query, found \"3\""},
        TreeCase{"HyphenIsOfTheName", "a-b - c -d",
                 "(- (- child::a-b child::c) child::d)"}),
    kName);

INSTANTIATE_TEST_SUITE_P(
    KeywordsAsNames, QueryTree,
    testing::Values(
        TreeCase{"OperatorsAsSteps", "and and or or div div mod",
                 "(or (and child::and child::or) (div child::div child::mod))"},
        TreeCase{"StatementsAsSteps", "for/let/if/some/every/return/typeswitch",
                 "(/ child::for child::let child::if child::some child::every "
                 "child::return child::typeswitch)"},
        TreeCase{
            "ConstructorsAsSteps",
            "(element, attribute, text, comment, document, validate, "
            "ordered)",
            "(, child::element child::attribute child::text child::comment "
            "child::document child::validate child::ordered)"},
        TreeCase{"ElementDivided", "element div attribute",
                 "(div child::element child::attribute)"},
        TreeCase{"PrologWordsAsSteps",
                 "(declare, import, xquery, module, declare eq 1, import/a)",
                 "(, child::declare child::import child::xquery child::module "
                 "(eq child::declare 1) (/ child::import child::a))"},
        TreeCase{"Functions", "(for(1), return(), xquery(version), let(2))",
                 "(, (call for 1) (call return) (call xquery child::version) "
                 "(call let 2))"},
        TreeCase{"AxisNamesAsSteps", "child/self/parent::self",
                 "(/ child::child child::self parent::self)"},
        TreeCase{"NodeTestNamesAsSteps", "node/item/text",
                 "(/ child::node child::item child::text)"}),
    kName);

INSTANTIATE_TEST_SUITE_P(
    Paths, QueryTree,
    testing::Values(
        TreeCase{"Abbreviations", "//a/@b/../.[1]//*:c/p:*/@*",
                 "(/ root descendant-or-self::node() child::a attribute::b "
                 "parent::node() .[1] descendant-or-self::node() child::*:c "
                 "child::p:* attribute::*)"},
        TreeCase{"Axes",
                 "child::a/descendant::a/attribute::a/self::a/"
                 "descendant-or-self::a/following-sibling::a/following::a/"
                 "parent::a/ancestor::a/preceding-sibling::a/preceding::a/"
                 "ancestor-or-self::a",
                 "(/ child::a descendant::a attribute::a self::a "
                 "descendant-or-self::a following-sibling::a following::a "
                 "parent::a ancestor::a preceding-sibling::a preceding::a "
                 "ancestor-or-self::a)"},
        TreeCase{"KindTests",
                 "node()/text()/comment()/processing-instruction()/"
                 "processing-instruction(x)/processing-instruction(' y ')/"
                 "document-node()/document-node(element(a, b?))/element()/"
                 "element(*)/element(p:a)/attribute()/attribute(*, t)/"
                 "schema-element(e)/schema-attribute(f)/@node()",
                 "(/ child::node() child::text() child::comment() "
                 "child::processing-instruction() "
                 "child::processing-instruction(\"x\") "
                 "child::processing-instruction(\" y \") "
                 "child::document-node() "
                 "child::document-node(element(a,b?)) child::element(*) "
                 "child::element(*) child::element(p:a) "
                 "attribute::attribute(*) attribute::attribute(*,t) "
                 "child::schema-element(e) attribute::schema-attribute(f) "
                 "attribute::node())"},
        TreeCase{"LoneSlash", "(/) * 5, / = 3, /[1]",
                 "XPST0003 at line 1, column 18: expected an operator or the "
                 "end of the query, found \"[\""},
        TreeCase{"SlashTakesAStar", "/ * 5",
                 "XPST0003 at line 1, column 5: expected an operator or the "
                 "end of the query, found \"5\""},
        TreeCase{"SlashTakesAnElement", "/<a/>", "(/ root <a>)"},
        TreeCase{"SlashBeforeOtherOperators", "/ + 1, / << a, / | b",
                 "(, (+ root 1) (<< root child::a) (union root child::b))"},
        TreeCase{"PredicatesOfStepAndFilter", "a[1][b]/(c)[2]/d(.)[3]",
                 "(/ child::a[1][child::b] child::c[2] (call d .)[3])"},
        TreeCase{"StarByPlace", "* * *, 2**, * * *:a",
                 "(, (* child::* child::*) (* 2 child::*) (* child::* "
                 "child::*:a))"},
        TreeCase{"PathInPath", "a/(b/c)/'x'/1.5",
                 "(/ child::a (/ child::b child::c) \"x\" 1.5m)"}),
    kName);

INSTANTIATE_TEST_SUITE_P(
    Statements, QueryTree,
    testing::Values(
        TreeCase{
            "Flwor",
            "for $x as a? at $i in 1, $y in 2 let $z as item()* := 3 for $w in "
            "4 where 5 stable order by 6 descending empty least collation "
            "' u  r ', 7 ascending empty greatest, 8 return 9, 10",
            "(, (flwor ($x as a? at $i in 1) ($y in 2) ($z as item()* := 3) "
            "($w in 4) where 5 stable by 6 descending least \"u r\" by 7 "
            "greatest by 8 return 9) 10)"},
        TreeCase{"NestedFlwor", "for $a in 1 return let $b := 2 return 3",
                 "(flwor ($a in 1) return (flwor ($b := 2) return 3))"},
        TreeCase{"Quantified",
                 "some $a in 1, $b as x in 2 satisfies every $c in 3 satisfies "
                 "4 or 5",
                 "(some ($a in 1) ($b as x in 2) (every ($c in 3) (or 4 5)))"},
        TreeCase{"Conditional", "if (1, 2) then 3 else if (4) then () else 5",
                 "(if (, 1 2) 3 (if 4 () 5))"},
        TreeCase{"Typeswitch",
                 "typeswitch (1) case $a as element()+ return 2 case "
                 "empty-sequence() return 3 default $b return 4",
                 "(typeswitch 1 ($a element(*)+ 2) (empty-sequence() 3) $b 4)"},
        TreeCase{"StatementIsNoOperand", "1 + if (2) then 3 else 4",
                 "XPST0003 at line 1, column 5: \"if\" cannot be the name of a "
                 "function"},
        TreeCase{"Ordering", "unordered { 1 }, ordered { 2, 3 }[1]",
                 "(, (unordered 1) (ordered (, 2 3))[1])"},
        TreeCase{"Extension", "(#p:a#)(# b  c (: # ) #) { 1 }, (#c#){}",
                 "(, (extension p:a\"\" b\"c (: # ) \" 1) (extension c\"\" "
                 "none))"}),
    kName);

INSTANTIATE_TEST_SUITE_P(
    Literals, QueryTree,
    testing::Values(
        TreeCase{
            "Numbers",
            "(0, 12345678901234567890123, 1., .5, 1.50, 1e3, 1.e-3, .5E+3)",
            "(, 0 12345678901234567890123 1.m .5m 1.50m 1e3d 1.e-3d "
            ".5E+3d)"},
        TreeCase{"RangeOfDecimals", "1. to 2", "(to 1.m 2)"},
        TreeCase{"Strings", "('a''b\"\"', \"a''b\"\"c\", '', '(: no :)')",
                 "(, \"a'b\"\"\" \"a''b\"c\" \"\" \"(: no :)\")"},
        TreeCase{"References",
                 "'&lt;&gt;&amp;&quot;&apos;&#65;&#x4e2D;&#x10FFFF;&#13;'",
                 "\"<>&\"'A\xE4\xB8\xAD\xF4\x8F\xBF\xBF\\r\""},
        TreeCase{"LineEnds", "'a\r\nb\rc\n\rd'", "\"a\\nb\\nc\\n\\nd\""},
        TreeCase{"Comments", "(: a (: b :) :)1(::)+(:(:):):)2", "(+ 1 2)"},
        TreeCase{"CommentEndsByItsOwn", "(:(::)1:)2", "2"},
        TreeCase{"SpaceInsideNames", "$ (: :) a, f (: :) (1), child :: b",
                 "(, $a (call f 1) child::b)"},
        TreeCase{"NamesOfAllKinds",
                 "\xE4\xB8\xAD\xE6\x96\x87/_a.b-c/p\xC3\xA9:\xF0\xA0\x80\x80",
                 "(/ child::\xE4\xB8\xAD\xE6\x96\x87 child::_a.b-c "
                 "child::p\xC3\xA9:\xF0\xA0\x80\x80)"},
        TreeCase{"ByteOrderMark",
                 "\xEF\xBB\xBF"
                 "1",
                 "1"}),
    kName);

INSTANTIATE_TEST_SUITE_P(
    DirectConstructors, QueryTree,
    testing::Values(
        TreeCase{"Element",
                 "<p:a xmlns=' u ' b='1{2}{{}}&amp;''' xmlns:p=\"v\" c = \"\" "
                 "><b/>t</p:a  >",
                 "<p:a ns:=\"u\" ns:p=\"v\" (@b \"1\" {2} \"{}&'\") (@c) "
                 "{<b>} \"t\">"},
        TreeCase{"BoundarySpace",
                 "<a> {1} <b> </b>\n<!-- x -->\t<?p  y ?> </a>",
                 "<a {1} {<b>} {<!-- \" x \">} {<? p \"y \">}>"},
        TreeCase{"KeptSpace",
                 "declare boundary-space preserve; <a> {1}\n<b/></a>",
                 "<a \" \" {1} \"\\n\" {<b>}>"},
        TreeCase{"SpaceBesideCharacters",
                 "<a> x {1} &#32; {2} <![CDATA[]]> </a>",
                 "<a \" x \" {1} \"   \" {2} \"  \">"},
        TreeCase{"Cdata", "<a>x<![CDATA[<&{ ]]]>y</a>", "<a \"x<&{ ]y\">"},
        TreeCase{"SpaceInAttributes", "<a b='\t1\r\n2&#9;{'\n'}'/>",
                 "<a (@b \" 1 2\\t\" {\"\\n\"})>"},
        TreeCase{"QuotesInAttributes", "<a b=\"''\"\"{\"x\"}\" c='\"''{'y'}'/>",
                 "<a (@b \"''\"\" {\"x\"}) (@c \"\"'\" {\"y\"})>"},
        TreeCase{"EnclosedNests", "<a>{<b>{<c/>,1}</b>}{'}'}</a>",
                 "<a {<b {(, <c> 1)}>} {\"}\"}>"},
        TreeCase{"LessThanOrElement", "1 <a, 2< b, <c/> < <d/>",
                 "(, (< 1 child::a) (< 2 child::b) (< <c> <d>))"},
        TreeCase{"CommentInsideIsText", "<a>(: x :)</a>", "<a \"(: x :)\">"},
        TreeCase{"Instruction", "<?a?>, <?b   ?>, <?c x?y ?>",
                 "(, <? a \"\"> <? b \"\"> <? c \"x?y \">)"}),
    kName);

INSTANTIATE_TEST_SUITE_P(
    ComputedConstructors, QueryTree,
    testing::Values(
        TreeCase{"Named",
                 "element a {1}, element p:b {}, attribute c {2}, "
                 "processing-instruction d {3}",
                 "(, (element a 1) (element p:b none) (attribute c 2) "
                 "(instruction d 3))"},
        TreeCase{"NamedByExpression",
                 "element {1} {2}, attribute {3} {}, processing-instruction "
                 "{4} {5}",
                 "(, (element {1} 2) (attribute {3} none) (instruction {4} "
                 "5))"},
        TreeCase{"Nameless", "document {1}, text {2}, comment {3, 4}",
                 "(, (document 1) (text 2) (comment (, 3 4)))"},
        TreeCase{"InsideAPath", "a/element b {.}[1]/c",
                 "(/ child::a (element b .)[1] child::c)"}),
    kName);

TEST(QueryProlog, KeepsEverySetting) {
  const ast::Module module = Parse(
      "xquery version '1.0' encoding 'GB2312';\n"
      "declare boundary-space strip; declare default collation 'c';\n"
      "declare base-uri ' b '; declare construction preserve;\n"
      "declare ordering unordered; declare default order empty greatest;\n"
      "declare copy-namespaces no-preserve, inherit;\n"
      "declare default element namespace 'e';\n"
      "declare default function namespace 'f'; declare namespace p = 'u';\n"
      "1");
  const ast::Prolog& prolog = module.prolog;
  EXPECT_EQ(module.version, "1.0");
  EXPECT_EQ(module.encoding, "GB2312");
  EXPECT_EQ(prolog.boundary_space_preserve, false);
  EXPECT_EQ(prolog.default_collation->text, "c");
  EXPECT_EQ(prolog.base_uri->text, "b");
  EXPECT_EQ(prolog.base_uri->position, (Position{3, 18}));
  EXPECT_EQ(prolog.construction_preserve, true);
  EXPECT_EQ(prolog.is_ordered, false);
  EXPECT_EQ(prolog.empty_order, ast::EmptyOrder::Greatest);
  EXPECT_FALSE(prolog.copy_namespaces->preserve);
  EXPECT_TRUE(prolog.copy_namespaces->inherit);
  EXPECT_EQ(prolog.default_element_namespace->text, "e");
  EXPECT_EQ(prolog.default_function_namespace->text, "f");
  ASSERT_EQ(prolog.namespaces.size(), 1U);
  EXPECT_EQ(prolog.namespaces[0].prefix, "p");
  EXPECT_EQ(prolog.namespaces[0].uri, "u");
}

TEST(QueryProlog, KeepsDeclarationsInTheirOrder) {
  const ast::Module module = Parse(
      "declare variable $a := 1; declare option p:o 'v';\n"
      "declare function f($x, $y as a*) as b { $x };\n"
      "declare variable $b as c external;\n"
      "declare function element() external; $a");
  const ast::Prolog& prolog = module.prolog;
  ASSERT_EQ(prolog.variables.size(), 2U);
  EXPECT_EQ(ast::Show(prolog.variables[0].value), "1");
  EXPECT_EQ(prolog.variables[1].value, nullptr);
  EXPECT_EQ(ast::Show(*prolog.variables[1].type), "c");
  ASSERT_EQ(prolog.functions.size(), 2U);
  const ast::FunctionDeclaration& function = prolog.functions[0];
  EXPECT_EQ(ast::Show(function.name), "f");
  ASSERT_EQ(function.parameters.size(), 2U);
  EXPECT_FALSE(function.parameters[0].type);
  EXPECT_EQ(ast::Show(*function.parameters[1].type), "a*");
  EXPECT_EQ(ast::Show(*function.result), "b");
  EXPECT_EQ(ast::Show(function.body), "$x");
  EXPECT_LT(prolog.variables[0].position, function.position);
  EXPECT_LT(function.position, prolog.variables[1].position);
  // A reserved name cannot be called without a prefix, but it can be had.
  EXPECT_EQ(prolog.functions[1].body, nullptr);
  ASSERT_EQ(prolog.options.size(), 1U);
  EXPECT_EQ(prolog.options[0].value, "v");
}

struct RefusedCase {
  const char* name;
  const char* query;
  const char* error;
};

class RefusedQuery : public testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedQuery, SaysWhatAndWhere) {
  EXPECT_EQ(Tree(GetParam().query), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Grammar, RefusedQuery,
    testing::Values(
        RefusedCase{"Empty", "",
                    "XPST0003 at line 1, column 1: expected an expression, "
                    "found the end of the query"},
        RefusedCase{"CountsCharacters", "'\xE4\xB8\xAD' +\n\t'\xE6\x96\x87' )",
                    "XPST0003 at line 2, column 6: expected an operator or the "
                    "end of the query, found \")\""},
        RefusedCase{"ComparisonsDoNotChain", "1 = 2 = 3",
                    "XPST0003 at line 1, column 7: expected an operator or the "
                    "end of the query, found \"=\""},
        RefusedCase{"CastBehindInstance", "1 + a instance of b cast as c",
                    "XPST0003 at line 1, column 21: expected an operator or "
                    "the end of the query, found \"cast\""},
        RefusedCase{"NumberAndName", "10div 2",
                    "XPST0003 at line 1, column 1: a number and a name need "
                    "white space between them"},
        RefusedCase{"OpenString", "1, 'a''",
                    "XPST0003 at line 1, column 4: a string without an end"},
        RefusedCase{"OpenComment", "1 (: (: :)",
                    "XPST0003 at line 1, column 3: a comment without an end"},
        RefusedCase{"StrayCharacter", "1 ! 2",
                    "XPST0003 at line 1, column 3: a character that begins "
                    "nothing in the language"},
        RefusedCase{"ReservedName", "item(1)",
                    "XPST0003 at line 1, column 1: \"item\" cannot be the name "
                    "of a function"},
        RefusedCase{"UnknownAxis", "namespace::a",
                    "XPST0003 at line 1, column 1: expected the name of an "
                    "axis, found \"namespace\""},
        RefusedCase{"NoReturn", "for $x in 1",
                    "XPST0003 at line 1, column 12: expected \"for\", "
                    "\"let\", \"where\", \"order by\" or \"return\", found "
                    "the end of the query"},
        RefusedCase{"PositionInLet", "let $x at $i := 1 return 2",
                    "XPST0003 at line 1, column 8: expected \":=\", found "
                    "\"at\""},
        RefusedCase{"LongTokenIsCut",
                    "1 \"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\xE4\xB8\xAD"
                    "bbb\"",
                    "XPST0003 at line 1, column 3: expected an operator or the "
                    "end of the query, found \"\"aaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
                    "aaaaaaaa...\""},
        RefusedCase{"NotUtf8", "'a\n\xC3('",
                    "XPST0003 at line 2, column 1: the query is not UTF-8"},
        RefusedCase{"NoXmlCharacter", "'a\r\r\n\x01'",
                    "XPST0003 at line 3, column 1: a character that XML does "
                    "not allow"},
        RefusedCase{"EmptyBody", "text {}",
                    "XPST0003 at line 1, column 7: expected an expression, "
                    "found \"}\""},
        RefusedCase{"LaterThanThisVersion", "'a' || 'b'",
                    "XPST0003 at line 1, column 6: expected an expression, "
                    "found \"|\""},
        RefusedCase{"SettingBehindFunction",
                    "declare function f() {1}; declare ordering ordered; 1",
                    "XPST0003 at line 1, column 27: namespaces and settings "
                    "come before variables, functions and options"},
        RefusedCase{"PragmaWithoutSpace", "(#a!#) {1}",
                    "XPST0003 at line 1, column 4: expected white space or "
                    "\"#)\", found \"!\""}),
    kName);

INSTANTIATE_TEST_SUITE_P(
    Constructors, RefusedQuery,
    testing::Values(
        RefusedCase{"OtherEndTag", "<a>\n<p:b></b></a>",
                    "XPST0003 at line 2, column 8: expected the end of "
                    "\"p:b\", found that of \"b\""},
        RefusedCase{"NoEndTag", "1, <a>{2}",
                    "XPST0003 at line 1, column 4: the element \"a\" has no "
                    "end"},
        RefusedCase{"SpaceBehindLess", "< a/>",
                    "XPST0003 at line 1, column 2: expected the name of an "
                    "element right behind \"<\", found \" \""},
        RefusedCase{"LoneBrace", "<a>}</a>",
                    "XPST0003 at line 1, column 4: a single \"}\"; the "
                    "character is written \"}}\""},
        RefusedCase{"LessInAttribute", "<a b='<'/>",
                    "XPST0003 at line 1, column 7: \"<\" in the value of an "
                    "attribute"},
        RefusedCase{"AttributesTouch", "<a b='1'c='2'/>",
                    "XPST0003 at line 1, column 9: expected white space, "
                    "\"/>\" or \">\", found \"c\""},
        RefusedCase{"CommentInTag", "<a (: :)/>",
                    "XPST0003 at line 1, column 4: expected an attribute, "
                    "\"/>\" or \">\", found \"(\""},
        RefusedCase{"HyphensInComment", "<!-- a -- b -->",
                    "XPST0003 at line 1, column 8: \"--\" inside a comment"},
        RefusedCase{"InstructionXml", "<?xMl a?>",
                    "XPST0003 at line 1, column 1: expected the target of a "
                    "processing instruction, other than \"xml\""},
        RefusedCase{"UnknownEntity", "<a>&nbsp;</a>",
                    "XPST0003 at line 1, column 4: expected a reference such "
                    "as \"&lt;\" or \"&#10;\" behind \"&\""},
        RefusedCase{"LoneAmpersand", "'a\n&'",
                    "XPST0003 at line 2, column 1: expected a reference such "
                    "as \"&lt;\" or \"&#10;\" behind \"&\""},
        RefusedCase{"PrefixedTarget", "processing-instruction p:a {1}",
                    "XPST0003 at line 1, column 24: expected a target, which "
                    "has no prefix, found \"p:a\""}),
    kName);

struct CodeCase {
  const char* name;
  const char* query;
  const char* code;
};

class RefusedByCode : public testing::TestWithParam<CodeCase> {};

TEST_P(RefusedByCode, GivesTheCode) {
  try {
    Parse(GetParam().query);
    ADD_FAILURE() << "parsed";
  } catch (const Error& error) {
    EXPECT_EQ(error.code(), GetParam().code) << error.what();
    EXPECT_TRUE(error.position().IsKnown());
  }
}

INSTANTIATE_TEST_SUITE_P(
    OtherThanGrammar, RefusedByCode,
    testing::Values(
        CodeCase{"Version", "xquery version '1.1'; 1", "XQST0031"},
        CodeCase{"Encoding", "xquery version '1.0' encoding 'a b'; 1",
                 "XQST0087"},
        CodeCase{"ComputedNamespace", "<a xmlns:p='{1}'/>", "XQST0022"},
        CodeCase{"NamespaceTwice", "<a xmlns='u' b='' xmlns=''/>", "XQST0071"},
        CodeCase{"NoCharacter", "'&#xD800;'", "XQST0090"},
        CodeCase{"HugeReference", "<a>&#x100000000000000041;</a>", "XQST0090"},
        CodeCase{"Validate", "1 + validate lax {2}", "XQST0075"},
        CodeCase{"SchemaImport", "import schema namespace p='u' at 'a','b';1",
                 "XQST0009"},
        CodeCase{"SchemaImportOfNothing", "import schema namespace p=' ';1",
                 "XQST0057"},
        CodeCase{"ModuleImport", "import module 'u';1", "XQST0016"},
        CodeCase{"ModuleImportOfNothing", "import module '';1", "XQST0088"},
        CodeCase{"LibraryModule", "module namespace p = 'u'; 1", "XQST0016"},
        CodeCase{"BaseUriTwice", "declare base-uri 'a';declare base-uri 'a';1",
                 "XQST0032"},
        CodeCase{"CollationTwice",
                 "declare default collation 'a';declare default collation "
                 "'a';1",
                 "XQST0038"},
        CodeCase{"CopyNamespacesTwice",
                 "declare copy-namespaces preserve, inherit;declare "
                 "copy-namespaces preserve, inherit;1",
                 "XQST0055"},
        CodeCase{"OrderingTwice",
                 "declare ordering ordered;declare ordering ordered;1",
                 "XQST0065"},
        CodeCase{"DefaultNamespaceTwice",
                 "declare default element namespace '';declare default element "
                 "namespace '';1",
                 "XQST0066"},
        CodeCase{"ConstructionTwice",
                 "declare construction strip;declare construction strip;1",
                 "XQST0067"},
        CodeCase{"BoundarySpaceTwice",
                 "declare boundary-space strip;declare boundary-space strip;1",
                 "XQST0068"},
        CodeCase{"EmptyOrderTwice",
                 "declare default order empty least;declare default order "
                 "empty least;1",
                 "XQST0069"}),
    kName);

// ----------------------------------------------------------------------- depth

std::string Repeat(std::string_view text, std::size_t times) {
  std::string result;
  while (times-- > 0) result += text;
  return result;
}

struct DeepCase {
  const char* name;
  const char* open;
  const char* middle;
  const char* close;
};

class DeepQuery : public testing::TestWithParam<DeepCase> {};

TEST_P(DeepQuery, IsRefusedBeforeTheStackEnds) {
  const auto nested = [](std::size_t times) {
    return Repeat(GetParam().open, times) + GetParam().middle +
           Repeat(GetParam().close, times);
  };
  EXPECT_NO_THROW(Parse(nested(200)));
  for (const std::size_t times : {2000U, 200000U}) {
    try {
      Parse(nested(times));
      ADD_FAILURE() << "parsed";
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), "XPDY0130");
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    ByEveryWay, DeepQuery,
    testing::Values(DeepCase{"Parentheses", "(", "1", ")"},
                    DeepCase{"Predicates", "a[", "1", "]"},
                    DeepCase{"Calls", "f(1, ", "1", ")"},
                    DeepCase{"Elements", "<a>", "", "</a>"},
                    DeepCase{"Enclosed", "<a b='{", "1", "}'/>"},
                    DeepCase{"Computed", "text {", "1", "}"},
                    DeepCase{"Flwor", "for $a as element(a, b?) in 1 return ",
                             "1", ""},
                    DeepCase{"Else", "if (1) then 2 else ", "1", ""},
                    DeepCase{"Default",
                             "typeswitch (1) case a return 1 "
                             "default return ",
                             "1", ""},
                    DeepCase{"RightOperands", "1 or 2 = (3 + ", "1", ")"},
                    DeepCase{"LeftOperands", "", "1", " - 1"},
                    DeepCase{"LeftOfExcept", "", "$a", " except $b"},
                    DeepCase{"Steps", "", "$a", "/b"},
                    DeepCase{"PredicatesInARow", "", "$a", "[1]"},
                    DeepCase{"PredicatesOfAStep", "", "$a/b", "[1]"},
                    DeepCase{"Clauses", "let $a := 1 ", "return $a", ""},
                    DeepCase{"Conditions", "some $a in 1 satisfies ", "1", ""}),
    kName);

TEST(QueryDepth, CountsWhatSankToTheLeft) {
  // Each is allowed alone; the tree of both is too deep.
  const std::string nested = Repeat("(1 + ", 300) + "1" + Repeat(")", 300);
  const std::string chain = Repeat(" - 1", 600);
  EXPECT_NO_THROW(Parse(nested));
  EXPECT_NO_THROW(Parse("1" + chain));
  EXPECT_THROW(Parse(nested + chain), Error);
}

TEST(QueryDepth, LetsRowsBeLong) {
  for (const char* row : {", 1", " or 1", " and 1", " | $a", ", $a/b[1]",
                          ", for $a in 1 return 1"}) {
    EXPECT_NO_THROW(Parse("$a" + Repeat(row, 50000))) << row;
  }
  EXPECT_NO_THROW(Parse(Repeat("- ", 50000) + "1"));
}

TEST(QueryDepth, IsSetByTheCaller) {
  ParseLimits limits;
  limits.max_depth = 6;
  EXPECT_NO_THROW(Parse("(((((1)))))", limits));
  EXPECT_THROW(Parse("((((((1))))))", limits), Error);
}

}  // namespace
}  // namespace kiv::xdb::xq
