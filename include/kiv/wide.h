#ifndef KIV_WIDE_H_
#define KIV_WIDE_H_

#include <string>

namespace kiv {

// Wide text is UTF-16. It was wchar_t where that has 16 bits; here wchar_t has
// 32, so signatures take these, and literals are written u"...".
using WideChar = char16_t;
using WideString = std::u16string;

}  // namespace kiv

#endif  // KIV_WIDE_H_
