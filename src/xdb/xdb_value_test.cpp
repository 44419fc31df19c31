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
  DomNode node;
  XDbDocument document;
  ExpectAllFalse(empty.isNumber(), empty.isString(), empty.isBoolean(),
                 empty.isNode(), empty.isNull(), empty.asBoolean(),
                 empty.asNode(node), empty.asDocument(document),
                 empty.equals(empty), empty == XDbValue(1.0),
                 XDbValue("") == empty, empty.asNumber() != 0);
  EXPECT_EQ(empty.asString() + empty.asXml() + empty.asUtf8(), "");
}

TEST_F(XDbValueTest, ConvertsAndComparesWhatItWasMadeOf) {
  const XDbValue text("1.5"), number(2.5), truth(true), nan(std::nan(""));
  EXPECT_EQ(text.asNumber(), 1.5);
  EXPECT_TRUE(XDbValue("false").asBoolean());
  EXPECT_TRUE(XDbValue(static_cast<const char*>(nullptr)).isString());
  EXPECT_EQ(number.asString(), "2.5");
  EXPECT_TRUE(number.asBoolean());
  EXPECT_EQ(truth.asString(), "true");
  EXPECT_EQ(truth.asNumber(), 1.0);
  ExpectAllFalse(XDbValue("").asBoolean(), XDbValue(0.0).asBoolean(),
                 nan.asBoolean(), truth.isNull(), text == XDbValue(1.5),
                 truth == XDbValue(1.0), nan == nan);
  EXPECT_TRUE(text == XDbValue(std::string("1.5")));
  EXPECT_TRUE(XDbValue(false) == XDbValue(false));
}

TEST_F(XDbValueTest, IsLocalTextOutsideAndUtf8Inside) {
  EXPECT_EQ(XDbValue(kOrderGb).asString(), kOrderGb);
  EXPECT_EQ(XDbAccess::Value(MakeString(kOrderUtf8)).asString(), kOrderGb);
  // Two names must not become one.
  EXPECT_FALSE(XDbValue("a\xFF").isString());
  ExpectLogged(
      "XDbValue::XDbValue exception: the value 'a\\xFF' holds bytes that are "
      "no GB2312 character");
}

TEST(NumberAsText, IsThatOfQueriesAndReadsBack) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr struct {
    double value;
    const char* text;
  } kRows[] = {{-0.0, "-0"},           {100, "100"},
               {0.000001, "0.000001"}, {0.0000001, "1.0E-7"},
               {1.25e300, "1.25E300"}, {-kInfinity, "-INF"}};
  for (const auto& [value, text] : kRows) {
    EXPECT_EQ(NumberText(value), text);
    EXPECT_EQ(NumberOfText(std::string(" \t") + text + "\n"), value);
  }
  EXPECT_EQ(NumberText(std::nan("")), "NaN");
  for (const char* text : {"NaN", "", "0x10", "inf", "+-1", "1 2", "1e"})
    EXPECT_TRUE(std::isnan(NumberOfText(text))) << text;
  EXPECT_EQ(NumberOfText("+1.5"), 1.5);
  EXPECT_EQ(NumberOfText("-1E400"), -kInfinity);
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
  const std::pair<std::vector<std::uint32_t>, std::string> kNodes[] = {
      {{}, "#document"},
      {{0}, "p"},
      // Text and CDATA sections side by side are one text to queries.
      {{1, 0}, "#text=t"},
      {{1, 1}, "#comment=c"},
      {{1, 3}, std::string("#text=") + kOrderGb},
      {{1, 4, 0}, "#text=2"},
      {{1, 5}, "-"},
      {{1, 2, 0}, "-"},
      {{7, 7}, "-"}};
  for (const auto& [steps, name] : kNodes) EXPECT_EQ(NameAt(At(steps)), name);
  EXPECT_EQ(NameAt(At({1}, "k")), "k=2");
  EXPECT_EQ(NameAt(At({1}, "k", "u")), "n:k=1");
  EXPECT_EQ(NameAt(At({1}, "missing")), "-");
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

}  // namespace
}  // namespace kiv::xdb
