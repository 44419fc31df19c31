#include "xdb/tree/tree_text.h"

#include <random>
#include <string>

#include "util/cp936.h"
#include "xdb/tree/tree_testing.h"

namespace kiv::xdb {
namespace {

std::string ComeBack(std::string_view document) {
  Dictionary dictionary;
  return TreeText(StoredForm(document, dictionary), dictionary);
}

std::string Nested(unsigned levels) {
  std::string text;
  for (unsigned i = 0; i < levels; ++i) text += "<a>";
  for (unsigned i = 0; i < levels; ++i) text += "</a>";
  return text;
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

// The random documents below have what is more usual.
TEST_F(TreeTextTest, KeepsTheCanonicalForm) {
  const std::string kDocuments[] = {
      "<p>one <b>two</b> three <i>f<u>o</u>ur</i>.</p>",
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
      "<a xmlns='u:1' xmlns:p='u:2'><b xmlns=''><p:c p:d='1' "
      "d='2'/></b><p:b xmlns:p='u:1'/><q:b xmlns:q='u:2'/></a>",
      "<r xmlns:p='u' xmlns:q='u' xmlns='u'><p:a p:i='1'/><q:a "
      "q:i='2'>t</q:a><a/><q:a/></r>",
      "<a xml:space='preserve' xml:lang='zh'>  <b xml:space='default'/> </a>",
      "<a b='\xF0\x9F\x98\x80'>\xF0\xA0\x80\x80&#x10FFFF;</a>",
      "<a b='" + std::string(70, 'b') + "'>" + std::string(300'000, 'a') +
          "</a>",
      Nested(1000),
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
    Dictionary dictionary;
    GrowingPaths paths(dictionary);
    TreeBuilder builder(paths);
    builder.Declaration("1.0", encoding, XmlStandalone::Unsaid);
    builder.StartElement({"", "", "a"}, {}, {});
    builder.Text(Utf16ToUtf8(all));
    builder.EndElement();
    std::string bytes;
    builder.TakeTree(bytes);
    const std::u16string read =
        Utf8ToUtf16(CanonicalForm::Of(TreeText(bytes, dictionary)));
    const std::u16string expected = u"<a{}>[" + all + u"]</>";
    ASSERT_EQ(read.size(), expected.size()) << encoding;
    for (std::size_t i = 0; i < read.size(); ++i)
      EXPECT_EQ(read[i], expected[i]) << encoding << " at " << i;
  }
}

// What no document can hold as such, but calls may ask for.
TEST_F(TreeTextTest, CutsASectionWhereItWouldEnd) {
  Dictionary dictionary;
  GrowingPaths paths(dictionary);
  TreeBuilder builder(paths);
  builder.StartElement({"", "", "a"}, {}, {});
  builder.CData("x]]>y\r]]");
  builder.EndElement();
  std::string bytes;
  builder.TakeTree(bytes);
  EXPECT_EQ(CanonicalForm::Of(TreeText(bytes, dictionary)),
            "<a{}>[x]]>y\r]]]</>");
}

// Random documents of everything that the table above has singly.
class RandomDocument {
 public:
  explicit RandomDocument(unsigned seed) : random_(seed + 1) {}

  std::string Make() {
    std::string text;
    if (Chance(2)) text += "<?xml version='1.0' encoding='UTF-8'?>\n";
    if (Chance(3)) text += "<!--c--><?p i?>";
    AddElement(text, 0);
    if (Chance(3)) text += "<!--end-->";
    return text;
  }

 private:
  bool Chance(unsigned of) { return random_() % of == 0; }
  std::string Name() {
    static constexpr const char* kNames[] = {"a",   "b",   "p:a",
                                             "q:b", "p:c", "long-name.1"};
    return kNames[random_() % std::size(kNames)];
  }
  std::string Text() {
    static constexpr const char* kPieces[] = {
        "x",
        "&lt;",
        "&#13;",
        "\xE4\xB8\xAD",
        " ",
        "\n",
        "&amp;",
        "word",
        "\xF0\x9F\x98\x80",
        "0123456789012345678901234567890123456789012345678901234567890123"};
    std::string text;
    for (auto i = random_() % 5; i > 0; --i)
      text += kPieces[random_() % std::size(kPieces)];
    return text;
  }
  void AddElement(std::string& text, unsigned depth) {
    const std::string name = Name();
    text += "<" + name;
    if (depth == 0 || Chance(6))
      text += " xmlns:p='u:" + std::to_string(random_() % 3) + "'";
    if (depth == 0 || Chance(6))
      text += " xmlns:q='u:" + std::to_string(3 + random_() % 3) + "'";
    if (Chance(8)) text += " xmlns='u:" + std::to_string(random_() % 2) + "'";
    if (Chance(3)) text += " x='" + Text() + "'";
    if (Chance(4)) text += " p:x='" + Text() + "'";
    text += ">";
    for (auto i = random_() % 5; i > 0; --i) {
      switch (random_() % (depth < 6 ? 7 : 4)) {
        case 0:
          text += "<![CDATA[" + std::string(Chance(2) ? "<&>" : "") + "]]>";
          break;
        case 1:
          text += Chance(2) ? "<!---->" : "<?go x?>";
          break;
        case 2:
        case 3:
          text += Text();
          break;
        default:
          AddElement(text, depth + 1);
      }
    }
    text += "</" + name + ">";
  }

  std::minstd_rand random_;
};

TEST_F(TreeTextTest, BringsBackRandomDocuments) {
  auto dictionary = std::make_shared<Dictionary>();
  for (unsigned seed = 0; seed < 400; ++seed) {
    const std::string document = RandomDocument(seed).Make();
    const std::string bytes = StoredForm(document, *dictionary);
    ASSERT_EQ(CanonicalForm::Of(TreeText(bytes, *dictionary)),
              CanonicalForm::Of(document))
        << document;
    ASSERT_NO_THROW(Tree(dictionary, nullptr, bytes)) << document;
  }
}

}  // namespace
}  // namespace kiv::xdb
