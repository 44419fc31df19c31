#ifndef KIV_HEX_H_
#define KIV_HEX_H_

#include <string>

#include "kiv/export.h"

namespace kiv {

// Two upper-case digits a byte. False for null or empty input and when the
// output has less room than 2 * size + 1: room for the NUL is asked for even
// when none is written.
KIV_API bool bytesToHex(const unsigned char* bytes, unsigned size, char* out,
                        unsigned out_size, bool terminate);
// Null or empty input gives "" and true.
KIV_API bool bytesToHex(const unsigned char* bytes, unsigned size,
                        std::string& out);

// False for null, empty or odd-length text, too little room (length / 2), or a
// character that is neither a digit nor a letter. Any letter counts as its
// offset from "a" plus 10, so "0g" is the byte 0: the low digit is masked.
// Bytes before a character that is refused have been written. `out` may be
// `text`.
KIV_API bool hexToBytes(const char* text, unsigned length, unsigned char* out,
                        unsigned out_size);

// hexToBytes with a NUL behind the bytes when `terminate`, which needs one byte
// more room.
KIV_API bool hexToString(const char* text, unsigned length, char* out,
                         unsigned out_size, bool terminate);
// Leaves `out` alone on failure.
KIV_API bool hexToString(const char* text, unsigned length, std::string& out);

}  // namespace kiv

#endif  // KIV_HEX_H_
