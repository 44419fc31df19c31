#ifndef STORE_ADO_PARAMETERS_H_
#define STORE_ADO_PARAMETERS_H_

#include <sql.h>

#include <cstddef>
#include <string>
#include <vector>

#include "dm/type_info.h"
#include "store/ado/odbc_connection.h"

namespace kiv::store::ado {

// The values of one "?" in a statement, for as many executions as it has rows:
// a bound array. Values are the data of data-model objects of one type.
class ParameterArray {
 public:
  // Throws kInvalidArgument for a type that no parameter can have.
  ParameterArray(dm_type_id_e type, const OdbcConnection& connection);

  // The most bytes that a text or a binary value of so many takes here.
  static std::size_t RoomOf(dm_type_id_e type, std::size_t size,
                            const OdbcConnection& connection);

  // Room for `rows` values, of texts and binary values that are not longer than
  // `size` bytes. Not to be called while bound.
  void Reserve(std::size_t rows, std::size_t size);
  // Binds it from `first_row` on, until the next Reserve.
  void Bind(OdbcStatement& statement, SQLUSMALLINT number,
            std::size_t first_row = 0);

  // `data` is what dm_o_data gives, at any address; null is NULL. Throws
  // kDataOverflow for a text with a NUL in it.
  void Put(std::size_t row, const void* data);

  // Dates and times whose last digits the database does not keep.
  std::size_t cut_count() const { return cut_count_; }

 private:
  struct Shape {
    SQLSMALLINT c_type;
    SQLSMALLINT odbc_type;
    SQLULEN column_size;
    std::size_t stride;  // bytes from one value to the next
    SQLSMALLINT digits;  // behind the point
  };

  static Shape ShapeOf(dm_type_id_e type, Dialect dialect, bool is_wide);
  void PutText(std::size_t row, const void* data);
  void PutBinary(std::size_t row, const void* data);
  void PutDate(std::size_t row, const void* data);
  char* At(std::size_t row) { return values_.data() + row * shape_.stride; }

  dm_type_id_e type_;
  bool is_wide_;
  Shape shape_;
  std::size_t cut_count_ = 0;
  std::vector<char> values_;
  std::vector<SQLLEN> sizes_;
};

// Bytes of a text's or a binary value's data; 0 for other types.
std::size_t LongSizeOf(dm_type_id_e type, const void* data);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_PARAMETERS_H_
