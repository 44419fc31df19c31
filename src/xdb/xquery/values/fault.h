#ifndef XDB_XQUERY_VALUES_FAULT_H_
#define XDB_XQUERY_VALUES_FAULT_H_

#include <string>
#include <string_view>

#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {

// Why a text or a value does not become a value of a type. Castable asks for
// nothing more, so that nothing is thrown or composed for its sake.
enum class Fault {
  None,
  NoCast,           // XPTY0004
  NotOfType,        // FORG0001
  DecimalTooLarge,  // FOCA0001
  NotFinite,        // FOCA0002
  IntegerTooLarge,  // FOCA0003
  DateTooLarge,     // FODT0001
  DurationTooLarge  // FODT0002
};

[[noreturn]] inline void ThrowFault(Fault fault, const std::string& message) {
  constexpr std::string_view kCodes[] = {"",         "XPTY0004", "FORG0001",
                                         "FOCA0001", "FOCA0002", "FOCA0003",
                                         "FODT0001", "FODT0002"};
  throw Error(kCodes[static_cast<int>(fault)], message);
}

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_FAULT_H_
