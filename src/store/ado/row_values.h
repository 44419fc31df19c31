#ifndef STORE_ADO_ROW_VALUES_H_
#define STORE_ADO_ROW_VALUES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kiv/com.h"
#include "store/ado/row_cursor.h"

// Values as a cursor has them, as values of the library. None depends on the
// locale.
namespace kiv::store::ado {

// New: the caller clears it. Nothing is VT_NULL. What a text cannot be turned
// into stays a text, so that nothing is lost. Throws std::bad_alloc.
VARIANT VariantOf(RowCursor::Form form, DataType type,
                  std::optional<std::string_view> bytes);

// Nothing when the value is no such thing, or does not fit.
std::optional<std::int64_t> IntegerOf(RowCursor::Form form,
                                      std::string_view bytes);
std::optional<double> RealOf(RowCursor::Form form, std::string_view bytes);
std::optional<bool> BoolOf(RowCursor::Form form, std::string_view bytes);
std::optional<GUID> GuidOf(RowCursor::Form form, std::string_view bytes);
// Ticks of a kiv::DateTime.
std::optional<std::int64_t> TicksOf(RowCursor::Form form,
                                    std::string_view bytes);
// In the local encoding; of texts alone.
std::optional<std::string> TextOf(RowCursor::Form form, std::string_view bytes);

// "2004-01-31 09:05:07.000": with three digits behind the point, or all seven
// where they say something.
std::string TextOfTicks(std::int64_t ticks);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_ROW_VALUES_H_
