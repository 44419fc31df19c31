#include "store/ado/row_values.h"

#include <sqlext.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <new>

#include "dm/variant_number.h"
#include "kiv/date_time.h"
#include "time/date_text.h"
#include "util/cp936.h"
#include "util/gb_text.h"
#include "util/utf8.h"

namespace kiv::store::ado {
namespace {

using dm::WithoutBlanks;
using Form = RowCursor::Form;

template <typename T>
T Load(std::string_view bytes) {
  T value{};
  if (bytes.size() >= sizeof value)
    std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

std::optional<std::int64_t> TicksOfTimestamp(const SQL_TIMESTAMP_STRUCT& at) {
  constexpr std::int64_t kNanosecondsPerTick = 100;
  const auto day = TicksOfDay(at.year, at.month, at.day);
  if (!day || at.hour > 23 || at.minute > 59 || at.second > 59)
    return std::nullopt;
  return *day +
         ((at.hour * 60 + at.minute) * 60LL + at.second) *
             TimeSpan::TicksPerSecond +
         at.fraction / kNanosecondsPerTick;
}

// Of UTF-8 or ASCII.
void SetText(std::string_view utf8, VARIANT& out) {
  // Never more units than bytes.
  char16_t room[256];
  BSTR text = nullptr;
  if (utf8.size() <= std::size(room)) {
    text =
        SysAllocStringLen(room, static_cast<unsigned>(Utf8ToUtf16(utf8, room)));
  } else {
    const std::u16string wide = Utf8ToUtf16(utf8);
    text = SysAllocStringLen(wide.data(), static_cast<unsigned>(wide.size()));
  }
  if (text == nullptr) throw std::bad_alloc();
  out.vt = VT_BSTR;
  out.bstrVal = text;
}

void SetInteger(std::int64_t value, DataType type, VARIANT& out) {
  const auto fits = [value](auto limits) {
    return value >= limits.min() && value <= limits.max();
  };
  if (type == adUnsignedTinyInt && fits(std::numeric_limits<std::uint8_t>())) {
    out.vt = VT_UI1;
    out.bVal = static_cast<std::uint8_t>(value);
  } else if (type == adSmallInt && fits(std::numeric_limits<std::int16_t>())) {
    out.vt = VT_I2;
    out.iVal = static_cast<std::int16_t>(value);
  } else if (type == adInteger && fits(std::numeric_limits<std::int32_t>())) {
    out.vt = VT_I4;
    out.lVal = static_cast<std::int32_t>(value);
  } else {
    // SQLite keeps 64 bits whatever the column says.
    out.vt = VT_I8;
    out.llVal = value;
  }
}

// Digits with a point: 96 bits of them, and up to 28 behind the point.
bool SetDecimal(std::string_view text, VARIANT& out) {
  text = WithoutBlanks(text);
  constexpr int kMaxScale = 28;
  DECIMAL decimal{};
  if (text.starts_with('-')) {
    decimal.sign = 0x80;
    text.remove_prefix(1);
  }
  bool has_point = false;
  bool has_digit = false;
  __extension__ unsigned __int128 value = 0;
  for (const char byte : text) {
    if (byte == '.' && !has_point) {
      has_point = true;
      continue;
    }
    if (!IsAsciiDigit(byte)) return false;
    has_digit = true;
    value = value * 10 + static_cast<unsigned>(byte - '0');
    if (value >> 96 != 0 || (has_point && ++decimal.scale > kMaxScale))
      return false;
  }
  if (!has_digit) return false;
  decimal.Lo64 = static_cast<std::uint64_t>(value);
  decimal.Hi32 = static_cast<std::uint32_t>(value >> 64);
  out.decVal = decimal;
  out.vt = VT_DECIMAL;
  return true;
}

// One that our calendar lacks.
std::string OddTimestamp(const SQL_TIMESTAMP_STRUCT& at) {
  char text[64];
  const int size =
      std::snprintf(text, sizeof text, "%04d-%02u-%02u %02u:%02u:%02u", at.year,
                    at.month, at.day, at.hour, at.minute, at.second);
  return {text, static_cast<std::size_t>(size)};
}

void SetDate(std::int64_t ticks, VARIANT& out) {
  out.vt = VT_DATE;
  out.date = static_cast<double>(ticks - kTicksOfDayZero) /
             static_cast<double>(TimeSpan::TicksPerDay);
}

// As OLE DB writes it: in braces and capitals.
void SetGuid(const GUID& guid, VARIANT& out) {
  char text[39] = "{";
  dm_guid_to_string(&guid, text + 1, sizeof text - 1);
  for (char& byte : text) byte = AsciiToUpper(byte);
  SetText(std::string(text) + "}", out);
}

void SetBytes(std::string_view bytes, VARIANT& out) {
  SAFEARRAY* const array =
      bytes.size() > std::numeric_limits<std::uint32_t>::max()
          ? nullptr
          : SafeArrayCreateVector(VT_UI1, 0,
                                  static_cast<std::uint32_t>(bytes.size()));
  if (array == nullptr) throw std::bad_alloc();
  if (!bytes.empty()) std::memcpy(array->pvData, bytes.data(), bytes.size());
  out.vt = VT_ARRAY | VT_UI1;
  out.parray = array;
}

void SetUtf16(std::string_view bytes, VARIANT& out) {
  const auto units = static_cast<unsigned>(bytes.size() / sizeof(char16_t));
  const BSTR text = SysAllocStringLen(nullptr, units);
  if (text == nullptr) throw std::bad_alloc();
  std::memcpy(text, bytes.data(), units * sizeof(char16_t));
  out.vt = VT_BSTR;
  out.bstrVal = text;
}

}  // namespace

std::string TextOfTicks(std::int64_t ticks) {
  const DateTime date(ticks);
  char text[] = "0000-00-00 00:00:00.0000000";
  const auto put = [&text](std::size_t end, std::size_t count, int number) {
    for (; count > 0; --count, number /= 10)
      text[--end] = static_cast<char>('0' + number % 10);
  };
  put(4, 4, date.Year());
  put(7, 2, date.Month());
  put(10, 2, date.Day());
  put(13, 2, date.Hour());
  put(16, 2, date.Minute());
  put(19, 2, date.Second());
  const auto fraction = static_cast<int>(ticks % TimeSpan::TicksPerSecond);
  put(27, 7, fraction);
  constexpr std::size_t kToMilliseconds = 23;
  const bool is_whole = fraction % TimeSpan::TicksPerMillisecond == 0;
  return {text, is_whole ? kToMilliseconds : sizeof text - 1};
}

std::optional<std::int64_t> IntegerOf(Form form, std::string_view bytes) {
  switch (form) {
    case Form::Byte:
      return Load<std::uint8_t>(bytes);
    case Form::Int16:
      return Load<std::int16_t>(bytes);
    case Form::Int32:
      return Load<std::int32_t>(bytes);
    case Form::Int64:
      return Load<std::int64_t>(bytes);
    case Form::IntegerText:
      return dm::NumberInText<std::int64_t>(bytes);
    default:
      return std::nullopt;
  }
}

std::optional<double> RealOf(Form form, std::string_view bytes) {
  switch (form) {
    case Form::Single:
      return Load<float>(bytes);
    case Form::Double:
      return Load<double>(bytes);
    case Form::RealText:
      return dm::NumberInText<double>(bytes);  // infinities in words as well
    default:
      return std::nullopt;
  }
}

std::optional<bool> BoolOf(Form form, std::string_view bytes) {
  if (form == Form::Bool) return Load<std::uint8_t>(bytes) != 0;
  if (form != Form::BoolText) return std::nullopt;
  if (const auto number = dm::NumberInText<std::int64_t>(bytes))
    return *number != 0;
  const std::string_view text = WithoutBlanks(bytes);
  if (EqualIgnoreCase(text, "true")) return true;
  if (EqualIgnoreCase(text, "false")) return false;
  return std::nullopt;
}

std::optional<GUID> GuidOf(Form form, std::string_view bytes) {
  if (form == Form::Guid && bytes.size() == sizeof(GUID))
    return Load<GUID>(bytes);
  if (form != Form::GuidText) return std::nullopt;
  return dm::GuidInText(bytes);
}

std::optional<std::int64_t> TicksOf(Form form, std::string_view bytes) {
  if (form == Form::Timestamp)
    return TicksOfTimestamp(Load<SQL_TIMESTAMP_STRUCT>(bytes));
  if (form != Form::DateText) return std::nullopt;
  return TicksOfText(WithoutBlanks(bytes), Seconds::MayLack);
}

std::optional<std::string> TextOf(Form form, std::string_view bytes) {
  if (form == Form::Utf8) return Utf8ToCp936(bytes);
  if (form != Form::Utf16) return std::nullopt;
  std::u16string wide(bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(wide.data(), bytes.data(), wide.size() * sizeof(char16_t));
  return Utf16ToCp936(wide);
}

VARIANT VariantOf(Form form, DataType type,
                  std::optional<std::string_view> bytes) {
  VARIANT out{};
  if (!bytes) {
    out.vt = VT_NULL;
    return out;
  }
  switch (form) {
    case Form::Bool:
    case Form::BoolText:
      if (const auto value = BoolOf(form, *bytes)) {
        out.vt = VT_BOOL;
        out.boolVal = *value ? VARIANT_TRUE : VARIANT_FALSE;
      }
      break;
    case Form::Byte:
    case Form::Int16:
    case Form::Int32:
    case Form::Int64:
    case Form::IntegerText:
      if (const auto value = IntegerOf(form, *bytes))
        SetInteger(*value, type, out);
      break;
    case Form::Single:
    case Form::Double:
    case Form::RealText:
      if (const auto value = RealOf(form, *bytes)) {
        if (type == adSingle) {
          out.vt = VT_R4;
          out.fltVal = static_cast<float>(*value);
        } else {
          out.vt = VT_R8;
          out.dblVal = *value;
        }
      }
      break;
    case Form::DecimalText:
      SetDecimal(*bytes, out);
      break;
    case Form::Guid:
    case Form::GuidText:
      if (const auto value = GuidOf(form, *bytes)) SetGuid(*value, out);
      break;
    case Form::Timestamp:
    case Form::DateText:
      if (const auto ticks = TicksOf(form, *bytes)) SetDate(*ticks, out);
      break;
    case Form::Utf16:
      SetUtf16(*bytes, out);
      break;
    case Form::Bytes:
      SetBytes(*bytes, out);
      break;
    case Form::Utf8:
      break;
  }
  if (out.vt != VT_EMPTY) return out;
  if (form == Form::Timestamp)
    SetText(OddTimestamp(Load<SQL_TIMESTAMP_STRUCT>(*bytes)), out);
  else
    SetText(*bytes, out);
  return out;
}

}  // namespace kiv::store::ado
