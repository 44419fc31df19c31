#include "store_values.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "dm/dm.h"
#include "kiv/date_time.h"
#include "kiv/encoding.h"
#include "local_text.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using Any = dm::ObjectPtr<int*>;

constexpr long long kTicksPerSecond = 10'000'000;
constexpr int kVarWChar = 202;  // the ADO data type of texts

template <typename Number>
std::string Digits(Number number) {
  char text[64];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

std::string HexOf(const void* bytes, std::size_t count) {
  return HexDigits({static_cast<const char*>(bytes), count});
}

std::string TimeText(const kiv::DateTime& time) {
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", time.Year(),
                time.Month(), time.Day(), time.Hour(), time.Minute(),
                time.Second());
  std::string result = text;
  if (const long long fraction = time.Ticks() % kTicksPerSecond;
      fraction != 0) {
    std::snprintf(text, sizeof text, ".%07lld", fraction);
    result += text;
    result.erase(result.find_last_not_of('0') + 1);
  }
  return result;
}

std::string GuidText(const GUID& guid) {
  char text[37];
  dm_guid_to_string(&guid, text, sizeof text);
  return text;
}

template <typename Number>
StoreCell NumberCell(const Any& value) {
  Number number{};
  if (!value.object().Read(number)) return {};
  return {false, Digits(number)};
}

template <typename Number>
bool ReadNumber(std::string_view text, Number& number) {
  const auto end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end;
}

template <typename Number>
bool Write(const Any& object, std::string_view text) {
  Number number{};
  return ReadNumber(text, number) && object.object().Write(number);
}

bool WriteBool(const Any& object, std::string_view text) {
  const bool is_true = text == "true" || text == "1";
  return (is_true || text == "false" || text == "0") &&
         object.object().Write(is_true);
}

// A part of a date: `count` digits and, unless it is 0, the mark behind them.
bool TakePart(std::string_view& text, std::size_t count, char mark,
              int& number) {
  if (text.size() < count || !ReadNumber(text.substr(0, count), number) ||
      number < 0)
    return false;
  text.remove_prefix(count);
  if (mark == '\0') return true;
  if (text.empty() || (text[0] != mark && !(mark == 'T' && text[0] == ' ')))
    return false;
  text.remove_prefix(1);
  return true;
}

bool ReadTime(std::string_view text, kiv::DateTime& time) {
  int year, month, day, hour = 0, minute = 0, second = 0;
  if (!TakePart(text, 4, '-', year) || !TakePart(text, 2, '-', month))
    return false;
  const bool has_time = text.size() > 2;
  if (!TakePart(text, 2, has_time ? 'T' : '\0', day)) return false;
  if (has_time &&
      (!TakePart(text, 2, ':', hour) || !TakePart(text, 2, ':', minute) ||
       !TakePart(text, 2, '\0', second)))
    return false;
  long long ticks = 0;
  if (!text.empty()) {
    text.remove_prefix(1);
    std::string digits(text);
    if (digits.empty() || digits.size() > 7) return false;
    digits.resize(7, '0');
    if (!ReadNumber(std::string_view(digits), ticks) || ticks < 0) return false;
  }
  try {
    time = kiv::DateTime(year, month, day, hour, minute, second, 0)
               .AddTicks(ticks);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool WriteTime(const Any& object, std::string_view text) {
  kiv::DateTime time;
  return ReadTime(text, time) && object.object().Write(time);
}

bool WriteGuid(const Any& object, const std::string& text) {
  const bool has_braces =
      text.size() > 2 && text.front() == '{' && text.back() == '}';
  GUID guid;
  return dm_string_to_guid(
             (has_braces ? text.substr(1, text.size() - 2) : text).c_str(),
             &guid) &&
         object.object().Write(guid);
}

bool WriteBinary(const Any& object, std::string_view text) {
  if (text.size() % 2 != 0) return false;
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    unsigned byte = 0;
    const auto end = text.data() + i + 2;
    if (std::from_chars(text.data() + i, end, byte, 16).ptr != end)
      return false;
    bytes += static_cast<char>(byte);
  }
  return dm_o_vector_append_values(object.get(), bytes.data(), bytes.size());
}

bool WriteText(const Any& object, const std::string& text) {
  std::string local;
  return ToGb2312(text, local) && local.find('\0') == std::string::npos &&
         dm_o_string_assign(object.get(), local.c_str());
}

bool WriteValue(const Any& object, dm_type_id_e type, const std::string& text) {
  switch (type) {
    case DM_BOOLEAN:
      return WriteBool(object, text);
    case DM_BYTE:
      return Write<std::uint8_t>(object, text);
    case DM_INT16:
      return Write<std::int16_t>(object, text);
    case DM_INT32:
      return Write<std::int32_t>(object, text);
    case DM_INT64:
      return Write<std::int64_t>(object, text);
    case DM_FLOAT:
      return Write<float>(object, text);
    case DM_DOUBLE:
      return Write<double>(object, text);
    case DM_GUID:
      return WriteGuid(object, text);
    case DM_DATE_TIME:
      return WriteTime(object, text);
    case DM_STRING:
      return WriteText(object, text);
    case DM_BINARY:
      return WriteBinary(object, text);
    default:
      return false;
  }
}

}  // namespace

