#include "store/ado/odbc_error.h"

#include <sqlext.h>
#include <sqlucode.h>

#include <array>
#include <utility>

#include "dm/variant_number.h"
#include "store/ado/connection_text.h"
#include "util/cp936.h"
#include "util/gb_text.h"
#include "util/log_entry.h"
#include "util/utf8.h"

namespace kiv::store::ado {
namespace {

// Drivers cut what does not fit; more than this nobody reads.
constexpr SQLSMALLINT kTextRoom = 1024;

// Behind "[vendor][driver]", which the source says.
std::string_view WithoutVendors(std::string_view text) {
  while (!text.empty() && text.front() == '[') {
    const std::size_t end = FindAscii(text, ']');
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return dm::WithoutBlanks(text);
}

bool ReadRecord(SQLSMALLINT handle_type, SQLHANDLE handle, bool is_wide,
                SQLSMALLINT number, Diagnosis& out) {
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;
  std::string text;
  if (is_wide) {
    std::array<SQLWCHAR, 6> state{};
    std::array<SQLWCHAR, kTextRoom> room{};
    if (!SQL_SUCCEEDED(SQLGetDiagRecW(handle_type, handle, number, state.data(),
                                      &native, room.data(), kTextRoom,
                                      &length)))
      return false;
    out.state.assign(state.begin(), state.end() - 1);
    const std::u16string_view wide(
        reinterpret_cast<const char16_t*>(room.data()));
    text = Utf16ToCp936(wide);
  } else {
    std::array<SQLCHAR, 6> state{};
    std::array<SQLCHAR, kTextRoom> room{};
    if (!SQL_SUCCEEDED(SQLGetDiagRec(handle_type, handle, number, state.data(),
                                     &native, room.data(), kTextRoom, &length)))
      return false;
    out.state = reinterpret_cast<const char*>(state.data());
    text = Utf8ToCp936(reinterpret_cast<const char*>(room.data()));
  }
  out.native_code = static_cast<int>(native);
  out.text = WithoutVendors(text);
  return true;
}

constexpr std::array<std::pair<std::string_view, HRESULT>, 10> kCodes{{
    {"28000", kAuthFailed},
    {"42S02", kNoTable},
    {"42P01", kNoTable},
    {"42S01", kTableExists},
    {"42P07", kTableExists},
    {"42", kErrorsInCommand},
    {"23", kIntegrity},
    {"22", kDataOverflow},
    {"HY001", kOutOfMemory},
    {"HYC00", kNotAvailable},
}};

void Replace(std::string& text, const std::string& part, std::string_view by) {
  for (std::size_t at = FindText(text, part); at != std::string::npos;
       at = FindText(text, part, at + by.size()))
    text.replace(at, part.size(), by);
}

_com_error ErrorOf(HRESULT code, const std::string& source,
                   const std::string& description) {
  return _com_error(code, {Cp936ToUtf16(source), Cp936ToUtf16(description)});
}

}  // namespace

Diagnosis DiagnosisOf(SQLSMALLINT handle_type, SQLHANDLE handle, bool is_wide) {
  Diagnosis best, record;
  constexpr SQLSMALLINT kMostRecords = 20;
  for (SQLSMALLINT number = 1;
       number <= kMostRecords &&
       ReadRecord(handle_type, handle, is_wide, number, record);
       ++number) {
    const bool is_warning = record.state.starts_with("01");
    if (best.state.empty() || !is_warning) best = record;
    if (!is_warning) break;
  }
  return best;
}

HRESULT CodeOfState(std::string_view state) {
  for (const auto& [beginning, code] : kCodes)
    if (state.starts_with(beginning)) return code;
  return kFailed;
}

void RaiseDiagnosis(const Diagnosis& diagnosis, const std::string& source,
                    const std::string& secret) {
  std::string text = Masked(diagnosis.text);
  if (!secret.empty()) Replace(text, secret, "***");
  if (text.empty()) text = "the driver gives no reason";
  if (!diagnosis.state.empty())
    text += " (" + diagnosis.state + ", " +
            std::to_string(diagnosis.native_code) + ")";
  throw ErrorOf(CodeOfState(diagnosis.state), source, text);
}

void RaiseAbout(const std::string& subject, const _com_error& error) {
  const auto* const before = error.ErrorInfo();
  _com_error::Information information;
  if (before != nullptr) information = *before;
  information.description =
      Cp936ToUtf16(subject) + u": " + information.description.value_or(u"");
  throw _com_error(error.Error(), std::move(information));
}

std::string DescriptionOf(const _com_error& error) {
  const auto* const information = error.ErrorInfo();
  if (information == nullptr || !information->description)
    return "unspecified error";
  return Shown(Utf16ToCp936(*information->description));
}

void Raise(HRESULT code, const std::string& description) {
  throw ErrorOf(code, "sharelib", description);
}

}  // namespace kiv::store::ado
