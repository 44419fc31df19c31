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
#include "kiv/mq/msmq_queue.h"

namespace {

namespace fs = std::filesystem;

using kiv::mq::QueueInfo;

constexpr int kMessages = 50;
constexpr int kRounds = 30;
constexpr char kQueue[] = "orders";

const std::string& Body() {
  static const std::string body(512, 'b');
  return body;
}

// A service folder on the disk that the program runs on: /tmp may be memory.
class Service {
 public:
  Service() : before_(fs::current_path()) {
    folder_ = before_ / ("kiv_queue_bench_" + std::to_string(std::rand()));
    fs::create_directories(folder_ / "bin");
    fs::create_directories(folder_ / "queues");
    fs::permissions(folder_ / "queues", fs::perms::owner_all);
    fs::current_path(folder_ / "bin");
  }
  ~Service() {
    fs::current_path(before_);
    fs::remove_all(folder_);
  }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

 private:
  fs::path before_;
  fs::path folder_;
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
  bool Send() { return sender_->Send(Body()); }
  bool Receive() {
    const auto message = receiver_->Receive();
    std::string body;
    return message != nullptr && message->GetBody(body) &&
           body.size() == Body().size();
  }

 private:
  const Service service_;
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

  bool Send() {
    Run(begin_);
    sqlite3_bind_text(insert_, 1, "f81d4fae-7dec-11d0-a765-00a0c91e6bf6", 36,
                      SQLITE_STATIC);
    sqlite3_bind_int64(insert_, 2, 1'700'000'000'000);
    sqlite3_bind_text(insert_, 3, "", 0, SQLITE_STATIC);
    sqlite3_bind_blob(insert_, 4, Body().data(),
                      static_cast<int>(Body().size()), SQLITE_STATIC);
    return Run(insert_) && Run(commit_);
  }
  bool Receive() {
    Run(begin_);
    std::string body;
    if (sqlite3_step(take_) == SQLITE_ROW)
      body.assign(static_cast<const char*>(sqlite3_column_blob(take_, 3)),
                  static_cast<std::size_t>(sqlite3_column_bytes(take_, 3)));
    sqlite3_reset(take_);
    return Run(commit_) && body.size() == Body().size();
  }

 private:
  void Execute(const char* sql) {
    sqlite3_exec(file_, sql, nullptr, nullptr, nullptr);
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

  const Service service_;
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
// pleases: the two sides take turns message by message, and the medians are
// compared.
struct Times {
  std::vector<double> ours;
  std::vector<double> peer;

  void Take(bool is_ours_first, const std::function<bool()>& our_step,
            const std::function<bool()>& peer_step) {
    if (is_ours_first) ours.push_back(SecondsOf(our_step));
    peer.push_back(SecondsOf(peer_step));
    if (!is_ours_first) ours.push_back(SecondsOf(our_step));
  }
  double Figure(const char* what) const {
    std::fprintf(stderr, "%s: ours %.0f, bare SQLite %.0f messages/s\n", what,
                 1 / bench::Median(ours), 1 / bench::Median(peer));
    return bench::Median(ours) / bench::Median(peer);
  }
};

struct Figures {
  double send = 0;
  double receive = 0;
};

// Both are measured in one go: what is received has to be sent.
Figures Measure() {
  OurQueue ours;
  Statements peer;
  Times sends;
  Times receives;
  for (int round = 0; round < kRounds; ++round) {
    for (int i = 0; i < kMessages; ++i)
      sends.Take(
          i % 2 == 0, [&] { return ours.Send(); }, [&] { return peer.Send(); });
    for (int i = 0; i < kMessages; ++i)
      receives.Take(
          i % 2 == 0, [&] { return ours.Receive(); },
          [&] { return peer.Receive(); });
  }
  return {sends.Figure("durable send"), receives.Figure("durable receive")};
}

const Figures& Measured() {
  static const Figures figures = Measure();
  return figures;
}

// At least 0.9 of the peer's rate.
constexpr double kLimit = 1 / 0.9;

const bool send = bench::StayBelow("mq/durable_send", "x bare SQLite", kLimit,
                                   [] { return Measured().send; });
const bool receive =
    bench::StayBelow("mq/durable_receive", "x bare SQLite", kLimit,
                     [] { return Measured().receive; });

}  // namespace
