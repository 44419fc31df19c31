#include "store/ado/connection_text.h"

#include <gtest/gtest.h>

namespace kiv::store::ado {
namespace {

using Kind = ConnectionText::Kind;

struct TextCase {
  const char* name;
  Kind kind;
  const char* text;
  // The pairs as "key|value|..."; null when it is refused.
  const char* pairs;
};

class ConnectionTexts : public ::testing::TestWithParam<TextCase> {};

TEST_P(ConnectionTexts, AreReadOrRefused) {
  ConnectionText text;
  text.Add("before", "1");
  std::string fault;
  const bool is_read =
      ConnectionText::Parse(GetParam().text, GetParam().kind, text, fault);
  ASSERT_EQ(is_read, GetParam().pairs != nullptr) << fault;
  if (!is_read) {
    EXPECT_NE(text.Find("before"), nullptr);
    EXPECT_NE(fault, "");
    return;
  }
  std::string pairs;
  for (const TextPair& pair : text.pairs())
    pairs += (pairs.empty() ? "" : "|") + pair.key + "|" + pair.value;
  EXPECT_EQ(pairs, GetParam().pairs);
}

INSTANTIATE_TEST_SUITE_P(
    Text, ConnectionTexts,
    ::testing::Values(
        TextCase{"Plain", Kind::OleDb, "Provider=X;Data Source=a b ; User ID=u",
                 "Provider|X|Data Source|a b|User ID|u"},
        TextCase{"Empty", Kind::OleDb, " ;; ", ""},
        TextCase{"EmptyValue", Kind::OleDb, "a=;b= ;c=", "a||b||c|"},
        TextCase{"BlanksAroundEquals", Kind::OleDb, "  a  =  b  ", "a|b"},
        TextCase{"SingleQuotes", Kind::OleDb, "a='x;y=''z''\"';b=1",
                 "a|x;y='z'\"|b|1"},
        TextCase{"DoubleQuotes", Kind::OleDb, "a=\"x;'y'\"\"\" ;b=1",
                 "a|x;'y'\"|b|1"},
        TextCase{"BracesAreBareInOleDb", Kind::OleDb, "a={x;b=y}", "a|{x|b|y}"},
        TextCase{"BracesInOdbc", Kind::Odbc, "a={x;y}}z};b='q'",
                 "a|x;y}z|b|'q'"},
        TextCase{"BothInMixed", Kind::Mixed, "a={x;y};b='q;'", "a|x;y|b|q;"},
        TextCase{"EqualsInKey", Kind::OleDb, "a==b=c", "a=b|c"},
        TextCase{"EqualsInValue", Kind::OleDb, "a=b=c", "a|b=c"},
        TextCase{"LastCountsInOleDb", Kind::OleDb, "a=1;A=2;a=3", "a|3"},
        TextCase{"FirstProviderCounts", Kind::OleDb, "Provider=1;PROVIDER=2",
                 "Provider|1"},
        TextCase{"FirstCountsInOdbc", Kind::Odbc, "a=1;A=2", "a|1"},
        // 乗: its second byte is "\"; 焅 and 焮 end in "|" and "}".
        TextCase{"SecondBytes", Kind::Odbc, "a={\x9F\x7D;\x81\x5C}",
                 "a|\x9F\x7D;\x81\x5C"},
        TextCase{"NoEquals", Kind::OleDb, "a=1;b", nullptr},
        TextCase{"PairWithoutEquals", Kind::OleDb, "a;b=1", nullptr},
        TextCase{"NoKey", Kind::OleDb, "=1", nullptr},
        TextCase{"OpenQuote", Kind::OleDb, "a='x;b=1", nullptr},
        TextCase{"OpenBrace", Kind::Odbc, "a={x}};b=1", nullptr},
        TextCase{"BehindQuote", Kind::OleDb, "a='x'y;b=1", nullptr}),
    [](const auto& text) { return text.param.name; });

TEST(ConnectionText, WrittenForOdbcIsReadAsItWas) {
  ConnectionText text, again;
  const char* const values[] = {
      "plain",  "",     "a;b", "{x}",         "}}",
      " edge ", "q'\"", "=",   "[x](y),?*!@", "\xB6\xA9\x9F\x7D"};
  for (const char* const value : values)
    text.Add("k" + std::to_string(text.pairs().size()), value);
  std::string fault;
  // In UTF-8 a "}" is nothing but one.
  ASSERT_TRUE(ConnectionText::Parse(text.ToOdbc(), Kind::Odbc, again, fault));
  ASSERT_EQ(again.pairs().size(), text.pairs().size());
  for (std::size_t i = 0; i + 1 < std::size(values); ++i)
    EXPECT_EQ(again.pairs()[i].value, values[i]);
  std::string plain;
  EXPECT_FALSE(text.ToPlainOdbc(plain));
}

struct MaskCase {
  const char* name;
  const char* text;
  const char* masked;
};

class MaskedTexts : public ::testing::TestWithParam<MaskCase> {};

TEST_P(MaskedTexts, ShowNoPassword) {
  EXPECT_EQ(Masked(GetParam().text), GetParam().masked);
  EXPECT_EQ(Masked(GetParam().text).find("Secret"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Text, MaskedTexts,
    ::testing::Values(
        MaskCase{"Bare", "a=1;Password=Secret;b=2", "a=1;Password=***;b=2"},
        MaskCase{"AtTheEnd", "PWD=Secret", "PWD=***"},
        MaskCase{"AnyCase", "pAsSwOrD = Secret ;x=1", "pAsSwOrD = ***;x=1"},
        MaskCase{"BehindAProtocol", "ado::PWD=Secret;x=1", "ado::PWD=***;x=1"},
        MaskCase{"OfADatabase", "Jet OLEDB:Database Password=Secret",
                 "Jet OLEDB:Database Password=***"},
        MaskCase{"Quoted", "Password='a;Secret''s;b';x=1", "Password=***;x=1"},
        MaskCase{"InBraces", "PWD={a;Secret}};b};x=1", "PWD=***;x=1"},
        MaskCase{"OpenQuote", "Password=\"Secret;x=1", "Password=***"},
        MaskCase{"OpenBrace", "PWD={Secret;x=1", "PWD=***"},
        MaskCase{"BehindAClosingMark", "Password='a'Secret;x=1",
                 "Password=***;x=1"},
        MaskCase{"Inside", "Extended Properties=\"DSN=d;PWD=Secret;UID=u\";x=1",
                 "Extended Properties=\"DSN=d;PWD=***;UID=u\";x=1"},
        MaskCase{"InsideAndQuoted",
                 "Extended Properties=\"PWD=\"\"a;Secret\"\";UID=u\";x=1",
                 "Extended Properties=\"PWD=***;UID=u\";x=1"},
        MaskCase{"InsideOfBraces", "x={PWD={a;Secret}}};y=1",
                 "x={PWD=***};y=1"},
        MaskCase{"InsideOfWhatIsBare", "x=PWD=Secret;y=1", "x=PWD=***;y=1"},
        MaskCase{"InsideAnOpenQuote", "x='a=1;PWD=Secret;y=1",
                 "x='a=1;PWD=***;y=1"},
        MaskCase{"DoubledEquals", "PWD==Secret;x=1", "PWD=***;x=1"},
        MaskCase{"AcrossAMarkThatMeansNothing", "x='a;PWD=Secret'Secret2;y=1",
                 "x='a;PWD=***'***;y=1"},
        MaskCase{"BehindAMarkThatMeansNothing", "x=\"a;PWD=\"Secret;y=1",
                 "x=\"a;PWD=\"***;y=1"},
        MaskCase{"EmptyStays", "Password=;x=1", "Password=;x=1"},
        MaskCase{"NoPairs", "just words", "just words"},
        MaskCase{"Twice", "PWD=Secret;pwd=Secret2", "PWD=***;pwd=***"}),
    [](const auto& text) { return text.param.name; });

TEST(MaskedText, OfAnyLengthIsMaskedInTime) {
  const std::string nothing(3'000'000, ';');
  EXPECT_EQ(Masked(nothing), nothing);
  EXPECT_EQ(Masked(nothing + "PWD=Secret"), nothing + "PWD=***");
}

TEST(MaskedText, OfAnyDepthIsMaskedInTime) {
  std::string text;
  for (int i = 0; i < 20000; ++i) text += i % 2 == 0 ? "a='" : "b=\"";
  text += "PWD=Secret";
  EXPECT_EQ(Masked(text).find("Secret"), std::string::npos);
}

}  // namespace
}  // namespace kiv::store::ado
