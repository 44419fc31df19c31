#include <sqlext.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "dm/layout.h"
#include "dm/values.h"
#include "store/ado/odbc_connection.h"
#include "store/ado/parameters.h"
#include "store/ado/records.h"
#include "store/ado/statements.h"
#include "util/cp936.h"

namespace kiv::store::ado {
namespace {

// Rows that go to the driver in one call.
constexpr std::size_t kMaxBlock = 500;
// As many parameters as every SQLite takes, and as many rows as help.
constexpr std::size_t kMaxParameters = 999;
constexpr std::size_t kMaxStatementRows = 50;
constexpr std::size_t kMaxBlockBytes = std::size_t{4} * 1024 * 1024;

// A field of the records, which lies at one place in all of them.
struct Source {
  std::uint32_t offset;
  // A pointer to a value that may be missing; the type is then the value's.
  bool is_pointer;
  dm_type_id_e type;
  std::string name;
};

// The data of a record's value; null when it is missing.
const void* ValueOf(const Source& source, const void* record_data) {
  const void* const field = dm::At(record_data, source.offset);
  if (!source.is_pointer) return dm::DataOf(field);
  const void* const object = dm_o_object_pointer_get(field);
  if (object == nullptr) return nullptr;
  if (dm::TypeIdOfObject(object) != source.type)
    Raise(kInvalidArgument,
          "the values of '" + source.name + "' are not of one type");
  return dm::DataOf(object);
}

// What the first record with a value has; texts when all are missing.
dm_type_id_e TypeBehindPointers(std::uint32_t offset,
                                const std::vector<AnyObject>& records) {
  for (const AnyObject& record : records) {
    const void* const object =
        dm_o_object_pointer_get(dm::At(dm_o_data(record.get()), offset));
    if (object != nullptr)
      return static_cast<dm_type_id_e>(dm::TypeIdOfObject(object));
  }
  return DM_STRING;
}

std::vector<Source> SourcesOf(const std::vector<AnyObject>& records) {
  const void* const metadata = dm_o_metadata(records.front().get());
  if (!dm_o_is_struct_type_from_metadata(metadata))
    Raise(kInvalidArgument, "the records are no struct objects");
  for (const AnyObject& record : records)
    if (dm_o_metadata(record.get()) != metadata)
      Raise(kInvalidArgument, "the records are not of one type");
  std::vector<Source> sources;
  const std::size_t count = dm_o_struct_metadata_field_count(metadata);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t offset = dm_o_struct_metadata_field_offset(metadata, i);
    dm_type_id_e type = dm_o_type_info_from_metadata(
                            dm_o_struct_metadata_field_metadata(metadata, i))
                            ->type_id;
    const bool is_pointer = type == DM_OBJECT_POINTER;
    if (is_pointer) type = TypeBehindPointers(offset, records);
    sources.push_back({offset, is_pointer, type,
                       dm_o_struct_metadata_field_name(metadata, i)});
  }
  if (sources.empty()) Raise(kInvalidArgument, "the records have no fields");
  return sources;
}

// Up to the rows. Columns are spelt as the table has them: some databases mind
// the case.
std::string InsertStatement(const std::shared_ptr<Connection>& connection,
                            const std::string& table,
                            const std::vector<Source>& sources) {
  const auto target = Catalog(connection).GetTable(table);
  if (target == nullptr) Raise(kNoTable, "there is no table '" + table + "'");
  const OdbcConnection& odbc = connection->Odbc();
  std::string columns;
  for (const Source& source : sources) {
    const auto column = target->FindColumn(source.name);
    if (column == nullptr)
      Raise(kItemNotFound,
            "the table '" + table + "' has no column '" + source.name + "'");
    columns += (columns.empty() ? "" : ", ") +
               odbc.Quoted(NameForDatabase(column->Name()));
  }
  return "INSERT INTO " + odbc.Quoted(NameForDatabase(target->Name())) + " (" +
         columns + ") VALUES ";
}

// Rows go in blocks: as the parameter sets of one execution where the driver
// takes those, else one by one. SQLite's driver would parse the statement anew
// for each set; there the statement has the block's rows itself.
class Insertion {
 public:
  Insertion(Connection& connection, std::string statement,
            std::vector<Source> sources)
      : odbc_(connection.Odbc()),
        text_(std::move(statement)),
        sources_(std::move(sources)),
        is_sqlite_(odbc_.dialect() == Dialect::Sqlite) {
    for (const Source& source : sources_)
      arrays_.emplace_back(source.type, odbc_);
    if (is_sqlite_) {
      most_ = std::clamp<std::size_t>(kMaxParameters / sources_.size(), 1,
                                      kMaxStatementRows);
      return;
    }
    Prepare(1);
    has_sets_ = TakesSets();
    most_ = has_sets_ ? kMaxBlock : 1;
  }

