#ifndef UTIL_CP936_H_
#define UTIL_CP936_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "util/utf8.h"

// Code page 936, which the library publishes as GB2312.
//
// One table decodes, one encodes; both are constants, so conversions work
// before GlobalInit, after GlobalUninit and from any thread. What has no
// counterpart is replaced and takes as little as it can, so that nothing behind
// it shifts:
// - bytes that are no character, such as a lead byte without a trail byte, give
//   U+FFFD and take one byte;
// - a character that code page 936 lacks gives one "?", a surrogate pair too.
namespace kiv {

// The whole text into a buffer with the room the comment says. They return how
// much was written and add no NUL; one inside the text is a character as any
// other.
std::size_t Cp936ToUtf16(std::string_view text, char16_t* out);  // 1 x size
std::size_t Utf16ToCp936(std::u16string_view text, char* out);   // 2 x size
std::size_t Cp936ToUtf8(std::string_view text, char* out);       // 3 x size
std::size_t Utf8ToCp936(std::string_view text, char* out);       // 1 x size

std::u16string Cp936ToUtf16(std::string_view text);
std::string Utf16ToCp936(std::u16string_view text);
std::string Cp936ToUtf8(std::string_view text);
std::string Utf8ToCp936(std::string_view text);

// Whether every byte is part of a character.
bool IsCp936(std::string_view text);

// Whether code page 936 has the character.
bool IsInCp936(char32_t character);

// As much of a stream as is there and as fits, for the XML platform.
struct BlockProgress {
  std::size_t read = 0;
  std::size_t written = 0;
};

// Leaves a lead byte at the very end for the next block. `sizes` gets the
// number of bytes behind each unit.
BlockProgress DecodeCp936Block(std::string_view block, char16_t* out,
                               std::size_t room, unsigned char* sizes);

// Leaves the first half of a surrogate pair at the very end for the next block,
// unless nothing else is there.
BlockProgress EncodeCp936Block(std::u16string_view block, char* out,
                               std::size_t room);

}  // namespace kiv

#endif  // UTIL_CP936_H_
