#ifndef KIV_STORE_COLUMN_H_
#define KIV_STORE_COLUMN_H_

#include <string>

#include "dm/object.h"
#include "kiv/export.h"

namespace kiv::store {

// What a store knows of a column. What it does not know is "", 0 or empty.
class KIV_API Column {
 public:
  // Bits of GetAttributes.
  static constexpr long ATTRIBUTE_FIXED = 1;
  static constexpr long ATTRIBUTE_NULLABLE = 2;

  Column() = default;
  Column(const Column&) {}
  Column& operator=(const Column&) { return *this; }

  virtual std::string GetName() const = 0;
  virtual bool SetName(const std::string& name) = 0;
  // The metadata of its values in the data model.
  virtual dm::ObjectPtr<int*> GetType() const = 0;
  // Of a text, in characters.
  virtual long GetDefinedSize() const = 0;
  virtual bool SetDefinedSize(long size) = 0;
  virtual long GetPrecision() const = 0;
  virtual bool SetPrecision(long precision) = 0;
  virtual long GetNumericScale() const = 0;
  virtual bool SetNumericScale(long scale) = 0;
  // Of a key: the column of the other table.
  virtual std::string GetRelatedColumn() const = 0;
  virtual bool SetRelatedColumn(const std::string& name) = 0;
  // Of an index: 1 ascending, 2 descending.
  virtual long GetSortOrder() const = 0;
  virtual bool SetSortOrder(long order) = 0;
  virtual long GetAttributes() const = 0;
  virtual bool SetAttributes(long attributes) = 0;
  // Borrowed: the column as the back end has it; null when it has none.
  virtual void* Handle() const = 0;

  // Whether the attributes are ATTRIBUTE_NULLABLE and nothing else: a column
  // that has further ones counts as one that wants a value.
  bool IsAllowNull() const;

 protected:
  ~Column() = default;
};

}  // namespace kiv::store

#endif  // KIV_STORE_COLUMN_H_
