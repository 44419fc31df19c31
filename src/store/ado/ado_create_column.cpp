// Which column each database gets for a type of the data model.
#include "kiv/store/ado_table.h"
#include "store/ado/ado_messages.h"
#include "store/ado/ado_types.h"
#include "store/column_type.h"
#include "util/log_entry.h"

namespace kiv::store {
namespace {

constexpr char kGeneric[] = "AdoTable";
constexpr char kAccess[] = "AccessAdoTable";
constexpr char kMsSql[] = "MsSqlAdoTable";

constexpr long kUsualTextLength = 50;
constexpr long kAccessLongestText = 255;
constexpr long kAccessLongestBinary = 510;
constexpr long kMsSqlLongestText = 4000;
constexpr long kMsSqlLongestBinary = 8000;

// What all databases have in common; adEmpty for other types.
ado::DataType UsualType(dm_type_id_e type) {
  switch (type) {
    case DM_BOOLEAN:
      return ado::adBoolean;
    case DM_BYTE:
      return ado::adUnsignedTinyInt;
    case DM_INT16:
      return ado::adSmallInt;
    case DM_INT32:
      return ado::adInteger;
    case DM_INT64:
      return ado::adBigInt;
    case DM_FLOAT:
      return ado::adSingle;
    case DM_DOUBLE:
      return ado::adDouble;
    case DM_GUID:
      return ado::adGUID;
    case DM_DATE_TIME:
      return ado::adDBTimeStamp;
    case DM_STRING:
      return ado::adVarWChar;
    default:
      return ado::adEmpty;
  }
}

}  // namespace

bool AdoTable::CreateColumn(const std::string& name,
                            const dm::ObjectPtr<int*>& type, long length) {
  const auto value_type = CheckedColumnType(kGeneric, name, type, length);
  if (!value_type) return false;
  const ado::DataType ado_type = UsualType(*value_type);
  if (ado_type == ado::adEmpty) {
    LogTypeNotHandled(kGeneric, type);
    return false;
  }
  if (ado_type == ado::adVarWChar && length == 0) length = kUsualTextLength;
  return AppendColumn(kGeneric, name, ado_type, length);
}

bool AccessAdoTable::CreateColumn(const std::string& name,
                                  const dm::ObjectPtr<int*>& type,
                                  long length) {
  const auto value_type = ColumnValueType(kAccess, name, type);
  if (!value_type) return false;
  if (length < 0) {
    LogError("db", ado::message::AccessLengthNegative(TypeName(type)));
    return false;
  }
  ado::DataType ado_type = UsualType(*value_type);
  switch (*value_type) {
    case DM_INT64:
      LogWarning("db", ado::message::AccessInt64(Shown(name)));
      ado_type = ado::adInteger;
      break;
    case DM_DATE_TIME:
      ado_type = ado::adDate;
      break;
    case DM_STRING:
      if (length > kAccessLongestText) ado_type = ado::adLongVarWChar;
      if (length == 0) length = kUsualTextLength;
      break;
    case DM_BINARY:
      ado_type = length == 0 || length > kAccessLongestBinary
                     ? ado::adLongVarBinary
                     : ado::adVarBinary;
      break;
    default:
      if (ado_type != ado::adEmpty) break;
      LogTypeNotHandled(kAccess, type);
      return false;
  }
  return AppendColumn(kAccess, name, ado_type, length);
}

bool MsSqlAdoTable::CreateColumn(const std::string& name,
                                 const dm::ObjectPtr<int*>& type, long length) {
  const auto value_type = CheckedColumnType(kMsSql, name, type, length);
  if (!value_type) return false;
  ado::DataType ado_type = UsualType(*value_type);
  switch (*value_type) {
    case DM_STRING:
      if (length < 1 || length > kMsSqlLongestText) {
        LogError("db", ado::message::MsSqlTextLength(Shown(name)));
        return false;
      }
      break;
    case DM_BINARY:
      if (length < 1 || length > kMsSqlLongestBinary) {
        LogError("db", ado::message::MsSqlBinaryLength(Shown(name)));
        return false;
      }
      ado_type = ado::adVarBinary;
      break;
    default:
      if (ado_type != ado::adEmpty) break;
      LogTypeNotHandled(kMsSql, type);
      return false;
  }
  return AppendColumn(kMsSql, name, ado_type, length);
}

}  // namespace kiv::store