  void Insert(const std::vector<AnyObject>& records) {
    for (std::size_t first = 0; first < records.size();) {
      const std::size_t count = BlockAt(first, records);
      for (std::size_t i = 0; i < sources_.size(); ++i)
        for (std::size_t row = 0; row < count; ++row)
          arrays_[i].Put(
              row, ValueOf(sources_[i], dm_o_data(records[first + row].get())));
      Execute(count);
      first += count;
    }
  }

  std::size_t cut_count() const {
    std::size_t count = 0;
    for (const ParameterArray& array : arrays_) count += array.cut_count();
    return count;
  }

 private:
  // How many records from `first` go in one call. Makes room for them.
  std::size_t BlockAt(std::size_t first,
                      const std::vector<AnyObject>& records) {
    const std::size_t most = std::min(records.size() - first, most_);
    std::vector<std::size_t> sizes(sources_.size());
    std::size_t count = 0;
    while (count < most) {
      const void* const data = dm_o_data(records[first + count].get());
      std::vector<std::size_t> wider = sizes;
      std::size_t row_bytes = 0;
      for (std::size_t i = 0; i < sources_.size(); ++i) {
        if (const void* const value = ValueOf(sources_[i], data))
          wider[i] = std::max(wider[i], LongSizeOf(sources_[i].type, value));
        row_bytes += ParameterArray::RoomOf(sources_[i].type, wider[i], odbc_);
      }
      if (count > 0 && row_bytes * (count + 1) > kMaxBlockBytes) break;
      sizes = std::move(wider);
      ++count;
    }
    MakeRoom(count, sizes);
    return count;
  }

  void MakeRoom(std::size_t count, const std::vector<std::size_t>& sizes) {
    const bool has_rows = is_sqlite_ ? count == rows_ : count <= rows_;
    if (has_rows && std::equal(sizes.begin(), sizes.end(), sizes_.begin(),
                               sizes_.end(), std::less_equal<>()))
      return;
    if (is_sqlite_ && !has_rows) Prepare(count);
    rows_ = count;
    sizes_ = sizes;
    // Some room to grow, so that not every block binds anew.
    for (std::size_t& size : sizes_) size += size / 4;
    for (std::size_t i = 0; i < arrays_.size(); ++i) {
      arrays_[i].Reserve(rows_, sizes_[i]);
      Bind(i);
    }
    states_.assign(rows_, SQL_PARAM_SUCCESS);
    set_count_ = 0;
  }

  // The statement anew, with so many rows in it.
  void Prepare(std::size_t rows) {
    std::string row = "(?";
    for (std::size_t i = 1; i < sources_.size(); ++i) row += ", ?";
    row += ')';
    std::string text = text_ + row;
    for (std::size_t i = 1; i < rows; ++i) text += ", " + row;
    statement_ = std::make_unique<OdbcStatement>(odbc_);
    statement_->Prepare(text);
  }

  void Bind(std::size_t source) {
    const std::size_t count = is_sqlite_ ? rows_ : 1;
    for (std::size_t row = 0; row < count; ++row)
      arrays_[source].Bind(
          *statement_,
          static_cast<SQLUSMALLINT>(row * sources_.size() + source + 1), row);
  }

