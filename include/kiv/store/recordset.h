#ifndef KIV_STORE_RECORDSET_H_
#define KIV_STORE_RECORDSET_H_

#include <memory>
#include <string>

#include "kiv/export.h"
#include "kiv/store/variant.h"

namespace kiv::store {

// A field of the current row.
class KIV_API Field {
 public:
  Field() = default;
  Field(const Field&) {}
  Field& operator=(const Field&) { return *this; }

  virtual std::string Name() = 0;
  // As the database gives it; VT_NULL when the field is null, VT_EMPTY on
  // failure.
  virtual Variant Value() = 0;

 protected:
  ~Field() = default;
};

// The fields of the current row. They follow the recordset: a field that was
// taken once gives the value of whatever row is current when it is asked.
class KIV_API Fields {
 public:
  Fields() = default;
  Fields(const Fields&) {}
  Fields& operator=(const Fields&) { return *this; }

  // Positions count from 0. Empty when there is no such field.
  virtual std::shared_ptr<Field> Item(long index) = 0;
  virtual std::shared_ptr<Field> Item(const std::string& name) = 0;
  virtual long Count() = 0;

 protected:
  ~Fields() = default;
};

// Rows, one after the other; the first one is current at the start.
class KIV_API Recordset {
 public:
  Recordset() = default;
  Recordset(const Recordset&) {}
  Recordset& operator=(const Recordset&) { return *this; }

  // True also for the step behind the last row, which IsEOF then tells.
  virtual bool MoveNext() = 0;
  virtual bool IsEOF() = 0;
  virtual std::shared_ptr<Fields> GetFields() = 0;

 protected:
  ~Recordset() = default;
};

}  // namespace kiv::store

#endif  // KIV_STORE_RECORDSET_H_
