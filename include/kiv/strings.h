#ifndef KIV_STRINGS_H_
#define KIV_STRINGS_H_

#include <string>
#include <vector>

#include "kiv/export.h"
#include "kiv/wide.h"

// Narrow text is in the local encoding, GB2312 with the repertoire of code page
// 936. A second byte may have the value of an ASCII character; searches for
// such a character never match it. White space, letters and digits are ASCII,
// whatever the locale. Null pointers count as empty texts.
namespace kiv {

// Remove white space in place and return the same string.
KIV_API std::string& trim(std::string& text);
KIV_API std::string& trim_left(std::string& text);
KIV_API std::string& trim_right(std::string& text);

// Replaces every occurrence, left to right; inserted text is not searched
// again. Text behind an embedded NUL is treated too. Returns how many were
// replaced: 0 for an empty `from`.
KIV_API long string_replace(std::string& text, const char* from,
                            const char* to);

// Splits into `out`, which is cleared first. Doubled and leading separators
// give empty elements, one at the very end gives none; an empty text gives no
// element. False only for an empty separator string.
KIV_API void string_to_vector(const std::string& text, char separator,
                              std::vector<std::string>& out, bool trim_each);
KIV_API bool string_to_vector(const std::string& text,
                              const std::string& separator,
                              std::vector<std::string>& out, bool trim_each);

// Appends what is not there yet.
KIV_API void append_unique(const std::string& item,
                           std::vector<std::string>& items, bool ignore_case);
KIV_API void append_unique(const std::vector<std::string>& new_items,
                           std::vector<std::string>& items, bool ignore_case);

// A string of exactly one character is lower-cased, not upper-cased: callers
// rely on it.
KIV_API std::string& upperFirstChar(std::string& text);
KIV_API std::string& lowerFirstChar(std::string& text);

KIV_API bool is_all_digit(const char* text);

// A quick plausibility test of the first one or two characters only: a digit,
// or a sign before a digit. The rest is not looked at.
KIV_API bool isValidNumber(const std::string& text);

// True when one of the first `size_bytes` bytes has its top bit set.
KIV_API bool isNotEnglish(const char* text, unsigned size_bytes);

// h = h * 5 + byte, the bytes read as signed, 32-bit wrap. Stored values depend
// on it.
KIV_API unsigned hash_string(const char* text);

// Null-safe forms of the runtime's functions. Comparisons give -1, 0 or 1;
// narrow bytes compare unsigned, wide text by unit, and only ASCII letters have
// a case: stricmp takes them as lower-case ones. The forms for wchar_t are
// there for its literals.
KIV_API unsigned strlen(const char* text);
KIV_API unsigned strlen(const WideChar* text);
KIV_API unsigned strlen(const wchar_t* text);
KIV_API int strcmp(const char* a, const char* b);
KIV_API int strcmp(const WideChar* a, const WideChar* b);
KIV_API int strcmp(const wchar_t* a, const wchar_t* b);
KIV_API int stricmp(const char* a, const char* b);
KIV_API int stricmp(const WideChar* a, const WideChar* b);
KIV_API int stricmp(const wchar_t* a, const wchar_t* b);
// The nearest int when the number does not fit.
KIV_API int atoi(const char* text);

// Separators to "\" or "/", in place; the whole text is also upper-cased (ASCII
// letters) when `keep_case` is false.
KIV_API std::string& toOsPath(std::string& path, bool keep_case);
KIV_API std::string& toGenericPath(std::string& path, bool keep_case);

// Adds ".dll" unless it is there in any case, then "/" for "\" and upper case
// for everything. The flag is accepted and deliberately not consulted.
KIV_API std::string& toModulePath(std::string& path, bool keep_case);

// Removes a leading long-path prefix, \\?\, in place.
KIV_API void Fix_GetModuleFileName_Bug(char* path);

}  // namespace kiv

#endif  // KIV_STRINGS_H_
