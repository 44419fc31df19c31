#include <cmath>
#include <limits>

#include "kiv/dom.h"
#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

constexpr char kOrderGb[] = "\xB6\xA9\xB5\xA5";  // 订单
constexpr char kOrderUtf8[] = "\xE8\xAE\xA2\xE5\x8D\x95";

using XDbValueTest = XDbTest;

TEST_F(XDbValueTest, IsNothingWhenEmpty) {
  const XDbValue empty;
  EXPECT_FALSE(empty.isNumber());
  EXPECT_FALSE(empty.isString());
  EXPECT_FALSE(empty.isBoolean());
  EXPECT_FALSE(empty.isNode());
  EXPECT_FALSE(empty.isNull());
  EXPECT_EQ(empty.asString(), "");
  EXPECT_EQ(empty.asNumber(), 0.0);
  EXPECT_FALSE(empty.asBoolean());
  DomNode node;
  XDbDocument document;
  EXPECT_FALSE(empty.asNode(node));
  EXPECT_FALSE(empty.asDocument(document));
  EXPECT_FALSE(empty.equals(empty));
  EXPECT_FALSE(empty == XDbValue(1.0));
  EXPECT_FALSE(XDbValue("") == empty);
}

TEST_F(XDbValueTest, HoldsWhatItWasMadeOf) {
  const XDbValue text(std::string("a"));
  EXPECT_TRUE(text.isString());
  EXPECT_FALSE(text.isNode());
  EXPECT_EQ(XDbValue("1.5").asNumber(), 1.5);
  EXPECT_TRUE(XDbValue("false").asBoolean());
  EXPECT_FALSE(XDbValue("").asBoolean());
  EXPECT_TRUE(XDbValue(static_cast<const char*>(nullptr)).isString());

  const XDbValue number(2.5);
  EXPECT_TRUE(number.isNumber());
  EXPECT_EQ(number.asString(), "2.5");
  EXPECT_TRUE(number.asBoolean());
  EXPECT_FALSE(XDbValue(0.0).asBoolean());
  EXPECT_FALSE(XDbValue(std::nan("")).asBoolean());

  const XDbValue yes(true);
  EXPECT_TRUE(yes.isBoolean());
  EXPECT_EQ(yes.asString(), "true");
  EXPECT_EQ(yes.asNumber(), 1.0);
  EXPECT_FALSE(yes.isNull());
}

TEST_F(XDbValueTest, EqualsWhatIsOfItsKind) {
  EXPECT_TRUE(XDbValue("a") == XDbValue(std::string("a")));
  EXPECT_FALSE(XDbValue("1") == XDbValue(1.0));
  EXPECT_FALSE(XDbValue(true) == XDbValue(1.0));
  EXPECT_TRUE(XDbValue(false) == XDbValue(false));
  EXPECT_FALSE(XDbValue(std::nan("")) == XDbValue(std::nan("")));
  const XDbValue copied = XDbValue("a");
  EXPECT_TRUE(copied == XDbValue("a"));
}

TEST_F(XDbValueTest, IsLocalTextOutsideAndUtf8Inside) {
  EXPECT_EQ(XDbValue(kOrderGb).asString(), kOrderGb);
  EXPECT_EQ(XDbAccess::Value(MakeString(kOrderUtf8)).asString(), kOrderGb);
  // Two names must not become one.
  EXPECT_FALSE(XDbValue("a\xFF").isString());
  EXPECT_TRUE(
      Logged("XDbValue::XDbValue exception: the value 'a\\xFF' holds "
             "bytes that are no GB2312 character"))
      << LogText();
}

struct NumberCase {
  const char* name;
  double value;
  const char* text;
};

class NumberAsText : public testing::TestWithParam<NumberCase> {};

