#ifndef STORE_ADO_GUARDED_CALL_H_
#define STORE_ADO_GUARDED_CALL_H_

#include <exception>
#include <string>
#include <utility>

#include "kiv/com.h"
#include "store/ado/ado_types.h"
#include "util/log_entry.h"

namespace kiv::store::ado {

// Ends every exception of the objects below: hands what it says to `log`, ready
// for a message, and gives `failed` back.
template <class Log, class Result, class Call>
Result CallOrLog(const Log& log, Result failed, const Call& call) {
  try {
    return call();
  } catch (const _com_error& error) {
    log(DescriptionOf(error));
  } catch (const std::exception& error) {
    log(Shown(error.what()));
  }
  return failed;
}

// The same with `message` in front, as an error.
template <class Result, class Call>
Result GuardedCall(const char* message, Result failed, const Call& call) {
  return CallOrLog(
      [message](const std::string& why) { LogError("db", message + why); },
      std::move(failed), call);
}

}  // namespace kiv::store::ado

#endif  // STORE_ADO_GUARDED_CALL_H_
