#include <utility>

#include "store/ado/ado_objects.h"
#include "store/ado/records.h"
#include "store/ado/row_cursor.h"

namespace kiv::store::ado {

Recordset::Recordset() = default;
Recordset::~Recordset() = default;

void Recordset::OpenTable(std::shared_ptr<Connection> connection,
                          const std::string& name) {
  auto cursor = OpenTableRows(connection, name);
  Open(std::move(connection), std::move(cursor));
}

void Recordset::Open(std::shared_ptr<Connection> connection,
                     std::unique_ptr<RowCursor> cursor) {
  if (IsOpen()) Raise(kNotAllowedHere, "the recordset is open already");
  cursor->Next();
  cursor_ = std::move(cursor);
  connection_ = std::move(connection);
}

void Recordset::MoveNext() {
  RowCursor& cursor = Cursor();
  if (!cursor.is_on_row())
    Raise(kNoCurrentRecord, "the recordset is at its end");
  cursor.Next();
}

bool Recordset::IsEof() const { return !Cursor().is_on_row(); }

long Recordset::FieldCount() const {
  return static_cast<long>(Cursor().size());
}

const FieldInfo& Recordset::Field(long index) const {
  if (index < 0 || index >= FieldCount())
    Raise(kItemNotFound, "there is no field " + std::to_string(index));
  return Cursor().Info(static_cast<std::size_t>(index));
}

long Recordset::FieldIndex(const std::string& name) const {
  const std::size_t index = Cursor().IndexOf(name);
  if (index == Cursor().size())
    Raise(kItemNotFound, "there is no field '" + name + "'");
  return static_cast<long>(index);
}

VARIANT Recordset::Value(long index) const {
  Field(index);
  if (IsEof()) Raise(kNoCurrentRecord, "there is no current row");
  return Cursor().Value(static_cast<std::size_t>(index));
}

void Recordset::Fill(void* record) {
  void* const metadata = dm_o_metadata(record);
  if (filler_ == nullptr || filler_->metadata() != metadata)
    filler_ = std::make_unique<RecordFiller>(Cursor(), metadata);
  filler_->Fill(record);
}

RowCursor& Recordset::Cursor() const {
  if (cursor_ == nullptr) Raise(kObjectClosed, "the recordset is closed");
  return *cursor_;
}

}  // namespace kiv::store::ado
