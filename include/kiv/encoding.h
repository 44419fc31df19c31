#ifndef KIV_ENCODING_H_
#define KIV_ENCODING_H_

#include <memory>

#include "kiv/export.h"
#include "kiv/wide.h"

// Conversions between the local encoding (published as GB2312; its repertoire
// is code page 936), UTF-16 and UTF-8.
//
// Each returns a NUL-terminated shared array, never empty. A length of 0 means:
// measure the input up to its terminator; null counts as empty. A character
// that the target lacks becomes one "?", bytes that are no character become
// U+FFFD, and nothing behind them shifts. Safe from any thread.
namespace kiv {

KIV_API std::shared_ptr<char[]> wstringToString(const WideChar* text,
                                                unsigned length);
KIV_API std::shared_ptr<WideChar[]> stringToWstring(const char* text,
                                                    unsigned length);
KIV_API std::shared_ptr<WideChar[]> utf8ToWstring(const char* text,
                                                  unsigned length);
KIV_API std::shared_ptr<char[]> wstringToUtf8(const WideChar* text,
                                              unsigned length);
KIV_API std::shared_ptr<char[]> utf8ToString(const char* text, unsigned length);
KIV_API std::shared_ptr<char[]> stringToUtf8(const char* text, unsigned length);

}  // namespace kiv

#endif  // KIV_ENCODING_H_