TEST_P(NumberAsText, IsThatOfQueriesAndReadsBack) {
  EXPECT_EQ(NumberText(GetParam().value), GetParam().text);
  const double again =
      NumberOfText(std::string(" \t") + GetParam().text + "\n");
  if (std::isnan(GetParam().value))
    EXPECT_TRUE(std::isnan(again));
  else
    EXPECT_EQ(again, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Value, NumberAsText,
    testing::Values(
        NumberCase{"Zero", 0, "0"}, NumberCase{"NegativeZero", -0.0, "-0"},
        NumberCase{"Integer", 100, "100"}, NumberCase{"Fraction", -0.1, "-0.1"},
        NumberCase{"Small", 0.000001, "0.000001"},
        NumberCase{"Smaller", 0.0000001, "1.0E-7"},
        NumberCase{"Large", 1e6, "1.0E6"},
        NumberCase{"Larger", 1.25e300, "1.25E300"},
        NumberCase{"Infinity", std::numeric_limits<double>::infinity(), "INF"},
        NumberCase{"NegativeInfinity", -std::numeric_limits<double>::infinity(),
                   "-INF"},
        NumberCase{"None", std::nan(""), "NaN"}),
    [](const auto& row) { return row.param.name; });

TEST(NumberOfTextTest, RefusesWhatIsNoNumber) {
  for (const char* text : {"", " ", "1x", "0x10", "inf", "nan", "+-1", "1 2",
                           "--1", "1e", "\xE4\xB8\x80"})
    EXPECT_TRUE(std::isnan(NumberOfText(text))) << text;
  EXPECT_EQ(NumberOfText("+1.5"), 1.5);
  EXPECT_EQ(NumberOfText("1e400"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(NumberOfText("-1E400"), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(NumberOfText("1e-400"), 0);
  EXPECT_EQ(NumberOfText("0." + std::string(400, '0') + "1"), 0);
}

class NodeValueTest : public XDbTest {
 protected:
  static XDbValue At(std::vector<std::uint32_t> steps,
                     const std::string& attribute = "",
                     const std::string& uri = "") {
    static const auto document = MakeDocument(
        "d", "<?p?><a xmlns:n='u' n:k='1' k='2'>t<![CDATA[<>]]>t<!--c--><b/>" +
                 std::string(kOrderUtf8) + "<b>2</b></a>");
    NodePlace place{document, std::move(steps), !attribute.empty(), uri,
                    attribute};
    return XDbAccess::Value(std::make_shared<NodeItem>(place, "text"));
  }
  static std::string NameAt(const XDbValue& value) {
    DomNode node;
    if (!value.asNode(node)) return "-";
    std::string text;
    node.GetNodeValue(text);
    return node.GetNodeName() + (text.empty() ? "" : "=" + text);
  }
};

TEST_F(NodeValueTest, IsFoundInTheTreeOfItsDocument) {
  EXPECT_EQ(NameAt(At({})), "#document");
  EXPECT_EQ(NameAt(At({0})), "p");
  EXPECT_EQ(NameAt(At({1})), "a");
  // Text and CDATA sections side by side are one text to queries.
  EXPECT_EQ(NameAt(At({1, 0})), "#text=t");
  EXPECT_EQ(NameAt(At({1, 1})), "#comment=c");
  EXPECT_EQ(NameAt(At({1, 2})), "b");
  EXPECT_EQ(NameAt(At({1, 3})), std::string("#text=") + kOrderGb);
  EXPECT_EQ(NameAt(At({1, 4, 0})), "#text=2");
  EXPECT_EQ(NameAt(At({1}, "k")), "k=2");
  EXPECT_EQ(NameAt(At({1}, "k", "u")), "n:k=1");
  EXPECT_EQ(NameAt(At({1}, "missing")), "-");
  EXPECT_EQ(NameAt(At({1, 5})), "-");
  EXPECT_EQ(NameAt(At({1, 2, 0})), "-");
  EXPECT_EQ(NameAt(At({7, 7})), "-");
}

TEST_F(NodeValueTest, KeepsTheTreeForItsCopies) {
  DomNode node;
  XDbValue copy;
  {
    const XDbValue value = At({1, 4});
    ASSERT_TRUE(value.asNode(node));
    copy = value;
  }
  DomNode parent;
  EXPECT_TRUE(node.GetParentNode(parent));
  EXPECT_EQ(parent.GetNodeName(), "a");
  DomNode again;
  EXPECT_TRUE(copy.asNode(again));
  EXPECT_TRUE(again.IsSameNode(node));
}

TEST_F(NodeValueTest, GivesItsDocument) {
  XDbDocument document;
  EXPECT_TRUE(At({1}).asDocument(document));
  EXPECT_EQ(document.GetName(), "d");
  const XDbValue alone =
      XDbAccess::Value(std::make_shared<NodeItem>(NodePlace(), "made"));
  EXPECT_TRUE(alone.isNode());
  EXPECT_EQ(alone.asString(), "made");
  DomNode node;
  EXPECT_FALSE(alone.asNode(node));
  EXPECT_FALSE(alone.asDocument(document));
  EXPECT_EQ(document.GetName(), "d");
}

}  // namespace
}  // namespace kiv::xdb
