#include <charconv>
#include <cmath>
#include <cstdio>
#include <exception>
#include <limits>
#include <optional>
#include <string_view>

#include "dm/layout.h"
#include "dm/object.h"
#include "dm/string_data.h"
#include "dm/variant_number.h"
#include "kiv/date_time.h"

namespace dm {
namespace {

using Any = ObjectPtr<int*>;

// What kind of object an ADO data type number stands for.
std::optional<dm_type_id_e> TypeOf(int ado_type) {
  switch (ado_type) {
    case 2:   // small int
    case 18:  // unsigned small int
      return DM_INT16;
    case 3:   // integer
    case 10:  // error
    case 19:  // unsigned int
      return DM_INT32;
    case 4:  // single
      return DM_FLOAT;
    case 5:    // double
    case 6:    // currency
    case 14:   // decimal
    case 131:  // numeric
    case 139:  // variable numeric
      return DM_DOUBLE;
    case 7:    // date
    case 133:  // DB date
    case 134:  // DB time
    case 135:  // DB timestamp
      return DM_DATE_TIME;
    case 8:    // BSTR
    case 129:  // char
    case 130:  // wide char
    case 200:  // variable char
    case 201:  // long variable char
    case 202:  // variable wide char
    case 203:  // long variable wide char
      return DM_STRING;
    case 11:
      return DM_BOOLEAN;
    case 16:  // tiny int
    case 17:  // unsigned tiny int
      return DM_BYTE;
    case 20:  // big int
    case 21:  // unsigned big int
      return DM_INT64;
    case 72:
      return DM_GUID;
    case 128:  // binary
    case 204:  // variable binary
    case 205:  // long variable binary
      return DM_BINARY;
    default:
      // Empty, IDispatch, variant, IUnknown, file time, user-defined, chapter
      // and property variant among them.
      return std::nullopt;
  }
}

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

// Takes up to `most` digits off the front of a text.
bool TakeNumber(std::string_view& text, std::size_t most, int& number) {
  const std::string_view digits = text.substr(0, most);
  const auto result =
      std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (result.ec != std::errc() || digits.front() == '-') return false;
  text.remove_prefix(static_cast<std::size_t>(result.ptr - digits.data()));
  return true;
}

bool Take(std::string_view& text, char expected) {
  if (text.empty() || text.front() != expected) return false;
  text.remove_prefix(1);
  return true;
}

struct TimeOfDay {
  int hour = 0, minute = 0, second = 0, millisecond = 0;
};

// One to nine digits; what is finer than a millisecond is cut.
bool TakeFraction(std::string_view& text, int& millisecond) {
  constexpr std::size_t kMostDigits = 9;
  const std::size_t before = text.size();
  int number;
  if (!TakeNumber(text, kMostDigits, number)) return false;
  std::size_t digits = before - text.size();
  for (; digits < 3; ++digits) number *= 10;
  for (; digits > 3; --digits) number /= 10;
  millisecond = number;
  return true;
}

// "9:05:07", alone or with ".25" behind it.
bool TakeTime(std::string_view& text, TimeOfDay& time) {
  return TakeNumber(text, 2, time.hour) && Take(text, ':') &&
         TakeNumber(text, 2, time.minute) && Take(text, ':') &&
         TakeNumber(text, 2, time.second) &&
         (!Take(text, '.') || TakeFraction(text, time.millisecond));
}

std::optional<kiv::DateTime> TimeInText(std::string_view text) {
  TimeOfDay time;
  if (!TakeTime(text, time) || !text.empty()) return std::nullopt;
  // The day 0 of a date that is a number.
  return kiv::DateTime(1899, 12, 30, time.hour, time.minute, time.second,
                       time.millisecond);
}

// "2004-01-31", alone or with a blank or "T" and a time behind it; or a time.
std::optional<kiv::DateTime> DateInText(std::string_view text) {
  if (text.find('-') == text.npos) return TimeInText(text);
  int year, month, day;
  if (!TakeNumber(text, 4, year) || !Take(text, '-') ||
      !TakeNumber(text, 2, month) || !Take(text, '-') ||
      !TakeNumber(text, 2, day)) {
    return std::nullopt;
  }
  TimeOfDay time;
  if ((Take(text, ' ') || Take(text, 'T')) && !TakeTime(text, time)) {
    return std::nullopt;
  }
  if (!text.empty()) return std::nullopt;
  return kiv::DateTime(year, month, day, time.hour, time.minute, time.second,
                       time.millisecond);
}

// May throw std::out_of_range.
std::optional<kiv::DateTime> Date(const VARIANT& variant) {
  if (variant.vt == VT_BSTR) {
    return DateInText(WithoutBlanks(TextOfBstr(variant.bstrVal)));
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
  GUID guid;
  if (const auto bytes = BytesIn(variant)) {
    if (bytes->count != sizeof guid) return std::nullopt;
    return Load<GUID>(bytes->first);
  }
  if (variant.vt != VT_BSTR) return std::nullopt;
  std::string text(WithoutBlanks(TextOfBstr(variant.bstrVal)));
  if (text.size() > 2 && text.front() == '{' && text.back() == '}') {
    text = text.substr(1, text.size() - 2);
  }
  if (!dm_string_to_guid(text.c_str(), &guid)) return std::nullopt;
  return guid;
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
    case 16:  // tiny int
      return variant.vt == VT_I1 &&
             target.Write(static_cast<std::uint8_t>(variant.cVal));
    case 18:  // unsigned small int
      return variant.vt == VT_UI2 &&
             target.Write(static_cast<std::int16_t>(variant.uiVal));
    case 19:  // unsigned int
      return (variant.vt == VT_UI4 || variant.vt == VT_UINT) &&
             target.Write(static_cast<std::int32_t>(variant.ulVal));
    case 21:  // unsigned big int
      return variant.vt == VT_UI8 &&
             target.Write(static_cast<std::int64_t>(variant.ullVal));
    default:
      return false;
  }
}

}  // namespace

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