std::string HexDigits(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

StoreCell CellOf(const Any& value) {
  if (!value) return {};
  switch (value.object().GetTypeId()) {
    case DM_BOOLEAN: {
      bool is_true = false;
      if (!value.object().Read(is_true)) return {};
      return {false, is_true ? "true" : "false"};
    }
    case DM_BYTE:
      return NumberCell<std::uint8_t>(value);
    case DM_INT16:
      return NumberCell<std::int16_t>(value);
    case DM_INT32:
      return NumberCell<std::int32_t>(value);
    case DM_INT64:
      return NumberCell<std::int64_t>(value);
    case DM_FLOAT:
      return NumberCell<float>(value);
    case DM_DOUBLE:
      return NumberCell<double>(value);
    case DM_GUID: {
      GUID guid;
      if (!value.object().Read(guid)) return {};
      return {false, GuidText(guid)};
    }
    case DM_DATE_TIME: {
      kiv::DateTime time;
      if (!value.object().Read(time) || time.Ticks() < 0) return {};
      return {false, TimeText(time)};
    }
    case DM_STRING:
      return {false, Utf8({dm_o_string_text(value.get()),
                           dm_o_string_size(value.get())})};
    case DM_BINARY:
      return {false, HexOf(dm_o_vector_at(value.get(), 0),
                           dm_o_vector_count(value.get()))};
    default:
      return {};
  }
}

StoreCell CellOf(const VARIANT& value) {
  switch (value.vt) {
    case VT_BOOL:
      return {false, value.boolVal != VARIANT_FALSE ? "true" : "false"};
    case VT_UI1:
      return {false, Digits(value.bVal)};
    case VT_I2:
      return {false, Digits(value.iVal)};
    case VT_I4:
      return {false, Digits(value.lVal)};
    case VT_I8:
      return {false, Digits(value.llVal)};
    case VT_R4:
      return {false, Digits(value.fltVal)};
    case VT_R8:
      return {false, Digits(value.dblVal)};
    case VT_DECIMAL:
      return CellOf(dm::Object::FromAdoDb(value, kVarWChar));
    case VT_BSTR: {
      const unsigned length = SysStringLen(value.bstrVal);
      if (length == 0) return {false, ""};
      return {false, kiv::wstringToUtf8(value.bstrVal, length).get()};
    }
    case VT_ARRAY | VT_UI1:
      return {false, HexOf(value.parray->pvData,
                           value.parray->rgsabound[0].cElements)};
    default:
      return {};
  }
}

Any ValueOf(const std::string& text_utf8, dm_type_id_e type,
            std::string& reason) {
  auto object = Any::Take(dm_o_new(DM_SIGN_DEFAULT + type, nullptr));
  if (object && WriteValue(object, type, text_utf8)) return object;
  const dm_type_info_t* const info = dm_o_type_info_from_id(type);
  reason = "'" + text_utf8 + "' is no " +
           (info == nullptr ? "value of a known type" : info->type_name);
  if (type == DM_STRING) reason = "'" + text_utf8 + "'" + kNotLocal;
  return nullptr;
}

}  // namespace kiv_tool
