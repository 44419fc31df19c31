#include "util/xerces_transcoder.h"

#include <gtest/gtest.h>

#include <string>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TranscodingException.hpp>

#include "kiv/startup.h"
#include "util/runtime.h"

namespace kiv {
namespace {

using xercesc::XMLTranscoder;

class XmlPlatform : public testing::Test {
 protected:
  void SetUp() override { StartValues(); }
  void TearDown() override { StopValues(); }

  XMLTranscoder& Transcoder() {
    return *static_cast<XMLTranscoder*>(GlobalTranscoder());
  }
};

// The text of the root element; "" when the document does not parse.
std::u16string RootText(const std::string& root) {
  const std::string document = "<?xml version='1.0' encoding='GB2312'?>" + root;
  xercesc::XercesDOMParser parser;
  const xercesc::MemBufInputSource source(
      reinterpret_cast<const XMLByte*>(document.data()), document.size(),
      "document");
  try {
    parser.parse(source);
  } catch (const xercesc::XMLException&) {
    return {};
  }
  if (parser.getErrorCount() > 0) return {};
  return parser.getDocument()->getDocumentElement()->getTextContent();
}

TEST_F(XmlPlatform, KeepsTheTranscoderBetweenStartAndStop) {
  EXPECT_NE(dynamic_cast<Cp936Transcoder*>(&Transcoder()), nullptr);
  EXPECT_EQ(Transcoder().getBlockSize(), 4096u);
  StopValues();
  EXPECT_EQ(GlobalTranscoder(), nullptr);
  StartValues();
  // Each start registers it again.
  EXPECT_EQ(RootText("<a>\xE9\x46\x80\xA1\xAA\xA1\xA4</a>"),
            u"\u9555\u20AC\u2014\u00B7");
  EXPECT_EQ(RootText("<a>\xFF!\xB4</a>"), u"\uFFFD!\uFFFD");
  // The platform waits for the rest of a character, but not for ever.
  EXPECT_EQ(RootText("<a>x</a>\xB4"), u"x");
  EXPECT_EQ(RootText("<a>x\xB4"), u"");
}

TEST_F(XmlPlatform, RefusesUnmappableCharactersWhenAsked) {
  const auto encode = [&](const std::u16string& text,
                          XMLTranscoder::UnRepOpts option) {
    XMLByte bytes[16];
    XMLSize_t read = 0;
    const XMLSize_t size = Transcoder().transcodeTo(
        text.data(), text.size(), bytes, sizeof bytes, read, option);
    EXPECT_EQ(read, text.size());
    return std::string(reinterpret_cast<char*>(bytes), size);
  };
  EXPECT_EQ(encode(u"\u5BB9?", XMLTranscoder::UnRep_Throw), "\xC8\xDD?");
  EXPECT_EQ(encode(u"\u5BB9\U0001F600!", XMLTranscoder::UnRep_RepChar),
            "\xC8\xDD?!");
  EXPECT_THROW(encode(u"a\u00EB", XMLTranscoder::UnRep_Throw),
               xercesc::TranscodingException);
  EXPECT_TRUE(Transcoder().canTranscodeTo(0x20AC));
  for (const unsigned no : {0xD83Du, 0x1F600u, 0xEBu})
    EXPECT_FALSE(Transcoder().canTranscodeTo(no)) << no;
}

}  // namespace
}  // namespace kiv
