#include "util/xerces_transcoder.h"

#include <string_view>
#include <xercesc/util/TransENameMap.hpp>
#include <xercesc/util/TranscodingException.hpp>
#include <xercesc/util/XMLString.hpp>

#include "util/cp936.h"

namespace kiv {
namespace {

// Upper case: names are looked up that way. The platform keeps the pointer.
constexpr XMLCh kGb2312[] = u"GB2312";

}  // namespace

Cp936Transcoder::Cp936Transcoder(const XMLCh* encoding, XMLSize_t block_size,
                                 xercesc::MemoryManager* memory)
    : XMLTranscoder(encoding, block_size, memory) {}

XMLSize_t Cp936Transcoder::transcodeFrom(const XMLByte* source,
                                         XMLSize_t source_size, XMLCh* out,
                                         XMLSize_t room, XMLSize_t& bytes_read,
                                         unsigned char* sizes) {
  const BlockProgress done = DecodeCp936Block(
      {reinterpret_cast<const char*>(source), source_size}, out, room, sizes);
  bytes_read = done.read;
  return done.written;
}

XMLSize_t Cp936Transcoder::transcodeTo(const XMLCh* source,
                                       XMLSize_t source_size, XMLByte* out,
                                       XMLSize_t room, XMLSize_t& units_read,
                                       UnRepOpts options) {
  const std::u16string_view text(source, source_size);
  const BlockProgress done =
      EncodeCp936Block(text, reinterpret_cast<char*>(out), room);
  if (options == UnRep_Throw) {
    for (const XMLCh unit : text.substr(0, done.read)) {
      if (canTranscodeTo(unit)) continue;
      XMLCh digits[8];
      xercesc::XMLString::binToText(static_cast<unsigned>(unit), digits, 7, 16,
                                    getMemoryManager());
      ThrowXMLwithMemMgr2(xercesc::TranscodingException,
                          xercesc::XMLExcepts::Trans_Unrepresentable, digits,
                          getEncodingName(), getMemoryManager());
    }
  }
  units_read = done.read;
  return done.written;
}

bool Cp936Transcoder::canTranscodeTo(unsigned int character) {
  return IsInCp936(character);
}

void RegisterCp936Transcoder() {
  // The platform adopts the entry.
  // NOLINTBEGIN(clang-analyzer-cplusplus.NewDeleteLeaks)
  xercesc::XMLTransService::addEncoding(
      kGb2312, new xercesc::ENameMapFor<Cp936Transcoder>(kGb2312));
}
// NOLINTEND(clang-analyzer-cplusplus.NewDeleteLeaks)

}  // namespace kiv
