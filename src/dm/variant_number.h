#ifndef DM_VARIANT_NUMBER_H_
#define DM_VARIANT_NUMBER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "dm/guid.h"
#include "kiv/com.h"

// A database value as a number of another kind; nothing when it is missing, is
// no number, or does not fit. Numbers in text are read whatever the locale,
// blanks around them left out.
namespace dm {

// Rounded half to even. True is -1.
std::optional<std::int64_t> VariantToInteger(const VARIANT& variant);
std::optional<double> VariantToReal(const VARIANT& variant);
// Any number but 0; of texts also "True" and "False" in either case.
std::optional<bool> VariantToBool(const VARIANT& variant);

// Of a VT_DECIMAL or VT_CY, exactly: "-0.0500".
std::string DecimalText(const DECIMAL& decimal);
DECIMAL DecimalFromCurrency(CY currency);

// The narrow text of a VT_BSTR.
std::string TextOfBstr(BSTR text);
// A part of the text: without the blanks around it.
std::string_view WithoutBlanks(std::string_view text);
// Of std::int64_t and double.
template <typename Number>
std::optional<Number> NumberInText(std::string_view text);
// In braces or without.
std::optional<GUID> GuidInText(std::string_view text);

}  // namespace dm

#endif  // DM_VARIANT_NUMBER_H_
