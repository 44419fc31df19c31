#include "xdb/xquery/syntax/parser.h"

#include <gmock/gmock.h>
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

constexpr const char* kTrees[][2] = {
    {"1 or 2 and 3 = 4 to 5 + 6 * 7 | 8 except 9 cast as d castable as c treat "
     "as b instance of a",
     "(or 1 (and 2 (= 3 (to 4 (+ 5 (* 6 (union 7 (except 8 (instance (treat "
     "(castable (cast 9 d) c) b) a)))))))))"},
    {"1 or 2 or 3 and 4 and 5 or 6", "(or 1 2 (and 3 4 5) 6)"},
    {"a-b - c -d", "(- (- child::a-b child::c) child::d)"},
    {"for $x as a? at $i in 1, $y in 2 let $z as item()* := 3 where 5 stable "
     "order by 6 descending empty least collation ' u  r ', 7, 8 return 9, 10",
     "(, (flwor ($x as a? at $i in 1) ($y in 2) ($z as item()* := 3) where 5 "
     "stable by 6 descending least \"u r\" by 7 by 8 return 9) 10)"},
    {"(#p:a#)(# b  c (: # ) #) { 1 }, (#c#){}",
     "(, (extension p:a\"\" b\"c (: # ) \" 1) (extension c\"\" none))"},
    // Words of the language as names.
    {"(element, attribute, text, comment, document, validate, ordered)",
     "(, child::element child::attribute child::text child::comment "
     "child::document child::validate child::ordered)"},
    // Paths.
    {"/ + 1, / << a, / | b",
     "(, (+ root 1) (<< root child::a) (union root child::b))"},
    {"* * *, 2**, * * *:a",
     "(, (* child::* child::*) (* 2 child::*) (* child::* child::*:a))"},
    // Tokens.
    {"('a''b\"\"', \"a''b\"\"c\", '', '(: no :)')",
     "(, \"a'b\"\"\" \"a''b\"c\" \"\" \"(: no :)\")"},
    {"'a\r\nb\rc\n\rd'", "\"a\\nb\\nc\\n\\nd\""},
    {"(: a (: b :) :)1(::)+(:(:):):)2", "(+ 1 2)"},
    {"\xE4\xB8\xAD\xE6\x96\x87/_a.b-c/p\xC3\xA9:\xF0\xA0\x80\x80",
     "(/ child::\xE4\xB8\xAD\xE6\x96\x87 child::_a.b-c "
     "child::p\xC3\xA9:\xF0\xA0\x80\x80)"},
    {"\xEF\xBB\xBF (1)", "1"},
    // Constructors.
    {"<p:a xmlns=' u ' b='1{2}{{}}&amp;''' xmlns:p=\"v\" c = \"\" "
     "><b/>t</p:a  >",
     "<p:a ns:=\"u\" ns:p=\"v\" (@b \"1\" {2} \"{}&'\") (@c) {<b>} \"t\">"},
    {"<a> {1} <b> </b>\n<!-- x -->\t<?p  y ?> </a>",
     "<a {1} {<b>} {<!-- \" x \">} {<? p \"y \">}>"},
    {"declare boundary-space preserve; <a> {1}\n<b/></a>",
     "<a \" \" {1} \"\\n\" {<b>}>"},
    {"<a>{<b>{<c/>,1}</b>}{'}'}</a>", "<a {<b {(, <c> 1)}>} {\"}\"}>"},
    {"1 <a, 2< b, <c/> < <d/>",
     "(, (< 1 child::a) (< 2 child::b) (< <c> <d>))"},
};

TEST(QueryTree, IsAsTheGrammarSays) {
  for (const auto& [query, tree] : kTrees)
    EXPECT_EQ(Tree(query), tree) << query;
}

