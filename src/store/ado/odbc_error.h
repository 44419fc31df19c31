#ifndef STORE_ADO_ODBC_ERROR_H_
#define STORE_ADO_ODBC_ERROR_H_

#include <sql.h>
#include <sqlext.h>

#include <string>
#include <string_view>

#include "store/ado/ado_types.h"

// What a failed ODBC call left behind, as _com_error.
namespace kiv::store::ado {

// One record of diagnosis, text in the local encoding.
struct Diagnosis {
  std::string state;  // SQLSTATE; empty when there is none
  int native_code = 0;
  std::string text;
};

// The one that says why: the first that is no mere warning, else the first.
Diagnosis DiagnosisOf(SQLSMALLINT handle_type, SQLHANDLE handle, bool is_wide);

HRESULT CodeOfState(std::string_view state);

// `secret` is masked where a driver quotes it; `source` names the driver.
[[noreturn]] void RaiseDiagnosis(const Diagnosis& diagnosis,
                                 const std::string& source,
                                 const std::string& secret);

// The same failure, with what it is about before its description. `subject` in
// the local encoding.
[[noreturn]] void RaiseAbout(const std::string& subject,
                             const _com_error& error);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_ODBC_ERROR_H_
