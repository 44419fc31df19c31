#include "xdb/tree/tree_text.h"

#include <string>

#include "util/cp936.h"
#include "xdb/tree/tree_testing.h"
#include "xml/xml_testing.h"

namespace kiv::xdb {
namespace {

std::string ComeBack(std::string_view document) {
  Dictionary dictionary;
  return TreeText(StoredForm(document, dictionary), dictionary);
}

// Of a tree that is built up to the end of its root.
template <class Build>
std::string FormOfTree(Build build) {
  Dictionary dictionary;
  GrowingPaths paths(dictionary);
  TreeBuilder builder(paths);
  build(builder);
  builder.EndElement();
  std::string bytes;
  builder.TakeTree(bytes);
  return CanonicalForm::Of(TreeText(bytes, dictionary));
}

class TreeTextTest : public TreeTest {
 protected:
  static void ExpectToComeBack(const std::string& document) {
    const std::string back = ComeBack(document);
    EXPECT_EQ(CanonicalForm::Of(back), CanonicalForm::Of(document)) << back;
    // And it is the same again on its second way.
    EXPECT_EQ(ComeBack(back), back);
  }
};

TEST_F(TreeTextTest, KeepsTheCanonicalForm) {
  const std::string kDocuments[] = {
      "<a>\n  <b> </b>\t<c>\n</c>\n</a>",
      "<a>&lt;&amp;&gt;&quot;&apos; ]]&gt;</a>",
      "<a>x&#13;&#10;y&#xD;<b>&#13;</b></a>",
      "<a b='&lt;&amp;&gt;&quot;&apos;' c=\"it's\" d=''/>",
      "<a b='1&#10;2&#13;3&#9;4' c='1\n2\t3'/>",
      "<a><![CDATA[<b>&amp;</b>]]>x<![CDATA[]]]]><![CDATA[>]]>"
      "<c><![CDATA[only]]></c><d><![CDATA[]]></d></a>",
      "<?xml version='1.0'?><!-- before --><?go now ?>\n\n<a/>"
      "<?empty?><!-- behind -->\n",
      "<a>x<!-- - -->y<?p  q='1' ?><!----><?r?></a>",
      "<p:a xmlns:p='u:1' x=' &#13;'><p:a xmlns:p='u:2' p:x='&lt;'>"
      "<p:a/><a xmlns='u:2'><a xmlns=''/></a>\n</p:a>w</p:a>",
      "<a xmlns='u:1' xmlns:p='u:2'><b xmlns=''><p:c p:d='1' "
      "d='2'/></b><p:b xmlns:p='u:1'/><q:b xmlns:q='u:2'/></a>",
      "<r xmlns:p='u' xmlns:q='u' xmlns='u'><p:a p:i='1'/><q:a "
      "q:i='2'>t</q:a><a/><q:a/></r>",
      "<a xml:space='preserve' xml:lang='zh'>  <b xml:space='default'/> </a>",
      "<a b='\xF0\x9F\x98\x80'>\xF0\xA0\x80\x80&#x10FFFF;</a>",
      "<a b='" + std::string(70, 'b') + "'>" + std::string(300'000, 'a') +
          "</a>",
      NestedText(1000),
      "<?xml version='1.0' encoding='gb2312'?><\xB6\xA9\xB5\xA5 "
      "\xBA\xC5='\xD2\xBB'>\xB4\xED\xCE\xF3\x80\xE9\x46"
      "<!--\xD7\xA2--></\xB6\xA9\xB5\xA5>",
      "<?xml version='1.0' encoding='GB2312'?><a b='&#x1F600;"
      "'>\xB4\xED&#x1F600;&#x20AC;?<![CDATA[\xB4\xED]]></a>",
      "<?xml version='1.0' encoding='GB18030'?><a "
      "b='\x81\x30\x81\x30'>\xB4\xED\xA2\xE3<!--\x94\x39\xDA\x33--></a>",
      "<?xml version='1.1'?><a b='&#1;&#x85;'>&#x1F;&#x7F;"
      "&#x85;&#x2028;\xC3\xA9<![CDATA[\xC3\xA9]]></a>"};
  for (const std::string& document : kDocuments) ExpectToComeBack(document);
}

TEST_F(TreeTextTest, KeepsTheEncodingWhereItCan) {
  // Documents, and how they begin when they come back.
  constexpr const char* kRows[][2] = {
      {"<a/>", "<a/>"},
      {"<?xml version='1.0'?><a/>", "<?xml version=\"1.0\"?>\n<a/>"},
      {"<?xml version='1.0' encoding='gb2312'?><a>\xB4\xED</a>",
       "<?xml version=\"1.0\" encoding=\"gb2312\"?>\n<a>\xB4\xED</a>"},
      {"<?xml version='1.0' encoding='ISO-8859-1' standalone='no'?><a>\xE9</a>",
       "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n"
       "<a>\xC3\xA9</a>"},
      // The comment's character is in GB18030 only.
      {"<?xml version='1.0' encoding='GB18030'?><a><!--\x94\x39\xDA\x33--></a>",
       "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a><!--\xF0\x9F"},
      // One byte in code page 936, which its relatives do not have.
      {"<?xml version='1.0' encoding='GBK'?><a>&#x20AC;\xB4\xED</a>",
       "<?xml version=\"1.0\" encoding=\"GBK\"?>\n<a>&#x20AC;\xB4\xED</a>"}};
  for (const auto& [document, begin] : kRows) {
    ExpectToComeBack(document);
    EXPECT_EQ(ComeBack(document).find(begin), 0U) << ComeBack(document);
  }
}

// Every character of the code page means the same to those who read its
// relatives.
TEST_F(TreeTextTest, WritesTheGbFamilyAsOthersReadIt) {
  std::u16string all;
  for (unsigned unit = 0x80; unit < 0xFFFE; ++unit)
    if (IsInCp936(unit)) all += static_cast<char16_t>(unit);
  ASSERT_GT(all.size(), 20'000U);
  for (const char* encoding : {"GB2312", "GBK", "GB18030"}) {
    const std::u16string read =
        Utf8ToUtf16(FormOfTree([&](TreeBuilder& builder) {
          builder.Declaration("1.0", encoding, XmlStandalone::Unsaid);
          builder.StartElement({"", "", "a"}, {}, {});
          builder.Text(Utf16ToUtf8(all));
        }));
    const std::u16string expected = u"<a{}>[" + all + u"]</>";
    EXPECT_TRUE(read == expected) << encoding;
  }
}

// What no document can hold as such, but calls may ask for.
TEST_F(TreeTextTest, CutsASectionWhereItWouldEnd) {
  EXPECT_EQ(FormOfTree([](TreeBuilder& builder) {
              builder.StartElement({"", "", "a"}, {}, {});
              builder.CData("x]]>y\r]]");
            }),
            "<a{}>[x]]>y\r]]]</>");
}

}  // namespace
}  // namespace kiv::xdb
