#ifndef DM_ADO_TYPES_H_
#define DM_ADO_TYPES_H_

#include <optional>

#include "dm/registry.h"

namespace dm {

// The numbers that ADO publishes for the types of values.
enum DataType : int {
  adEmpty = 0,
  adSmallInt = 2,
  adInteger = 3,
  adSingle = 4,
  adDouble = 5,
  adCurrency = 6,
  adDate = 7,
  adBSTR = 8,
  adError = 10,
  adBoolean = 11,
  adDecimal = 14,
  adTinyInt = 16,
  adUnsignedTinyInt = 17,
  adUnsignedSmallInt = 18,
  adUnsignedInt = 19,
  adBigInt = 20,
  adUnsignedBigInt = 21,
  adGUID = 72,
  adBinary = 128,
  adChar = 129,
  adWChar = 130,
  adNumeric = 131,
  adDBDate = 133,
  adDBTime = 134,
  adDBTimeStamp = 135,
  adVarNumeric = 139,
  adVarChar = 200,
  adLongVarChar = 201,
  adVarWChar = 202,
  adLongVarWChar = 203,
  adVarBinary = 204,
  adLongVarBinary = 205
};

// What kind of object a value of the type becomes; none for empty, variant,
// user-defined and the like.
std::optional<dm_type_id_e> TypeOf(int ado_type);

}  // namespace dm

#endif  // DM_ADO_TYPES_H_
