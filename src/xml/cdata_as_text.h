#ifndef XML_CDATA_AS_TEXT_H_
#define XML_CDATA_AS_TEXT_H_

#include <vector>
#include <xercesc/dom/DOMNode.hpp>

namespace kiv {

// Puts text in the place of every CDATA section below `top` that holds a
// character beyond the 16-bit ones, for as long as it lives.
//
// In an encoding that lacks such a character the serialiser writes each half of
// it as a reference of its own behind a split section, and no parser reads
// that. In text it writes one reference for both.
class CdataAsText {
 public:
  explicit CdataAsText(const xercesc::DOMNode& top);
  ~CdataAsText();
  CdataAsText(const CdataAsText&) = delete;
  CdataAsText& operator=(const CdataAsText&) = delete;

 private:
  struct Exchange {
    xercesc::DOMNode* section;
    xercesc::DOMNode* text;
  };
  std::vector<Exchange> exchanges_;
};

}  // namespace kiv

#endif  // XML_CDATA_AS_TEXT_H_
