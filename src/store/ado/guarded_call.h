#ifndef STORE_ADO_GUARDED_CALL_H_
#define STORE_ADO_GUARDED_CALL_H_

#include <exception>
#include <string>

#include "kiv/com.h"
#include "store/ado/ado_types.h"
#include "util/log_entry.h"

namespace kiv::store::ado {

// Ends every exception of the objects below: logs `message` and what the
// exception says, and gives `failed` back.
template <class Result, class Call>
Result GuardedCall(const char* message, Result failed, const Call& call) {
  try {
    return call();
  } catch (const _com_error& error) {
    LogError("db", message + DescriptionOf(error));
  } catch (const std::exception& error) {
    LogError("db", message + Shown(error.what()));
  }
  return failed;
}

}  // namespace kiv::store::ado

#endif  // STORE_ADO_GUARDED_CALL_H_
