#include "store/ado/connection_text.h"

#include <gtest/gtest.h>

#include <tuple>

namespace kiv::store::ado {
namespace {

using Kind = ConnectionText::Kind;

TEST(ConnectionText, IsReadOrRefused) {
  const struct {
    const char* name;
    Kind kind;
    const char* text;
    // The pairs as "key|value|..."; null when it is refused.
    const char* pairs;
  } rows[] = {
      {"Plain", Kind::OleDb, "A B=x y ; User ID=u", "A B|x y|User ID|u"},
      {"Empty", Kind::OleDb, " ;; ", ""},
      {"EmptyValue", Kind::OleDb, "a=;b= ;c=", "a||b||c|"},
      {"SingleQuotes", Kind::OleDb, "a='x;y=''z''\"';b=1", "a|x;y='z'\"|b|1"},
      {"DoubleQuotes", Kind::OleDb, "a=\"x;'y'\"\"\" ;b=1", "a|x;'y'\"|b|1"},
      {"BracesAreBareInOleDb", Kind::OleDb, "a={x;b=y}", "a|{x|b|y}"},
      {"BracesInOdbc", Kind::Odbc, "a={x;y}}z};b='q'", "a|x;y}z|b|'q'"},
      {"BothInMixed", Kind::Mixed, "a={x;y};b='q;'", "a|x;y|b|q;"},
      {"EqualsInKey", Kind::OleDb, "a==b=c", "a=b|c"},
      {"LastCountsInOleDb", Kind::OleDb, "a=1;A=2;a=3", "a|3"},
      {"FirstProvider", Kind::OleDb, "Provider=1;PROVIDER=2", "Provider|1"},
      {"FirstCountsInOdbc", Kind::Odbc, "a=1;A=2", "a|1"},
      // 乗: its second byte is "\"; 焮 ends in "}".
      {"SecondBytes", Kind::Odbc, "a={\x9F\x7D;\x81\x5C}",
       "a|\x9F\x7D;\x81\x5C"},
      {"NoEquals", Kind::OleDb, "a=1;b", nullptr},
      {"NoKey", Kind::OleDb, "=1", nullptr},
      {"OpenQuote", Kind::OleDb, "a='x;b=1", nullptr},
      {"OpenBrace", Kind::Odbc, "a={x}};b=1", nullptr},
      {"BehindQuote", Kind::OleDb, "a='x'y;b=1", nullptr}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ConnectionText text;
    text.Add("before", "1");
    std::string fault;
    const bool is_read = ConnectionText::Parse(row.text, row.kind, text, fault);
    EXPECT_EQ(fault.empty(), is_read) << fault;
    std::string pairs;
    for (const TextPair& pair : text.pairs())
      pairs += (pairs.empty() ? "" : "|") + pair.key + "|" + pair.value;
    EXPECT_EQ(is_read ? pairs : pairs + " stay",
              row.pairs != nullptr ? row.pairs : "before|1 stay");
  }
}

TEST(ConnectionText, WrittenForOdbcIsReadAsItWas) {
  ConnectionText text, again;
  for (const char* const value :
       {"plain", "", "a;b", "{x}", "}}", " edge ", "q'\"", "=", "[](),?*!@"})
    text.Add("k" + std::to_string(text.pairs().size()), value);
  std::string fault;
  ASSERT_TRUE(ConnectionText::Parse(text.ToOdbc(), Kind::Odbc, again, fault));
  ASSERT_EQ(again.pairs().size(), text.pairs().size());
  for (std::size_t i = 0; i < text.pairs().size(); ++i)
    EXPECT_EQ(again.pairs()[i].value, text.pairs()[i].value);
  std::string plain;
  EXPECT_FALSE(text.ToPlainOdbc(plain));
}

TEST(MaskedText, ShowsNoPassword) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"AnyCase", "a=1;pAsSwOrD = Secret ;x=1", "a=1;pAsSwOrD = ***;x=1"},
      {"BehindAProtocol", "ado::PWD=Secret;x=1", "ado::PWD=***;x=1"},
      {"OfADatabase", "Database Password=Secret", "Database Password=***"},
      {"Quoted", "Password='a;Secret''s;b';x=1", "Password=***;x=1"},
      {"OpenQuote", "Password=\"Secret;x=1", "Password=***"},
      {"OpenBrace", "PWD={Secret;x=1", "PWD=***"},
      {"BehindAMark", "Password='a'Secret;x=1", "Password=***;x=1"},
      {"Inside", "P=\"D=d;PWD=Secret;U=u\";x=1", "P=\"D=d;PWD=***;U=u\";x=1"},
      {"InsideAndQuoted", "P=\"PWD=\"\"a;Secret\"\";U=u\";x=1",
       "P=\"PWD=***;U=u\";x=1"},
      {"InsideOfBraces", "x={PWD={a;Secret}}};y=1", "x={PWD=***};y=1"},
      {"InAnOpenQuote", "x='a=1;PWD=Secret;y=1", "x='a=1;PWD=***;y=1"},
      {"DoubledEquals", "PWD==Secret;x=1", "PWD=***;x=1"},
      {"AcrossAMark", "x='a;PWD=Secret'Secret2;y=1", "x='a;PWD=***'***;y=1"},
      {"BehindAnOddMark", "x=\"a;PWD=\"Secret;y=1", "x=\"a;PWD=\"***;y=1"},
      {"EmptyStays", "Password=;x=1", "Password=;x=1"},
      {"NoPairs", "just words", "just words"},
      {"Twice", "PWD=Secret;pwd=Secret2", "PWD=***;pwd=***"}};
  for (const auto& [name, text, masked] : rows)
    EXPECT_EQ(Masked(text), masked) << name;
}

TEST(MaskedText, OfAnyLengthAndDepthIsMaskedInTime) {
  const std::string nothing(3'000'000, ';');
  EXPECT_EQ(Masked(nothing + "PWD=Secret"), nothing + "PWD=***");
  std::string deep;
  for (int i = 0; i < 20000; ++i) deep += i % 2 == 0 ? "a='" : "b=\"";
  EXPECT_EQ(Masked(deep + "PWD=Secret").find("Secret"), std::string::npos);
}

}  // namespace
}  // namespace kiv::store::ado