constexpr struct {
  const char* query;
  int line;
  int column;
  const char* text;
} kRefused[] = {
    {"", 1, 1, "expected an expression, found the end of the query"},
    {"'\xE4\xB8\xAD' +\n\t'\xE6\x96\x87' )", 2, 6,
     "expected an operator or the end of the query, found \")\""},
    {"10div 2", 1, 1, "a number and a name need white space between them"},
    {"1 ! 2", 1, 3, "a character that begins nothing in the language"},
    {"namespace::a", 1, 1, "expected the name of an axis, found \"namespace\""},
    {"for $x in 1", 1, 12,
     "expected \"for\", \"let\", \"where\", \"order by\" or \"return\", found "
     "the "
     "end of the query"},
    // A long token is cut, between characters.
    {"1 \"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\xE4\xB8\xAD"
     "bbb\"",
     1, 3,
     "expected an operator or the end of the query, found "
     "\"\"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa...\""},
    {"'a\n\xC3('", 2, 1, "the query is not UTF-8"},
    {"'a\r\r\n\x01'", 3, 1, "a character that XML does not allow"},
    {"declare function f() {1}; declare ordering ordered; 1", 1, 27,
     "namespaces and settings come before variables, functions and options"},
    {"(#a!#) {1}", 1, 4, "expected white space or \"#)\", found \"!\""},
    {"<a>\n<p:b></b></a>", 2, 8,
     "expected the end of \"p:b\", found that of \"b\""},
    {"1, <a>{2}", 1, 4, "the element \"a\" has no end"},
    {"<a b='<'/>", 1, 7, "\"<\" in the value of an attribute"},
    {"<a (: :)/>", 1, 4, "expected an attribute, \"/>\" or \">\", found \"(\""},
    {"<!-- a -- b -->", 1, 8, "\"--\" inside a comment"},
    {"<?xMl a?>", 1, 1,
     "expected the target of a processing instruction, other than \"xml\""},
    {"'a\n&'", 2, 1,
     "expected a reference such as \"&lt;\" or \"&#10;\" behind \"&\""},
    {"processing-instruction p:a {1}", 1, 24,
     "expected a target, which has no prefix, found \"p:a\""},
};

TEST(RefusedQuery, SaysWhatAndWhere) {
  for (const auto& row : kRefused)
    EXPECT_EQ(Tree(row.query), "XPST0003 at line " + std::to_string(row.line) +
                                   ", column " + std::to_string(row.column) +
                                   ": " + row.text);
}

// The conformance cases have the other codes.
TEST(RefusedQuery, GivesTheCodeAndAPlace) {
  constexpr const char* kRows[][2] = {
      {"<a xmlns='u' b='' xmlns=''/>", "XQST0071"},
      {"<a>&#x100000000000000041;</a>", "XQST0090"},
      {"1 + validate lax {2}", "XQST0075"},
      {"import schema namespace p='u' at 'a','b';1", "XQST0009"},
      {"import schema namespace p=' ';1", "XQST0057"},
      {"import module 'u';1", "XQST0016"},
      {"module namespace p = 'u'; 1", "XQST0016"},
      {"declare default element namespace '';"
       "declare default element namespace '';1",
       "XQST0066"},
      {"declare boundary-space strip;declare boundary-space strip;1",
       "XQST0068"}};
  for (const auto& [query, code] : kRows)
    EXPECT_THAT(Tree(query), testing::StartsWith(code + std::string(" at ")));
}

std::string Repeat(std::string_view text, std::size_t times) {
  std::string result;
  while (times-- > 0) result += text;
  return result;
}

TEST(QueryDepth, IsRefusedBeforeTheStackEnds) {
  constexpr const char* kWays[][3] = {
      {"(", "1", ")"},
      {"a[", "1", "]"},
      {"<a>", "", "</a>"},
      {"<a b='{", "1", "}'/>"},
      {"text {", "1", "}"},
      {"for $a as element(a, b?) in 1 return ", "1", ""},
      {"typeswitch (1) case a return 1 default return ", "1", ""},
      {"1 or 2 = (3 + ", "1", ")"},
      {"", "1", " - 1"},
      {"", "$a", " except $b"},
      {"", "$a", "/b"},
      {"", "$a", "[1]"},
      {"let $a := 1 ", "return $a", ""},
  };
  for (const auto& way : kWays) {
    const auto nested = [&](std::size_t times) {
      return Repeat(way[0], times) + way[1] + Repeat(way[2], times);
    };
    EXPECT_NO_THROW(Parse(nested(200))) << nested(1);
    for (const std::size_t times : {2000U, 200000U})
      EXPECT_THAT(Tree(nested(times)), testing::StartsWith("XPDY0130"))
          << nested(1);
  }
}

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
  // And the caller sets how deep.
  ParseLimits limits;
  limits.max_depth = 6;
  EXPECT_NO_THROW(Parse("(((((1)))))", limits));
  EXPECT_THROW(Parse("((((((1))))))", limits), Error);
}

}  // namespace
}  // namespace kiv::xdb::xq
