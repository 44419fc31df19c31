#ifndef STORE_ADO_ODBC_TEXT_H_
#define STORE_ADO_ODBC_TEXT_H_

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <limits>
#include <string>
#include <string_view>

#include "store/ado/ado_types.h"
#include "util/utf8.h"

// Texts as arguments of ODBC functions, which take lengths and may not be
// handed a constant.
namespace kiv::store::ado {

inline SQLINTEGER LengthOf(std::size_t size) {
  if (size > std::numeric_limits<SQLINTEGER>::max() / 4)
    Raise(kOutOfMemory, "the text is too long");
  return static_cast<SQLINTEGER>(size);
}

// For lengths of 16 bits, as names and connection texts have them.
inline SQLSMALLINT ShortLengthOf(std::size_t size) {
  if (size > static_cast<std::size_t>(std::numeric_limits<SQLSMALLINT>::max()))
    Raise(kInvalidArgument, "the text is too long");
  return static_cast<SQLSMALLINT>(size);
}

class NarrowText {
 public:
  explicit NarrowText(std::string_view utf8) : text_(utf8) {}
  SQLCHAR* get() { return reinterpret_cast<SQLCHAR*>(text_.data()); }
  SQLSMALLINT size() const { return ShortLengthOf(text_.size()); }
  SQLINTEGER long_size() const { return LengthOf(text_.size()); }

 private:
  std::string text_;
};

class WideText {
 public:
  explicit WideText(std::string_view utf8) : text_(Utf8ToUtf16(utf8)) {}
  SQLWCHAR* get() { return reinterpret_cast<SQLWCHAR*>(text_.data()); }
  SQLSMALLINT size() const { return ShortLengthOf(text_.size()); }
  SQLINTEGER long_size() const { return LengthOf(text_.size()); }

 private:
  std::u16string text_;
};

inline std::string Utf8Of(const SQLWCHAR* text) {
  return Utf16ToUtf8(
      std::u16string_view(reinterpret_cast<const char16_t*>(text)));
}

}  // namespace kiv::store::ado

#endif  // STORE_ADO_ODBC_TEXT_H_
