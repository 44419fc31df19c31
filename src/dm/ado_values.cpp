#include <charconv>
#include <cmath>
#include <cstdio>
#include <exception>
#include <limits>
#include <optional>
#include <string_view>

#include "dm/ado_types.h"
#include "dm/layout.h"
#include "dm/object.h"
#include "dm/string_data.h"
#include "dm/variant_number.h"
#include "kiv/date_time.h"
#include "time/date_text.h"

namespace dm {
namespace {

using Any = ObjectPtr<int*>;

bool Write(void* object, const std::optional<std::string>& text) {
  return text && AssignStringAt(DataOf(object), *text);
}

template <typename T>
bool Write(void* object, std::optional<T> value) {
  return value && Object(object).Write(*value);
}

template <typename T>
std::optional<T> Integer(const VARIANT& variant) {
  const auto number = VariantToInteger(variant);
  if (!number || *number < std::numeric_limits<T>::min() ||
      *number > std::numeric_limits<T>::max()) {
    return std::nullopt;
  }
  return static_cast<T>(*number);
}

// True has every bit set, in a byte too.
std::optional<std::uint8_t> Byte(const VARIANT& variant) {
  if (variant.vt == VT_BOOL) {
    return variant.boolVal != VARIANT_FALSE ? std::uint8_t{0xFF}
                                            : std::uint8_t{0};
  }
  return Integer<std::uint8_t>(variant);
}

std::optional<float> Single(const VARIANT& variant) {
  const auto real = VariantToReal(variant);
  if (!real) return std::nullopt;
  if (std::isfinite(*real) &&
      std::fabs(*real) > std::numeric_limits<float>::max()) {
    return std::nullopt;
  }
  return static_cast<float>(*real);
}

// May throw std::out_of_range.
std::optional<kiv::DateTime> Date(const VARIANT& variant) {
  if (variant.vt == VT_BSTR) {
    const auto ticks = kiv::TicksOfText(
        WithoutBlanks(TextOfBstr(variant.bstrVal)), kiv::Seconds::MustStand);
    if (!ticks) return std::nullopt;
    return kiv::DateTime(*ticks - *ticks % kiv::TimeSpan::TicksPerMillisecond);
  }
  const auto days = VariantToReal(variant);
  if (!days || std::isnan(*days)) return std::nullopt;
  return kiv::DateTime::FromOADate(*days);
}

std::string DateText(const kiv::DateTime& date) {
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", date.Year(),
                date.Month(), date.Day(), date.Hour(), date.Minute(),
                date.Second());
  return text;
}

template <typename T, typename... Format>
std::string NumberText(T number, Format... format) {
  char text[64];
  return {text, std::to_chars(text, text + sizeof text, number, format...).ptr};
}

// Of all digits that read back as the number, the fewest; with an exponent only
// where they would drown in zeros.
std::string RealText(double real) {
  const double magnitude = std::fabs(real);
  const bool is_plain =
      magnitude == 0 || (magnitude >= 1e-4 && magnitude < 1e15);
  return NumberText(real, is_plain ? std::chars_format::fixed
                                   : std::chars_format::scientific);
}

// By the digits of the single, which are fewer than those of the double with
// its value.
std::string RealText(float real) {
  const std::string digits = NumberText(real);
  double same_digits = real;
  std::from_chars(digits.data(), digits.data() + digits.size(), same_digits);
  return RealText(same_digits);
}

std::optional<std::string> Text(const VARIANT& variant) {
  switch (variant.vt) {
    case VT_BSTR:
      return TextOfBstr(variant.bstrVal);
    case VT_R4:
      return RealText(variant.fltVal);
    case VT_R8:
      return RealText(variant.dblVal);
    case VT_UI8:
      return NumberText(variant.ullVal);
    case VT_CY:
      return DecimalText(DecimalFromCurrency(variant.cyVal));
    case VT_DECIMAL:
      return DecimalText(variant.decVal);
    case VT_DATE: {
      const auto date = Date(variant);
      if (!date) return std::nullopt;
      return DateText(*date);
    }
    default:
      break;
  }
  const auto integer = VariantToInteger(variant);
  if (!integer) return std::nullopt;
  return NumberText(*integer);
}

struct Bytes {
  const void* first;
  std::size_t count;
};

std::optional<Bytes> BytesIn(const VARIANT& variant) {
  if (variant.vt != (VT_ARRAY | VT_UI1)) return std::nullopt;
  const SAFEARRAY* const array = variant.parray;
  if (array == nullptr) return Bytes{nullptr, 0};
  if (array->cDims != 1 || array->cbElements != 1) return std::nullopt;
  return Bytes{array->pvData, array->rgsabound[0].cElements};
}

// As text, in braces or without, or as its sixteen bytes.
std::optional<GUID> Guid(const VARIANT& variant) {
  if (const auto bytes = BytesIn(variant)) {
    if (bytes->count != sizeof(GUID)) return std::nullopt;
    return Load<GUID>(bytes->first);
  }
  if (variant.vt != VT_BSTR) return std::nullopt;
  return GuidInText(TextOfBstr(variant.bstrVal));
}

bool WriteBinary(void* object, const VARIANT& variant) {
  const auto bytes = BytesIn(variant);
  return bytes && dm_o_vector_append_values(object, bytes->first, bytes->count);
}

bool WriteConverted(void* object, dm_type_id_e type, const VARIANT& variant) {
  switch (type) {
    case DM_INT16:
      return Write(object, Integer<std::int16_t>(variant));
    case DM_INT32:
      return Write(object, Integer<std::int32_t>(variant));
    case DM_INT64:
      return Write(object, Integer<std::int64_t>(variant));
    case DM_BYTE:
      return Write(object, Byte(variant));
    case DM_BOOLEAN:
      return Write(object, VariantToBool(variant));
    case DM_FLOAT:
      return Write(object, Single(variant));
    case DM_DOUBLE:
      return Write(object, VariantToReal(variant));
    case DM_DATE_TIME:
      return Write(object, Date(variant));
    case DM_GUID:
      return Write(object, Guid(variant));
    case DM_STRING:
      return Write(object, Text(variant));
    case DM_BINARY:
      return WriteBinary(object, variant);
    default:
      return false;
  }
}

// A number as the field has it, of the object's width and the other sign: its
// bits. False for any other.
bool WriteBits(void* object, int ado_type, const VARIANT& variant) {
  const Object target(object);
  switch (ado_type) {
    case adTinyInt:
      return variant.vt == VT_I1 &&
             target.Write(static_cast<std::uint8_t>(variant.cVal));
    case adUnsignedSmallInt:
      return variant.vt == VT_UI2 &&
             target.Write(static_cast<std::int16_t>(variant.uiVal));
    case adUnsignedInt:
      return (variant.vt == VT_UI4 || variant.vt == VT_UINT) &&
             target.Write(static_cast<std::int32_t>(variant.ulVal));
    case adUnsignedBigInt:
      return variant.vt == VT_UI8 &&
             target.Write(static_cast<std::int64_t>(variant.ullVal));
    default:
      return false;
  }
}

}  // namespace

