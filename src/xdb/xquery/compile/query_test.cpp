#include "xdb/xquery/compile/query.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "xdb/xquery/run/serializer.h"

namespace kiv::xdb::xq {
namespace {

// The result as it is written, or the code of the error.
std::string Answer(std::string_view query,
                   const Surroundings& surroundings = {},
                   const std::vector<BoundVariable>& variables = {}) {
  try {
    RunningQuery running(Compile(query, {}), surroundings, Item(), variables);
    std::string text;
    Serializer serializer(text);
    for (Item item; running.Next(item);) serializer.Write(item);
    return text;
  } catch (const Error& error) {
    return error.code();
  }
}

TEST(Queries, GiveTheirAnswer) {
  constexpr const char* kRows[][2] = {
      {"let $d := <r><c>{for $i in 1 to 3000 return <a n='{$i}'><b/></a>}</c>"
       "<b/></r> return (count($d//b), count($d/c//b), count($d/c/a[2]//b), "
       "count($d//none), ($d/c//a)[last()]/string(@n), "
       "count($d//b[../@n > 2990]), count($d/c/descendant::c))",
       "3001 3000 1 0 3000 10 0"},
      {"let $d := <r><a><a><b n='1'/></a><b n='2'/></a><a><b n='3'/></a></r> "
       "return string-join($d//a//b/@n, ',')",
       "1,2,3"},
      {"let $d := <r><a><a><b n='1'/><b n='2'/></a><b n='3'/></a></r> "
       "return string-join($d//a/descendant::b[2]/@n, ',')",
       "2"},
      {"let $d := <r><a><a><b n='1'/></a><b n='2'/></a></r> "
       "return count($d//a/descendant-or-self::*[.//@n])",
       "4"},
      {"let $a := attribute {QName('u', 'p:x')} {1} return "
       "<a xmlns:p='v'>{$a}</a>",
       "<a xmlns:ns0=\"u\" xmlns:p=\"v\" ns0:x=\"1\"/>"},
      // What is nested does not inherit what is only used around it, a copy
      // does.
      {"declare namespace a = 'u'; declare namespace b = 'v'; "
       "let $n := <n a:x=''><c/></n> let $d := "
       "<r b:x=''><n a:x=''><c/></n>{<n a:x=''><c/></n>}{$n}</r> "
       "return (for $c in ($d, $d//c) return (in-scope-prefixes($c), '|'), $d)",
       "xml b | xml | xml b | xml b |<r xmlns:b=\"v\" b:x=\"\">"
       "<n xmlns:a=\"u\" a:x=\"\"><c/></n><n xmlns:a=\"u\" a:x=\"\"><c/></n>"
       "<n xmlns:a=\"u\" a:x=\"\"><c/></n></r>"},
      {"declare namespace a = 'u'; let $n := <n a:x=''><c/></n> return "
       "(<r a:x=''>{$n}</r>, <r xmlns:a='w'>{$n}</r>)//c/"
       "namespace-uri-for-prefix('a', .)",
       "u w"},
      {"count((1, error()))", "FOER0000"},
      {"codepoints-to-string(99999999999999999999)", "FOCH0001"},
      // What comes first ends it.
      {"codepoints-to-string(65 to 4294967296)", "FOCH0001"},
  };
  for (const auto& [query, answer] : kRows)
    EXPECT_EQ(Answer(query), answer) << query;
}

TEST(Queries, AreRefusedWithTheCodeOfTheReason) {
  constexpr const char* kRows[][2] = {
      {"normalize-unicode('a', 'NFX')", "FOCH0003"},
      {"id('a', <a/>)", "FODC0001"},
      {"collection(':a')", "FODC0004"},
      {"doc(':a')", "FODC0005"},
      {"resolve-QName('p:a', <a/>)", "FONS0004"},
      {"resolve-uri('a')", "FONS0005"},
      {"zero-or-one((1, 2))", "FORG0003"},
      {"one-or-more(())", "FORG0004"},
      {"exactly-one(())", "FORG0005"},
      {"boolean((1, 2))", "FORG0006"},
      {"matches('a', 'a', 'g')", "FORX0001"},
      {"tokenize('a', 'x*')", "FORX0003"},
      {"'a' treat as xs:integer", "XPDY0050"},
      {"1 instance of xs:none", "XPST0051"},
      {"1 cast as xs:NOTATION", "XPST0080"},
      {"p:a", "XPST0081"},
      {"<a/>/(1, .)", "XPTY0018"},
      {"(1)/a", "XPTY0019"},
      {"(1)[a]", "XPTY0020"},
      {"<a b='1'>{attribute b {1}}</a>", "XQDY0025"},
      {"processing-instruction a {'?>'}", "XQDY0026"},
      {"processing-instruction {'p:a'} {}", "XQDY0041"},
      {"attribute xmlns {1}", "XQDY0044"},
      {"processing-instruction XmL {}", "XQDY0064"},
      {"comment {'a--b'}", "XQDY0072"},
      {"element {'p:a'} {}", "XQDY0074"},
      {"element {QName('http://www.w3.org/2000/xmlns/', 'a')} {}", "XQDY0096"},
      {"<a xmlns:p='{1}'/>", "XQST0022"},
      {"xquery version '1.1'; 1", "XQST0031"},
      {"declare base-uri 'a'; declare base-uri 'a'; 1", "XQST0032"},
      {"declare namespace p='u'; declare namespace p='u'; 1", "XQST0033"},
      {"declare function local:f() {1}; declare function local:f() {1}; 1",
       "XQST0034"},
      {"declare default collation 'a'; 1", "XQST0038"},
      {"declare function local:f($a, $a) {1}; 1", "XQST0039"},
      {"<a b='1' b='2'/>", "XQST0040"},
      {"declare function f() {1}; 1", "XQST0045"},
      {"declare namespace p = ':a'; 1", "XQST0046"},
      {"declare variable $a := 1; declare variable $a := 1; 1", "XQST0049"},
      {"declare copy-namespaces preserve, inherit; declare copy-namespaces "
       "preserve, inherit; 1",
       "XQST0055"},
      {"declare default function namespace ''; declare function f() {1}; 1",
       "XQST0060"},
      {"declare ordering ordered; declare ordering ordered; 1", "XQST0065"},
      {"declare construction strip; declare construction strip; 1", "XQST0067"},
      {"declare default order empty least; declare default order empty least; "
       "1",
       "XQST0069"},
      {"declare namespace xml = 'u'; 1", "XQST0070"},
      {"<a xmlns:xmlns='u'/>", "XQST0070"},
      {"for $a in 1 order by $a collation 'c' return 1", "XQST0076"},
      {"declare namespace p = 'u'; (# p:a #) {}", "XQST0079"},
      {"<a xmlns:p=''/>", "XQST0085"},
      {"xquery version '1.0' encoding 'a b'; 1", "XQST0087"},
      {"import module ''; 1", "XQST0088"},
      {"for $a at $a in 1 return 1", "XQST0089"},
      {"<a>x{attribute b {1}}</a>", "XQTY0024"},
  };
  for (const auto& [query, answer] : kRows)
    EXPECT_EQ(Answer(query), answer) << query;
}

TEST(Execution, EndsEndlessRecursion) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer ends at a stack of 65,536 calls";
#endif
  EXPECT_EQ(Answer("declare function local:f($x) {1 + local:f($x + 1)}; "
                   "local:f(1)"),
            "XPDY0130");
  EXPECT_EQ(Answer("declare function local:f($x) {(1, local:f($x + 1))}; "
                   "count(local:f(1))"),
            "XPDY0130");
}

TEST(Execution, EndsWhenItTakesTooMuchMemory) {
  Surroundings surroundings;
  surroundings.limits.memory_bytes = 1 << 20;
  // An order, values met, tuples, texts, nodes, names. Each would
  // take gigabytes, or never end.
  for (const char* query :
       {"count(distinct-values(1 to 1000000000))",
        "count(for $i in 1 to 1000000000 order by -$i return $i)",
        "count(for $x in 1 to 9999999999, $y in 1 to 9999999999 "
        "where $x = $y return 1)",
        "string-length(string-join(for $i in 1 to 1000000000 return 'abc', "
        "''))",
        "string-length(replace(string-join(for $i in 1 to 5000 return 'a', "
        "''), 'a', string-join(for $i in 1 to 5000 return 'a', '')))",
        "count(document {for $i in 1 to 9999999999 return comment {'x'}})",
        "count(for $i in 1 to 1000000000 return element {concat('a', $i)} {})",
        "<a>{for $i in 1 to 9999 return attribute {concat('a', $i)} "
        "{string-join(for $j in 1 to 999 return 'x', '')}}</a>",
        "declare function local:f($s) { local:f(<a>{$s, $s}</a>) }; "
        "local:f(<a/>)"}) {
    EXPECT_EQ(Answer(query, surroundings), "XPDY0130") << query;
  }
  // Each call holds a loop of all variables.
  surroundings.limits.memory_bytes = 256 << 10;
  std::string loops = "some $a in 1";
  for (int i = 0; i < 50; ++i) loops += ", $a in 1";
  EXPECT_EQ(Answer("declare function local:f($n) {" + loops +
                       " satisfies $n = 0 or local:f($n - 1)}; local:f(200)",
                   surroundings),
            "XPDY0130");
  surroundings.limits.memory_bytes = 1 << 20;
  // Nothing of these stays.
  for (const char* query :
       {"count(for $i in 1 to 100000 return <b/>)",
        "count(index-of(for $i in 1 to 1000000 return 1, 1))",
        "count(for $a in 1, $b in 1 to 1000 where (1 to 1000) >= $b return 1)",
        "count(distinct-values(for $i in 1 to 1000000 return $i mod 7))"}) {
    EXPECT_NE(Answer(query, surroundings), "XPDY0130") << query;
  }
}

// Tuples pass through what tests them on the stack.
TEST(Execution, TestsManyConditions) {
  std::string query = "for $a in 1 where $a = 1";
  for (int i = 0; i < 100'000; ++i) query += " and $a = 1";
  EXPECT_EQ(Answer(query + " return $a"), "1");
}

// What an index is asked for is compiled once more, but not over and over.
TEST(CompiledQuery, IsMadeOfConditionsInEachOther) {
  std::string query = "'1'";
  for (int i = 0; i < 60; ++i)
    query = "collection('c')/r[@n = " + query + "]/@n";
  EXPECT_EQ(Answer(query), "FODC0002");
}

// Constants, tables, what is kept, patterns and names are all shared, or are of
// one execution.
TEST(CompiledQuery, IsExecutedByThreadsAtTheSameTime) {
  constexpr char kQuery[] =
      "declare variable $n external; "
      "declare variable $words := ('a long text that lies outside of its item',"
      " 'x-1', 'y-2'); "
      "declare function local:sum($i) { if ($i = 0) then 0 else $i + "
      "local:sum($i - 1) }; "
      "let $d := <r>{for $i in 1 to 50 return <i n='{$i}' m='{51 - $i}'/>}</r> "
      "return (local:sum(20), 12345678901234567890 * $n, "
      "  for $a in $d/i, $b in $d/i where $a/@n = $b/@m and $a/@n < 4 "
      "  order by number($b/@n) return string($b/@n), "
      "  $words[matches(., '^[xy]-\\d$')], replace($words[1], 'o(.)', '$1o'), "
      "  distinct-values($d/i/@n)[. = $d/i[@m < 3]/@n], "
      "  xs:date('2026-01-31') + xs:dayTimeDuration('P1D'), "
      "  $d//i[@n = count($d/i) - 1]/@m/string())";
  const auto query = Compile(kQuery, {});
  const auto run = [&query](int n) {
    std::string text;
    RunningQuery running(query, {}, Item(),
                         {{QName{"", "", "n"}, {Item::OfInteger(n)}}});
    Serializer serializer(text);
    for (Item item; running.Next(item);) serializer.Write(item);
    return text;
  };
  const std::string expected[] = {run(0), run(1), run(2)};
  EXPECT_NE(expected[2].find("210 24691357802469135780 48 49 50 x-1 y-2 "),
            std::string::npos)
      << expected[2];
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 20; ++i)
        wrong += run((thread + i) % 3) != expected[(thread + i) % 3];
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST(Plans, AreTold) {
  constexpr const char* kRows[][2] = {
      {"/a//b[@c = 'x'][2]/text()",
       "sort(sort(root()/a/descendant-or-self::node()/b[@c = \"x\"][2])/text())"
       "\n"},
      {"(., ..)/ancestor::a/@b",
       "sort((., parent::node())/reverse(ancestor::a))/@b\n"},
      {"for $a in 1 to 3 return count(collection('c')/x) + $a",
       "flwor\n"
       "  for $a in 1 to 3\n"
       "  return once(count(collection(\"c\")/x)) + $a\n"},
      {"if (collection('a-collection-with-a-name-that-is-long')/order) "
       "then 'a text that is long enough to fill its line' else ()",
       "if\n"
       "  collection(\"a-collection-with-a-name-that-is-long\")/order\n"
       "  then \"a text that is long enough to fill its l...\"\n"
       "  else ()\n"},
  };
  for (const auto& [query, plan] : kRows)
    EXPECT_EQ(Explain(*Compile(query, {}), {}), plan);
}

}  // namespace
}  // namespace kiv::xdb::xq
