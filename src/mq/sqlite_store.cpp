#include "mq/sqlite_store.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "mq/sqlite_connection.h"
#include "mq/sqlite_queue_file.h"
#include "port/file.h"
#include "port/private_file.h"
#include "util/cp936.h"
#include "util/utf8.h"

namespace kiv::mq {
namespace {

using Result = SqliteStatement::Result;

class SqliteStore final : public MessageStore {
 public:
  SqliteStore(std::string path, QueueName name)
      : path_(std::move(path)), name_(std::move(name)) {}

  bool Open(std::string& reason) {
    opened_.reset();
    auto file = OpenQueueFile(path_, name_, reason);
    if (file == nullptr) return false;
    opened_ = std::make_unique<Opened>(std::move(file));
    is_spent_ = false;
    return true;
  }

  bool Send(const StoredMessage& message, std::string& reason) override {
    if (!IsReady(reason)) return false;
    const std::string label = Cp936ToUtf8(message.label);
    SqliteStatement& insert = opened_->insert;
    const StatementRun run(insert);
    insert.BindText(1, message.id);
    insert.BindNumber(2, message.sent_ms.value_or(0));
    insert.BindText(3, label);
    insert.BindBytes(4, message.body);
    return insert.Step() == Result::Done || Fail(reason);
  }

  Step Receive(StoredMessage& message, std::string& reason) override {
    if (!IsReady(reason)) return Step::Failed;
    // Found, read and gone, or none of it: also when there is no memory for it.
    Transaction transaction(*opened_);
    if (!transaction.Begin()) return FailedStep(reason);
    const Step step = Read(opened_->take, message, reason);
    if (step == Step::Failed) return step;
    return transaction.Commit() ? step : FailedStep(reason);
  }
  Step Peek(StoredMessage& message, std::string& reason) override {
    return IsReady(reason) ? Read(opened_->look, message, reason)
                           : Step::Failed;
  }

  bool Summarize(StoreSummary& summary, std::string& reason) override {
    if (!IsReady(reason)) return false;
    SqliteStatement& count = opened_->count;
    const StatementRun run(count);
    if (count.Step() != Result::Row) return Fail(reason);
    summary.messages = static_cast<unsigned long long>(count.Number(0));
    summary.oldest_ms.reset();
    if (!count.IsNull(1)) summary.oldest_ms = count.Number(1);
    return true;
  }

  bool Purge(unsigned long long& removed, std::string& reason) override {
    if (!IsReady(reason)) return false;
    const std::int64_t before = opened_->file->Changes();
    if (!opened_->file->Execute("DELETE FROM message")) return Fail(reason);
    removed =
        static_cast<unsigned long long>(opened_->file->Changes() - before);
    // Gives the room back; a reader in the way only puts that off.
    opened_->file->Execute(
        "PRAGMA incremental_vacuum; PRAGMA wal_checkpoint(TRUNCATE)");
    return true;
  }

 private:
  struct Opened {
    explicit Opened(std::unique_ptr<SqliteConnection> connection)
        : file(std::move(connection)) {}

    const std::unique_ptr<SqliteConnection> file;
    SqliteStatement insert{
        *file, "INSERT INTO message(id, sent, label, body) VALUES(?, ?, ?, ?)"};
    SqliteStatement look{*file,
                         "SELECT id, sent, label, body FROM message "
                         "ORDER BY seq LIMIT 1"};
    SqliteStatement begin{*file, "BEGIN IMMEDIATE"};
    SqliteStatement commit{*file, "COMMIT"};
    SqliteStatement rollback{*file, "ROLLBACK"};
    SqliteStatement take{*file,
                         "DELETE FROM message WHERE seq = "
                         "(SELECT min(seq) FROM message) "
                         "RETURNING id, sent, label, body"};
    SqliteStatement count{*file,
                          "SELECT count(*), (SELECT sent FROM message "
                          "ORDER BY seq LIMIT 1) FROM message"};
  };

  // Rolled back unless it is committed.
  class Transaction {
   public:
    explicit Transaction(Opened& opened) : opened_(opened) {}
    ~Transaction() {
      if (is_begun_) Run(opened_.rollback);
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    bool Begin() { return is_begun_ = Run(opened_.begin); }
    bool Commit() {
      const bool is_committed = Run(opened_.commit);
      is_begun_ = !is_committed;
      return is_committed;
    }

   private:
    static bool Run(SqliteStatement& statement) {
      const StatementRun run(statement);
      return statement.Step() == Result::Done;
    }

    Opened& opened_;
    bool is_begun_ = false;
  };

  // A file that was moved or removed under us would swallow what is sent.
  bool IsReady(std::string& reason) {
    if (opened_ != nullptr && !is_spent_ && !opened_->file->IsMoved())
      return true;
    return Open(reason);
  }