  // Whether the driver executes a statement for many rows in one call.
  bool TakesSets() const {
    SQLULEN size = 0;
    const SQLRETURN result =
        SQLSetStmtAttr(statement_->handle(), SQL_ATTR_PARAMSET_SIZE,
                       NumberAttribute(kMaxBlock), 0);
    return SQL_SUCCEEDED(result) &&
           SQL_SUCCEEDED(SQLGetStmtAttr(statement_->handle(),
                                        SQL_ATTR_PARAMSET_SIZE, &size,
                                        sizeof size, nullptr)) &&
           size == kMaxBlock;
  }

  void Execute(std::size_t count) {
    if (has_sets_ && set_count_ != count) {
      set_count_ = count;
      statement_->SetAttribute(SQL_ATTR_PARAMSET_SIZE, count);
      statement_->SetAttribute(SQL_ATTR_PARAM_STATUS_PTR, states_.data());
    }
    // SQLite's driver gives a binary value the length that it had when bound.
    for (std::size_t i = 0; is_sqlite_ && i < sources_.size(); ++i)
      if (sources_[i].type == DM_BINARY) Bind(i);
    statement_->ExecutePrepared();
    // Of several sets, a driver reports those that failed beside its success.
    for (std::size_t row = 0; has_sets_ && row < count; ++row)
      if (states_[row] == SQL_PARAM_ERROR)
        odbc_.RaiseFrom(SQL_HANDLE_STMT, statement_->handle());
  }

  OdbcConnection& odbc_;
  const std::string text_;  // up to the rows
  std::unique_ptr<OdbcStatement> statement_;
  std::vector<Source> sources_;
  std::vector<ParameterArray> arrays_;  // of a source each
  std::vector<std::size_t> sizes_;
  std::vector<SQLUSMALLINT> states_;
  std::size_t most_ = 1;  // rows of a block
  std::size_t rows_ = 0;  // that there is room for
  std::size_t set_count_ = 0;
  const bool is_sqlite_;
  bool has_sets_ = false;
};

// All or nothing of what happens between its making and Keep.
class AllOrNothing {
 public:
  explicit AllOrNothing(Connection& connection)
      : connection_(connection), is_inner_(connection.IsInTransaction()) {
    if (!is_inner_) {
      connection_.BeginTrans();
    } else if (const std::string mark = SavepointStatement(connection_.Odbc());
               !mark.empty()) {
      connection_.Odbc().Execute(mark);
    }
  }
  ~AllOrNothing() {
    if (is_kept_) return;
    try {
      if (!is_inner_) {
        connection_.RollbackTrans();
      } else if (const std::string back =
                     RollbackToSavepointStatement(connection_.Odbc());
                 !back.empty()) {
        connection_.Odbc().Execute(back);
      }
    } catch (const _com_error&) {
      // The connection is gone, and the rows with it.
    } catch (const std::bad_alloc&) {
    }
  }
  AllOrNothing(const AllOrNothing&) = delete;
  AllOrNothing& operator=(const AllOrNothing&) = delete;

  void Keep() {
    if (!is_inner_) {
      connection_.CommitTrans();
    } else if (const std::string end =
                   ReleaseSavepointStatement(connection_.Odbc());
               !end.empty()) {
      connection_.Odbc().Execute(end);
    }
    is_kept_ = true;
  }

 private:
  Connection& connection_;
  const bool is_inner_;
  bool is_kept_ = false;
};

}  // namespace

InsertReport InsertRecords(const std::shared_ptr<Connection>& connection,
                           const std::string& table,
                           const std::vector<AnyObject>& records) {
  connection->RequireWritable();
  if (records.empty()) return {};
  for (const AnyObject& record : records)
    if (!record) Raise(kInvalidArgument, "a record is missing");
  std::vector<Source> sources = SourcesOf(records);
  const std::string statement = InsertStatement(connection, table, sources);
  AllOrNothing all(*connection);
  Insertion insertion(*connection, statement, std::move(sources));
  insertion.Insert(records);
  all.Keep();
  return {insertion.cut_count()};
}

}  // namespace kiv::store::ado
