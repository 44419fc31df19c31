#ifndef UTIL_XERCES_TRANSCODER_H_
#define UTIL_XERCES_TRANSCODER_H_

#include <xercesc/util/TransService.hpp>

namespace kiv {

// Code page 936 for the XML platform, whose own "GB2312" lacks most of it.
// Without state: any number of threads may share one.
//
// What is no character decodes to U+FFFD instead of throwing, so that one bad
// byte does not cost the document.
class Cp936Transcoder final : public xercesc::XMLTranscoder {
 public:
  Cp936Transcoder(const XMLCh* encoding, XMLSize_t block_size,
                  xercesc::MemoryManager* memory);

  XMLSize_t transcodeFrom(const XMLByte* source, XMLSize_t source_size,
                          XMLCh* out, XMLSize_t room, XMLSize_t& bytes_read,
                          unsigned char* sizes) override;
  XMLSize_t transcodeTo(const XMLCh* source, XMLSize_t source_size,
                        XMLByte* out, XMLSize_t room, XMLSize_t& units_read,
                        UnRepOpts options) override;
  // False for surrogates: the serialiser asks unit by unit and writes what is
  // refused as a character reference, a pair as one.
  bool canTranscodeTo(unsigned int character) override;
};

// Makes "GB2312" mean Cp936Transcoder until the XML platform terminates, which
// forgets it.
void RegisterCp936Transcoder();

}  // namespace kiv

#endif  // UTIL_XERCES_TRANSCODER_H_
