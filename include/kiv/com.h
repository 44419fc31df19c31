#ifndef KIV_COM_H_
#define KIV_COM_H_

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "kiv/export.h"

// Portable stand-ins for the COM types that published signatures name. They
// carry the same values; nothing here talks to COM.

using HRESULT = std::int32_t;

// A COM failure: its code and, when the failing object offered one, an error
// information object with two UTF-16 texts. A text may be missing.
class _com_error {  // NOLINT(bugprone-reserved-identifier): its known name
 public:
  struct Information {
    std::optional<std::u16string> source;
    std::optional<std::u16string> description;
  };

  explicit _com_error(HRESULT code) : code_(code) {}
  _com_error(HRESULT code, Information information)
      : code_(code), information_(std::move(information)) {}

  HRESULT Error() const { return code_; }
  // Null when the failure carries no error information. Borrowed: lives as long
  // as this object.
  const Information* ErrorInfo() const {
    return information_ ? &*information_ : nullptr;
  }

 private:
  HRESULT code_;
  std::optional<Information> information_;
};

// UTF-16 text behind a hidden 32-bit length in bytes, with a NUL that the
// length leaves out. Null counts as empty text.
using BSTR = char16_t*;

using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

enum VARENUM : VARTYPE {
  VT_EMPTY = 0,
  VT_NULL = 1,
  VT_I2 = 2,
  VT_I4 = 3,
  VT_R4 = 4,
  VT_R8 = 5,
  VT_CY = 6,
  VT_DATE = 7,
  VT_BSTR = 8,
  VT_DISPATCH = 9,
  VT_ERROR = 10,
  VT_BOOL = 11,
  VT_VARIANT = 12,
  VT_UNKNOWN = 13,
  VT_DECIMAL = 14,
  VT_I1 = 16,
  VT_UI1 = 17,
  VT_UI2 = 18,
  VT_UI4 = 19,
  VT_I8 = 20,
  VT_UI8 = 21,
  VT_INT = 22,
  VT_UINT = 23,
  VT_ARRAY = 0x2000,
  VT_BYREF = 0x4000
};

// Ten-thousandths.
struct CY {
  std::int64_t int64;
};

// (Hi32:Lo64) / 10^scale, negative when sign is 0x80.
struct DECIMAL {
  std::uint16_t wReserved;
  std::uint8_t scale;  // 0-28
  std::uint8_t sign;
  std::uint32_t Hi32;
  std::uint64_t Lo64;
};

struct SAFEARRAYBOUND {
  std::uint32_t cElements;
  std::int32_t lLbound;
};

// One dimension, elements in a row: all that database values need.
struct SAFEARRAY {
  std::uint16_t cDims;
  std::uint32_t cbElements;
  void* pvData;
  SAFEARRAYBOUND rgsabound[1];
};

// A tagged value; vt says which member holds. It owns nothing by itself: see
// VariantClear.
struct VARIANT {
  VARTYPE vt;
  std::uint16_t wReserved1;
  std::uint16_t wReserved2;
  std::uint16_t wReserved3;
  union {
    std::int8_t cVal;
    std::uint8_t bVal;
    std::int16_t iVal;
    std::uint16_t uiVal;
    std::int32_t lVal;
    std::uint32_t ulVal;
    std::int32_t intVal;
    std::uint32_t uintVal;
    std::int64_t llVal;
    std::uint64_t ullVal;
    float fltVal;
    double dblVal;
    VARIANT_BOOL boolVal;
    HRESULT scode;
    CY cyVal;
    double date;  // days since 1899-12-30
    BSTR bstrVal;
    SAFEARRAY* parray;
    void* byref;
    DECIMAL decVal;
  };
};

extern "C" {

// Null for null text or when memory is short.
KIV_API BSTR SysAllocString(const char16_t* text);
// Room for `length` units; not filled when text is null.
KIV_API BSTR SysAllocStringLen(const char16_t* text, unsigned length);
KIV_API void SysFreeString(BSTR text);
// In units.
KIV_API unsigned SysStringLen(BSTR text);

// A vector of VT_UI1 elements; null for any other type.
KIV_API SAFEARRAY* SafeArrayCreateVector(VARTYPE type, std::int32_t first,
                                         std::uint32_t count);
KIV_API void SafeArrayDestroy(SAFEARRAY* array);

KIV_API void VariantInit(VARIANT* variant);
// Frees the text or the array inside, then leaves VT_EMPTY.
KIV_API void VariantClear(VARIANT* variant);

}  // extern "C"

#endif  // KIV_COM_H_
