#include "kiv/store/rows.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "kiv/store/ado_connection.h"
#include "kiv/store/ado_recordset.h"
#include "store/ado/records.h"
#include "store/rows_messages.h"
#include "util/log_entry.h"

namespace kiv::store {
namespace {

// The one place where what the database says becomes an answer.
template <typename Call, typename Answer>
Answer Guarded(const char* operation, const std::string& subject, Call&& call,
               Answer failed) {
  std::string why;
  try {
    return call();
  } catch (const _com_error& error) {
    why = ado::DescriptionOf(error);
  } catch (const std::exception& error) {
    why = Shown(error.what());
  }
  LogError("db", message::RowsFailed(operation, Shown(subject), why));
  return failed;
}

}  // namespace

struct RowReader::Impl {
  std::shared_ptr<ado::Connection> connection;
  std::unique_ptr<ado::RowCursor> cursor;
  std::unique_ptr<ado::RecordFiller> filler;
  std::vector<std::string> names;
  bool has_failed = false;
};

RowReader::RowReader(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {
  for (std::size_t i = 0; i < impl_->cursor->size(); ++i)
    impl_->names.push_back(impl_->cursor->Info(i).name);
}

RowReader::~RowReader() = default;

bool RowReader::Next() {
  if (impl_->has_failed) return false;
  impl_->has_failed = true;
  return Guarded(
      "RowReader::Next", "",
      [this] {
        const bool is_there = impl_->cursor->Next();
        impl_->has_failed = false;
        return is_there;
      },
      false);
}

bool RowReader::HasFailed() const { return impl_->has_failed; }

const std::vector<std::string>& RowReader::ColumnNames() const {
  return impl_->names;
}

dm::ObjectPtr<int*> RowReader::Value(std::size_t column) const {
  if (column >= impl_->names.size() || !impl_->cursor->is_on_row()) return {};
  return Guarded(
      "RowReader::Value", impl_->names[column],
      [&] { return ado::ObjectOf(*impl_->cursor, column); },
      dm::ObjectPtr<int*>());
}

bool RowReader::Fill(const dm::ObjectPtr<int*>& record) {
  return Guarded(
      "RowReader::Fill", "",
      [&] {
        void* const metadata = dm_o_metadata(record.get());
        if (impl_->filler == nullptr || impl_->filler->metadata() != metadata)
          impl_->filler =
              std::make_unique<ado::RecordFiller>(*impl_->cursor, metadata);
        impl_->filler->Fill(record.get());
        return true;
      },
      false);
}

struct Rows::Impl {
  std::shared_ptr<ado::Connection> connection;
};

Rows::Rows(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Rows::~Rows() = default;

std::shared_ptr<Rows> Rows::On(const std::shared_ptr<Connection>& connection) {
  const auto* const ado = dynamic_cast<AdoConnection*>(connection.get());
  if (ado == nullptr || !ado->Inner()->IsOpen()) {
    LogError("db", message::RowsFailed("Rows::On", "", message::NoDatabase()));
    return nullptr;
  }
  return std::make_shared<Rows>(std::make_unique<Impl>(Impl{ado->Inner()}));
}

bool Rows::Insert(const std::string& table,
                  const std::vector<dm::ObjectPtr<int*>>& records) {
  return Guarded(
      "Rows::Insert", table,
      [&] {
        const auto report =
            ado::InsertRecords(impl_->connection, table, records);
        if (report.cut_dates > 0)
          LogWarning("db", message::DatesCut(Shown(table), report.cut_dates));
        return true;
      },
      false);
}

long long Rows::Execute(const std::string& statement,
                        const Parameters& parameters) {
  return Guarded(
      "Rows::Execute", statement,
      [&] {
        // Of a statement that changes no rows a driver need not know.
        return std::max(0LL, ado::ExecuteStatement(*impl_->connection,
                                                   statement, parameters));
      },
      -1LL);
}

std::shared_ptr<RowReader> Rows::Query(const std::string& statement,
                                       const Parameters& parameters) {
  return Guarded(
      "Rows::Query", statement,
      [&] {
        auto impl = std::make_unique<RowReader::Impl>();
        impl->connection = impl_->connection;
        impl->cursor =
            ado::OpenQuery(*impl_->connection, statement, parameters);
        return std::make_shared<RowReader>(std::move(impl));
      },
      std::shared_ptr<RowReader>());
}

bool FillRecord(Recordset& recordset, const dm::ObjectPtr<int*>& record) {
  return Guarded(
      "FillRecord", "",
      [&] {
        auto* const ado = dynamic_cast<AdoRecordset*>(&recordset);
        if (ado == nullptr)
          ado::Raise(ado::kInvalidArgument, message::NoDatabase());
        ado->Inner().Fill(record.get());
        return true;
      },
      false);
}

}  // namespace kiv::store