std::optional<dm_type_id_e> TypeOf(int ado_type) {
  switch (ado_type) {
    case adSmallInt:
    case adUnsignedSmallInt:
      return DM_INT16;
    case adInteger:
    case adError:
    case adUnsignedInt:
      return DM_INT32;
    case adSingle:
      return DM_FLOAT;
    case adDouble:
    case adCurrency:
    case adDecimal:
    case adNumeric:
    case adVarNumeric:
      return DM_DOUBLE;
    case adDate:
    case adDBDate:
    case adDBTime:
    case adDBTimeStamp:
      return DM_DATE_TIME;
    case adBSTR:
    case adChar:
    case adWChar:
    case adVarChar:
    case adLongVarChar:
    case adVarWChar:
    case adLongVarWChar:
      return DM_STRING;
    case adBoolean:
      return DM_BOOLEAN;
    case adTinyInt:
    case adUnsignedTinyInt:
      return DM_BYTE;
    case adBigInt:
    case adUnsignedBigInt:
      return DM_INT64;
    case adGUID:
      return DM_GUID;
    case adBinary:
    case adVarBinary:
    case adLongVarBinary:
      return DM_BINARY;
    default:
      return std::nullopt;
  }
}

// A value that cannot be converted, a date outside of the calendar and a lack
// of memory all end as the empty pointer.
ObjectPtr<int*> Object::FromAdoDb(const VARIANT& variant, int adoType) try {
  const auto type = TypeOf(adoType);
  if (!type) return {};
  auto object = Any::Take(dm_o_new(DM_SIGN_DEFAULT + *type, nullptr));
  if (!object || (!WriteBits(object.get(), adoType, variant) &&
                  !WriteConverted(object.get(), *type, variant))) {
    return {};
  }
  return object;
} catch (const std::exception&) {
  return {};
}

}  // namespace dm
