#include "store/ado/records.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "dm/layout.h"
#include "dm/string_data.h"
#include "dm/vector_words.h"
#include "kiv/date_time.h"
#include "store/ado/row_values.h"
#include "util/gb_text.h"

namespace kiv::store::ado {
namespace {

template <typename T>
bool StoreInteger(void* field, RowCursor::Form form, std::string_view bytes) {
  const auto value = IntegerOf(form, bytes);
  if (!value || *value < std::numeric_limits<T>::min() ||
      *value > std::numeric_limits<T>::max())
    return false;
  dm::Store<T>(dm::DataOf(field), static_cast<T>(*value));
  return true;
}

template <typename T>
bool StorePlain(void* field, const std::optional<T>& value) {
  if (!value) return false;
  dm::Store<T>(dm::DataOf(field), *value);
  return true;
}

bool StoreBytes(void* field, std::string_view bytes) {
  if (!dm_o_vector_resize(field, bytes.size())) throw std::bad_alloc();
  if (!bytes.empty())
    std::memcpy(dm::VectorOf(field).begin, bytes.data(), bytes.size());
  return true;
}

// A value whose form is that of the field's type.
bool StoreDirectly(void* field, dm_type_id_e type, RowCursor::Form form,
                   std::string_view bytes) {
  switch (type) {
    case DM_INT32:
      return StoreInteger<std::int32_t>(field, form, bytes);
    case DM_INT16:
      return StoreInteger<std::int16_t>(field, form, bytes);
    case DM_INT64:
      return StoreInteger<std::int64_t>(field, form, bytes);
    case DM_BYTE:
      return StoreInteger<std::uint8_t>(field, form, bytes);
    case DM_BOOLEAN: {
      const auto value = BoolOf(form, bytes);
      if (!value) return false;
      dm::Store<std::uint8_t>(dm::DataOf(field), *value);
      return true;
    }
    case DM_DOUBLE:
      return StorePlain(field, RealOf(form, bytes));
    case DM_FLOAT: {
      // A double that is no float goes the long way.
      const auto value = RealOf(form, bytes);
      if (!value || static_cast<double>(static_cast<float>(*value)) != *value)
        return false;
      dm::Store<float>(dm::DataOf(field), static_cast<float>(*value));
      return true;
    }
    case DM_GUID:
      return StorePlain(field, GuidOf(form, bytes));
    case DM_DATE_TIME:
      return StorePlain(field, TicksOf(form, bytes));
    case DM_STRING: {
      const auto text = TextOf(form, bytes);
      if (!text) return false;
      if (!dm::AssignStringAt(dm::DataOf(field), *text)) throw std::bad_alloc();
      return true;
    }
    case DM_BINARY:
      return form == RowCursor::Form::Bytes && StoreBytes(field, bytes);
    default:
      return false;
  }
}

// The ADO type whose values dm::Object::FromAdoDb turns into this type.
int AdoTypeOf(dm_type_id_e type) {
  switch (type) {
    case DM_INT32:
      return adInteger;
    case DM_INT16:
      return adSmallInt;
    case DM_INT64:
      return adBigInt;
    case DM_BYTE:
      return adUnsignedTinyInt;
    case DM_BOOLEAN:
      return adBoolean;
    case DM_FLOAT:
      return adSingle;
    case DM_DOUBLE:
      return adDouble;
    case DM_GUID:
      return adGUID;
    case DM_DATE_TIME:
      return adDBTimeStamp;
    case DM_STRING:
      return adVarWChar;
    case DM_BINARY:
      return adVarBinary;
    default:
      return adEmpty;
  }
}

dm_type_id_e ObjectTypeOf(DataType type) {
  return dm::TypeOf(type).value_or(DM_STRING);
}

// Missing: what fields of these types have for it.
bool StoreMissing(void* field, dm_type_id_e type) {
  void* const data = dm::DataOf(field);
  switch (type) {
    case DM_DATE_TIME:
      dm::Store<std::int64_t>(data, DateTime().Ticks());
      return true;
    case DM_FLOAT:
      dm::Store<float>(data, std::numeric_limits<float>::quiet_NaN());
      return true;
    case DM_DOUBLE:
      dm::Store<double>(data, std::numeric_limits<double>::quiet_NaN());
      return true;
    case DM_STRING:
      return dm::AssignStringAt(data, {});
    case DM_BINARY:
      return StoreBytes(field, {});
    default:
      return false;
  }
}

// By way of the variant value, with its conversions.
bool StoreConverted(void* field, dm_type_id_e type, RowCursor& cursor,
                    std::size_t column) {
  VARIANT value = cursor.Value(column);
  const AnyObject object = dm::Object::FromAdoDb(value, AdoTypeOf(type));
  VariantClear(&value);
  return object && dm_o_copy_from(field, dm_o_data(object.get()));
}

bool StoreValue(void* field, dm_type_id_e type, RowCursor& cursor,
                std::size_t column) {
  if (type == DM_OBJECT_POINTER)
    return dm_o_object_pointer_set(field, ObjectOf(cursor, column).get());
  const auto bytes = cursor.Bytes(column);
  if (!bytes) return StoreMissing(field, type);
  return StoreDirectly(field, type, cursor.FormOf(column), *bytes) ||
         StoreConverted(field, type, cursor, column);
}

// Of digits with a point: whether a double gives the same ones back.
bool FitsDouble(std::string_view digits) {
  constexpr std::size_t kMostDigits = std::numeric_limits<double>::digits10;
  std::size_t count = 0;
  std::size_t zeros = 0;  // behind the last other digit
  for (const char byte : digits) {
    if (AsciiToLower(byte) == 'e') break;
    if (!IsAsciiDigit(byte)) continue;
    zeros = byte == '0' ? zeros + 1 : 0;
    count += count > 0 || byte != '0';
  }
  return count <= kMostDigits + std::min(zeros, count);
}

}  // namespace

AnyObject ObjectOf(RowCursor& cursor, std::size_t column) {
  const auto bytes = cursor.Bytes(column);
  if (!bytes) return {};
  const dm_type_id_e type = ObjectTypeOf(cursor.Info(column).type);
  AnyObject object = AnyObject::Take(dm_o_new(DM_SIGN_DEFAULT + type, nullptr));
  if (!object) throw std::bad_alloc();
  const bool is_whole = cursor.FormOf(column) != RowCursor::Form::DecimalText ||
                        FitsDouble(*bytes);
  if (is_whole && StoreValue(object.get(), type, cursor, column)) return object;
  // What a column holds beside its own type: SQLite's hold anything.
  object = AnyObject::Take(dm_o_new(DM_SIGN_DEFAULT + DM_STRING, nullptr));
  if (!object) throw std::bad_alloc();
  if (!StoreConverted(object.get(), DM_STRING, cursor, column))
    Raise(kDataOverflow, "the value of '" + cursor.Info(column).name +
                             "' cannot be converted");
  return object;
}

RecordFiller::RecordFiller(RowCursor& cursor, void* metadata)
    : cursor_(cursor), type_(metadata) {
  if (!dm_o_is_struct_type_from_metadata(metadata))
    Raise(kInvalidArgument, "the record is no struct object");
  const std::size_t count = dm_o_struct_metadata_field_count(metadata);
  for (std::size_t i = 0; i < count; ++i) {
    const char* const name = dm_o_struct_metadata_field_name(metadata, i);
    const std::size_t column = cursor.IndexOf(name);
    if (column == cursor.size()) continue;
    const void* const type = dm_o_struct_metadata_field_metadata(metadata, i);
    parts_.push_back({column, dm_o_struct_metadata_field_offset(metadata, i),
                      dm_o_type_info_from_metadata(type)->type_id, name});
  }
  if (parts_.empty())
    Raise(kItemNotFound, "no field of the record has a column");
}

void RecordFiller::Fill(void* record) const {
  if (!cursor_.is_on_row()) Raise(kNoCurrentRecord, "there is no current row");
  if (dm_o_metadata(record) != metadata())
    Raise(kInvalidArgument, "the record is of another type");
  void* const data = dm_o_data(record);
  for (const Part& part : parts_)
    if (!StoreValue(dm::At(data, part.offset), part.type, cursor_, part.column))
      Raise(kDataOverflow, "the value of '" + cursor_.Info(part.column).name +
                               "' does not fit its field");
}

}  // namespace kiv::store::ado
