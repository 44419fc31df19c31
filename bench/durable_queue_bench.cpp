// Durable messages a second: a queue in a file against bare statements on a
// file of the same layout and durability, one message a transaction.
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "compare.h"
#include "folder.h"
#include "kiv/mq/msmq_queue.h"

namespace {

namespace fs = std::filesystem;

using kiv::mq::QueueInfo;

constexpr char kQueue[] = "orders";

constexpr std::size_t kBodyBytes = 512;

// A service folder; the program runs in it.
class Service {
 public:
  Service() {
    fs::create_directories(folder_.path() / "bin");
    fs::create_directories(folder_.path() / "queues");
    fs::permissions(folder_.path() / "queues", fs::perms::owner_all);
    fs::current_path(folder_.path() / "bin");
  }
  ~Service() { fs::current_path(before_); }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

 private:
  const fs::path before_ = fs::current_path();
  const bench::Folder folder_{before_};
};

class OurQueue {
 public:
  OurQueue() {
    kiv::mq::MsmqQueueInfo queues;
    queues.Create(kQueue, nullptr, false);
    sender_ = queues.OpenQueue(kQueue, QueueInfo::ACCESS_SEND);
    receiver_ = queues.OpenQueue(kQueue, QueueInfo::ACCESS_RECEIVE);
    if (sender_ == nullptr || receiver_ == nullptr)
      throw std::runtime_error(queues.LastError());
  }
  bool Send(const std::string& body) { return sender_->Send(body); }
  bool Receive() {
    const auto message = receiver_->Receive();
    std::string body;
    return message != nullptr && message->GetBody(body) &&
           body.size() == kBodyBytes;
  }

 private:
  std::shared_ptr<kiv::mq::MsmqQueue> sender_;
  std::shared_ptr<kiv::mq::MsmqQueue> receiver_;
};

// What one would write for one queue: prepared statements, no checks.
class Statements {
 public:
  Statements() {
    if (sqlite3_open("../queues/peer", &file_) != SQLITE_OK)
      throw std::runtime_error("the peer's file does not open");
    Execute(
        "PRAGMA auto_vacuum = INCREMENTAL; PRAGMA journal_mode = WAL;"
        "PRAGMA synchronous = FULL; PRAGMA secure_delete = FAST;"
        "CREATE TABLE message(seq INTEGER PRIMARY KEY, id TEXT NOT NULL,"
        " sent INTEGER NOT NULL, label TEXT NOT NULL, body BLOB NOT NULL)"
        " STRICT");
    begin_ = Prepare("BEGIN IMMEDIATE");
    commit_ = Prepare("COMMIT");
    insert_ = Prepare(
        "INSERT INTO message(id, sent, label, body) VALUES(?, ?, ?, ?)");
    take_ = Prepare(
        "DELETE FROM message WHERE seq = (SELECT min(seq) FROM message) "
        "RETURNING id, sent, label, body");
  }
  ~Statements() {
    for (sqlite3_stmt* statement : {begin_, commit_, insert_, take_})
      sqlite3_finalize(statement);
    sqlite3_close(file_);
  }
  Statements(const Statements&) = delete;
  Statements& operator=(const Statements&) = delete;

  bool Send(const std::string& body) {
    Run(begin_);
    sqlite3_bind_text(insert_, 1, "f81d4fae-7dec-11d0-a765-00a0c91e6bf6", 36,
                      SQLITE_STATIC);
    sqlite3_bind_int64(insert_, 2, 1'700'000'000'000);
    sqlite3_bind_text(insert_, 3, "", 0, SQLITE_STATIC);
    sqlite3_bind_blob(insert_, 4, body.data(), static_cast<int>(body.size()),
                      SQLITE_STATIC);
    return Run(insert_) && Run(commit_);
  }
  bool Receive() {
    Run(begin_);
    std::string body;
    if (sqlite3_step(take_) == SQLITE_ROW)
      body.assign(static_cast<const char*>(sqlite3_column_blob(take_, 3)),
                  static_cast<std::size_t>(sqlite3_column_bytes(take_, 3)));
    sqlite3_reset(take_);
    return Run(commit_) && body.size() == kBodyBytes;
  }

 private:
  void Execute(const char* sql) {
    if (sqlite3_exec(file_, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
      throw std::runtime_error(sqlite3_errmsg(file_));
  }
  sqlite3_stmt* Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v3(file_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement,
                       nullptr);
    return statement;
  }
  static bool Run(sqlite3_stmt* statement) {
    const bool is_done = sqlite3_step(statement) == SQLITE_DONE;
    sqlite3_reset(statement);
    return is_done;
  }

  sqlite3* file_ = nullptr;
  sqlite3_stmt* begin_ = nullptr;
  sqlite3_stmt* commit_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
  sqlite3_stmt* take_ = nullptr;
};

double SecondsOf(const std::function<bool()>& step) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  if (!step()) throw std::runtime_error("a queue of the benchmark failed");
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// A disk's syncs take a fifth of a millisecond or twenty of them, as it
// pleases: the two sides take turns message by message.
bench::Effort MessageByMessage(const bench::Effort& effort) {
  return {20, 100'000, effort.seconds};
}

bench::Rounds SendAll(std::size_t bytes, const bench::Effort& effort) {
  const std::string body(bytes, 'b');
  const Service service;
  OurQueue ours;
  Statements peer;
  return bench::TakeTurns(
      MessageByMessage(effort),
      [&] { return SecondsOf([&] { return ours.Send(body); }); },
      [&] { return SecondsOf([&] { return peer.Send(body); }); });
}

// What each holds once it is many times as much: a million syncs take long.
void Multiply(const fs::path& queue, std::size_t messages) {
  sqlite3* file = nullptr;
  const std::string insert =
      "WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i "
      "< " +
      std::to_string(messages) +
      ") INSERT INTO message(id, sent, label, body) SELECT id, sent, label, "
      "body FROM n, (SELECT * FROM message LIMIT 1)";
  const bool is_done = sqlite3_open(queue.c_str(), &file) == SQLITE_OK &&
                       sqlite3_exec(file, insert.c_str(), nullptr, nullptr,
                                    nullptr) == SQLITE_OK;
  sqlite3_close(file);
  if (!is_done) throw std::runtime_error("no messages in " + queue.string());
}

// So many others lie in the queue all the while.
bench::Rounds ReceiveAll(std::size_t lying, const bench::Effort& effort) {
  const std::string body(kBodyBytes, 'b');
  const Service service;
  OurQueue ours;
  Statements peer;
  ours.Send(body);
  peer.Send(body);
  for (const auto& queue : fs::directory_iterator("../queues"))
    if (queue.path().filename().string().find('-') == std::string::npos)
      Multiply(queue.path(), lying);
  return bench::TakeTurns(
      MessageByMessage(effort),
      [&] {
        ours.Send(body);
        return SecondsOf([&] { return ours.Receive(); });
      },
      [&] {
        peer.Send(body);
        return SecondsOf([&] { return peer.Receive(); });
      });
}

const bool send = bench::CompareRounds(
    {"mq/durable_send", "messages/s", bench::One, "bare SQLite", 0.9},
    bench::Curve{"bytes of a message", kBodyBytes, {16, 16'384, 1 << 20}},
    SendAll);
const bool receive = bench::CompareRounds(
    {"mq/durable_receive", "messages/s", bench::One, "bare SQLite", 0.9},
    bench::Curve{"messages that lie there", 50, {1'000, 10'000, 100'000}},
    ReceiveAll);

}  // namespace
