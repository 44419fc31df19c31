#ifndef STORE_ADO_ADO_TYPES_H_
#define STORE_ADO_ADO_TYPES_H_

#include <string>

#include "dm/ado_types.h"
#include "kiv/com.h"

// The numbers that ADO and ADOX publish, and what their failures are.
namespace kiv::store::ado {

using dm::DataType;
using enum dm::DataType;

// Column attributes.
inline constexpr long adColFixed = 1;
inline constexpr long adColNullable = 2;

// What _com_error::Error() says. Failures of a database are told apart by their
// SQLSTATE; those that no line below names are E_FAIL.
inline constexpr HRESULT kFailed = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT kOutOfMemory = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT kAuthFailed = static_cast<HRESULT>(0x80040E4D);
inline constexpr HRESULT kNoTable = static_cast<HRESULT>(0x80040E37);
inline constexpr HRESULT kTableExists = static_cast<HRESULT>(0x80040E3F);
inline constexpr HRESULT kErrorsInCommand = static_cast<HRESULT>(0x80040E14);
inline constexpr HRESULT kIntegrity = static_cast<HRESULT>(0x80040E2F);
inline constexpr HRESULT kDataOverflow = static_cast<HRESULT>(0x80040E57);
inline constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x800A0BB9);
inline constexpr HRESULT kNoCurrentRecord = static_cast<HRESULT>(0x800A0BCD);
inline constexpr HRESULT kNotAllowedHere = static_cast<HRESULT>(0x800A0C93);
inline constexpr HRESULT kNotAvailable = static_cast<HRESULT>(0x800A0CB3);
inline constexpr HRESULT kItemNotFound = static_cast<HRESULT>(0x800A0CC1);
inline constexpr HRESULT kObjectClosed = static_cast<HRESULT>(0x800A0E78);

// The failure's description in the local encoding, ready for a log message: "no
// such table: x (42S02, 1)", that is the driver's text, SQLSTATE and native
// code; passwords are masked in it, control bytes shown escaped.
std::string DescriptionOf(const _com_error& error);

// Throws a failure of this library's own. `description` is ASCII, or the local
// encoding for what it quotes.
[[noreturn]] void Raise(HRESULT code, const std::string& description);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_ADO_TYPES_H_