  Step Read(SqliteStatement& statement, StoredMessage& message,
            std::string& reason) {
    const StatementRun run(statement);
    Result result = statement.Step();
    const bool is_there = result == Result::Row;
    if (is_there) {
      Fill(statement, message);
      result = statement.Step();
    }
    if (result != Result::Done) return FailedStep(reason);
    return is_there ? Step::Message : Step::Empty;
  }

  static void Fill(const SqliteStatement& row, StoredMessage& message) {
    message = {};
    message.id = row.Bytes(0);
    message.sent_ms = row.Number(1);
    const std::string_view label = row.Bytes(2);
    if (IsUtf8(label))
      message.label = Utf8ToCp936(label);
    else
      message.label_fault = "the label is no UTF-8 text";
    message.body = row.Bytes(3);
  }

  bool Fail(std::string& reason) {
    reason = opened_->file->Fault();
    is_spent_ = opened_->file->IsFaultLasting();
    // Its tables go before its file does.
    if (IsDeleted(*opened_->file)) {
      reason = "there is no such queue";
      is_spent_ = true;
    }
    return false;
  }
  Step FailedStep(std::string& reason) {
    Fail(reason);
    return Step::Failed;
  }

  const std::string path_;
  const QueueName name_;
  std::unique_ptr<Opened> opened_;
  bool is_spent_ = false;  // the next call opens it anew
};

}  // namespace

bool SqliteStores::Create(const QueueName& name, const std::string& label,
                          std::string& reason) {
  if (!port::CreatePrivateDirectory(folder_)) {
    const int error = port::LastError();
    port::FileAttributes attributes;
    if (!port::IsAlreadyThere(error)) {
      reason = "the folder " + folder_ +
               " cannot be created: " + port::ErrorText(error);
      return false;
    }
    if (!port::GetFileAttributesA(folder_, attributes) ||
        !attributes.is_directory) {
      reason = folder_ + " is no folder";
      return false;
    }
  }
  const std::string path = FileOf(name);
  if (port::GetEntryState(path).kind != port::EntryKind::Missing &&
      !RemoveHalfDeleted(path, name))
    return true;
  return CreateQueueFile(folder_, name, label, reason);
}

bool SqliteStores::Delete(const QueueName& name, std::string& reason) {
  return DeleteQueueFile(FileOf(name), name, reason);
}

std::unique_ptr<MessageStore> SqliteStores::Open(const QueueName& name,
                                                 std::string& reason) {
  auto store = std::make_unique<SqliteStore>(FileOf(name), name);
  if (!store->Open(reason)) return nullptr;
  return store;
}

bool SqliteStores::List(std::vector<QueueName>& names, std::string& reason) {
  std::vector<QueueName> found;
  const auto search = port::FileSearch::Open(folder_);
  if (search == nullptr) {
    const int error = port::LastError();
    if (!port::IsNotFound(error)) {
      reason = folder_ + ": " + port::ErrorText(error);
      return false;
    }
    names.clear();
    return true;
  }
  std::string file;
  port::FileSearch::Step step;
  while ((step = search->Next(file)) == port::FileSearch::Step::Entry) {
    QueueName name;
    if (QueueName::FromFile(file, name)) found.push_back(name);
  }
  if (step == port::FileSearch::Step::Failed) {
    reason = folder_ + ": " + port::ErrorText(port::LastError());
    return false;
  }
  std::sort(found.begin(), found.end(),
            [](const QueueName& a, const QueueName& b) {
              return a.Text() < b.Text();
            });
  names = std::move(found);
  return true;
}

bool SqliteStores::Check(const QueueName& name, std::string& remark,
                         std::string& reason) {
  const port::EntryState folder = port::GetEntryState(folder_);
  if (folder.kind == port::EntryKind::Missing) {
    const std::string parent = folder_.substr(0, folder_.rfind('/'));
    if (port::MayChangeDirectory(parent)) return true;
    reason = "the folder " + folder_ +
             " cannot be created: " + port::ErrorText(port::LastError());
    return false;
  }
  port::FileAttributes attributes;
  if (!port::GetFileAttributesA(folder_, attributes) ||
      !attributes.is_directory) {
    reason = folder_ + " is no folder";
    return false;
  }
  if (!port::MayChangeDirectory(folder_)) {
    reason = "the folder " + folder_ +
             " may not be written: " + port::ErrorText(port::LastError());
    return false;
  }
  if (folder.kind == port::EntryKind::Directory && folder.is_open_to_others)
    remark = "others may enter the folder " + folder_ + ": chmod 700";
  const port::EntryState file = port::GetEntryState(FileOf(name));
  if (file.kind == port::EntryKind::Missing) return true;
  if (file.is_open_to_others && file.kind == port::EntryKind::File)
    remark = "others may read " + FileOf(name) + ": chmod 600";
  return OpenQueueFile(FileOf(name), name, reason) != nullptr;
}

}  // namespace kiv::mq
