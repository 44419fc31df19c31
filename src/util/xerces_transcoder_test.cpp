#include "util/xerces_transcoder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
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
std::u16string RootText(const std::string& document) {
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

std::string Serialised(const std::u16string& text) {
  xercesc::DOMImplementation* const implementation =
      xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
  xercesc::DOMDocument* const document =
      implementation->createDocument(nullptr, u"a", nullptr);
  document->getDocumentElement()->setTextContent(text.c_str());
  xercesc::DOMLSSerializer* const serialiser =
      implementation->createLSSerializer();
  xercesc::DOMLSOutput* const output = implementation->createLSOutput();
  xercesc::MemBufFormatTarget target;
  output->setByteStream(&target);
  output->setEncoding(u"GB2312");
  serialiser->write(document, output);
  const std::string result(reinterpret_cast<const char*>(target.getRawBuffer()),
                           target.getLen());
  output->release();
  serialiser->release();
  document->release();
  return result;
}

const std::string kHead = "<?xml version=\"1.0\" encoding=\"GB2312\"?>";

TEST_F(XmlPlatform, KeepsTheTranscoderBetweenStartAndStop) {
  ASSERT_NE(GlobalTranscoder(), nullptr);
  EXPECT_NE(dynamic_cast<Cp936Transcoder*>(&Transcoder()), nullptr);
  EXPECT_EQ(Transcoder().getBlockSize(), 4096u);
  StopValues();
  EXPECT_EQ(GlobalTranscoder(), nullptr);
  StartValues();
}

TEST_F(XmlPlatform, ReadsWhatTheStrictSetLacks) {
  EXPECT_EQ(RootText(kHead + "<a>\xE9\x46\x80\xA1\xAA\xA1\xA4</a>"),
            u"\u9555\u20AC\u2014\u00B7");
  // Every start registers again.
  StopValues();
  StartValues();
  EXPECT_EQ(RootText(kHead + "<a>\xE9\x46</a>"), u"\u9555");
}

TEST_F(XmlPlatform, WritesOneReferenceForWhatTheEncodingLacks) {
  const std::u16string text = u"\u9555\u20AC\u2014\u00B7 \U0001F600\u00E9.";
  const std::string document = Serialised(text);
  EXPECT_NE(document.find("\xE9\x46\x80\xA1\xAA\xA1\xA4 &#x1F600;\xA8\xA6."),
            std::string::npos)
      << document;
  EXPECT_EQ(RootText(document), text);
  EXPECT_NE(Serialised(u"\u00EB").find("&#xEB;"), std::string::npos);
}

// Longer than every buffer on the way, so that characters are cut at their
// ends.
TEST_F(XmlPlatform, CarriesLongTextsAcrossBlocks) {
  for (std::size_t shift = 0; shift < 4; ++shift) {
    std::u16string text(shift, u'x');
    for (int i = 0; i < 40'000; ++i) text += u"\u5BB9\U0001F600a\u20AC";
    ASSERT_EQ(RootText(Serialised(text)), text) << shift;
  }
}

TEST_F(XmlPlatform, ABadByteCostsOneCharacter) {
  EXPECT_EQ(RootText(kHead + "<a>\xFF!\xB4</a>"), u"\uFFFD!\uFFFD");
  // The platform waits for the rest of a character, but not for ever.
  EXPECT_EQ(RootText(kHead + "<a>x</a>\xB4"), u"x");
  EXPECT_EQ(RootText(kHead + "<a>x\xB4"), u"");
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
  EXPECT_THROW(encode(u"\U0001F600", XMLTranscoder::UnRep_Throw),
               xercesc::TranscodingException);
  EXPECT_TRUE(Transcoder().canTranscodeTo(0x20AC));
  for (const unsigned no : {0xD83Du, 0xDE00u, 0x1F600u, 0xEBu, 0xFFFDu})
    EXPECT_FALSE(Transcoder().canTranscodeTo(no)) << no;
}

}  // namespace
}  // namespace kiv
