// A durable queue whose file is damaged, locked, full or not what it seems.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "kiv/mq/msmq_queue.h"
#include "kiv/startup.h"
#include "testing/service_folder.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

using mq::QueueInfo;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr char kFile[] = "../queues/orders.queue";
constexpr char kNoDisk[] = "a disk cannot be mounted here";
constexpr char kLog[] = "../queues/orders.queue-wal";
constexpr int kReceive = QueueInfo::ACCESS_RECEIVE;
constexpr int kSend = QueueInfo::ACCESS_SEND;

class Scenario15QueueFile : public ::testing::Test {
 protected:
  Scenario15QueueFile() { GlobalInit(); }
  ~Scenario15QueueFile() override {
    ::umount2("../queues", MNT_DETACH);
    GlobalUninit();
  }

  bool TryToCreate() { return queues_.Create("orders", nullptr, false); }
  void Create() { ASSERT_TRUE(TryToCreate()) << queues_.LastError(); }
  std::shared_ptr<mq::MsmqQueue> Open(int access) {
    return queues_.OpenQueue("orders", access);
  }
  void Send(int messages) {
    const auto sender = Open(kSend);
    for (int i = 0; i < messages; ++i)
      ASSERT_TRUE(sender->Send(std::string(300, 'x')));
  }
  int Drain() {
    const auto receiver = Open(kReceive);
    int count = 0;
    while (receiver->Receive() != nullptr) ++count;
    return count;
  }
  // The folder of the queues is a small disk, until the end.
  static bool MountDisk(const char* options) {
    fs::create_directory("../queues");
    return ::mount("none", "../queues", "tmpfs", 0, options) == 0;
  }

  const ServiceFolder service_;
  mq::MsmqQueueInfo queues_;
};

// Another program at the same file, with a lock as strong as it asks for.
std::shared_ptr<sqlite3> Execute(const char* sql) {
  sqlite3* file = nullptr;
  EXPECT_EQ(::sqlite3_open(kFile, &file), SQLITE_OK);
  EXPECT_EQ(::sqlite3_exec(file, sql, nullptr, nullptr, nullptr), SQLITE_OK)
      << ::sqlite3_errmsg(file);
  return {file, &::sqlite3_close};
}
void WriteAt(std::size_t offset, const std::string& bytes) {
  std::fstream file(kFile, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(offset));
  file << bytes;
}
void CutInAPage() { fs::resize_file(kFile, fs::file_size(kFile) - 1000); }
void PageGone() {
  WriteAt(fs::file_size(kFile) / 4096 / 2 * 4096, std::string(4096, '\x5A'));
}
void OtherDatabase() {
  fs::remove(kFile);
  Execute("CREATE TABLE accounts(x)");
}
void Link() {
  fs::rename(kFile, "elsewhere");
  fs::create_symlink(fs::absolute("elsewhere"), kFile);
}
void Pipe() {
  fs::remove(kFile);
  ::mkfifo(kFile, 0600);
}

TEST_F(Scenario15QueueFile, DamagedIsRefusedWithItsReasonAndLeftAsItIs) {
  const struct {
    const char* name;
    void (*inflict)();
    const char* reason;  // a part of it
  } rows[] = {
      {"header", [] { WriteAt(0, std::string(100, '\0')); }, "damaged"},
      {"cut in a page", CutInAPage, "damaged"},
      {"page in the middle", PageGone, "damaged"},
      {"empty", [] { fs::resize_file(kFile, 0); }, "no queue"},
      {"other database", OtherDatabase, "no queue"},
      {"newer", [] { Execute("PRAGMA user_version = 2"); }, "format 2"},
      {"other", [] { Execute("UPDATE queue SET name = 'other'"); }, "'other'"},
      {"link", Link, "no regular file"},
      {"pipe", Pipe, "no regular file"}};
  for (const auto& [name, inflict, reason] : rows) {
    SCOPED_TRACE(name);
    fs::remove_all("../queues");
    Create();
    Send(200);
    Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    inflict();
    const bool is_file = fs::is_regular_file(fs::symlink_status(kFile));
    const std::string before = is_file ? ReadTestFile(kFile) : "";
    TryToCreate();  // A host creates what is missing before it opens.
    const auto start = steady_clock::now();
    for (const int access : {int{QueueInfo::ACCESS_PEEK}, kReceive, kSend}) {
      EXPECT_EQ(Open(access), nullptr);
      EXPECT_NE(queues_.LastError().find(reason), std::string::npos)
          << queues_.LastError();
    }
    EXPECT_LT(steady_clock::now() - start, seconds(5));
    EXPECT_TRUE(!is_file || ReadTestFile(kFile) == before) << "it was changed";
  }
  EXPECT_TRUE(service_.log.Has("MsmqQueueInfo::Open Failed: 'orders': "));
}

TEST_F(Scenario15QueueFile, DamagedWhileItIsOpenFailsWithoutAWrongMessage) {
  Create();
  Send(200);
  Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  const auto receiver = Open(kReceive);
  // Not by the file's name: closing it would drop the receiver's locks.
  const std::string damaged =
      ReadTestFile(kFile).replace(8192, 40'000, 40'000, 'D');
  WriteTestFile("damaged", damaged);
  fs::rename("damaged", kFile);
  EXPECT_EQ(receiver->Receive(), nullptr);
  EXPECT_NE(receiver->LastError().find("damaged"), std::string::npos)
      << receiver->LastError();
  EXPECT_TRUE(ReadTestFile(kFile) == damaged);
}

// No lock of a reader keeps a queue from working.
TEST_F(Scenario15QueueFile, WorksBesideAReader) {
  Create();
  Send(3);
  const auto reader = Execute("BEGIN; SELECT count(*) FROM message");
  Send(2);
  EXPECT_EQ(Drain(), 5);
}

TEST_F(Scenario15QueueFile, LockedWaitsForAWhileAndLosesNothing) {
  Create();
  Send(2);
  const auto sender = Open(kSend);
  const auto receiver = Open(kReceive);
  auto locker = Execute("BEGIN IMMEDIATE");
  const auto start = steady_clock::now();
  EXPECT_FALSE(sender->Send("refused"));
  EXPECT_EQ(sender->LastError(),
            "another program has kept its file locked for 3 seconds");
  EXPECT_EQ(receiver->Receive(), nullptr);
  EXPECT_EQ(receiver->LastError(), sender->LastError());
  EXPECT_GT(steady_clock::now() - start, seconds(6));
  EXPECT_LT(steady_clock::now() - start, seconds(20));
  EXPECT_EQ(service_.log.Count("kept its file locked"), 2);
  // Locked for a moment, it is waited for.
  const auto release = std::async(std::launch::async, [&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    locker.reset();
  });
  EXPECT_TRUE(sender->Send("accepted"));
  release.wait();
  EXPECT_NE(receiver->Receive(), nullptr);
  EXPECT_EQ(receiver->LastError(), "");
  EXPECT_EQ(Drain(), 2);
}

TEST_F(Scenario15QueueFile, WithoutRoomRefusesAndKeepsWhatItAcknowledged) {
  if (!MountDisk("size=2m,mode=700")) GTEST_SKIP() << kNoDisk;
  Create();
  WriteTestFile("../queues/filler", std::string(1 << 20, 'f'));
  const std::string body(20'000, 'x');
  int sent = 0;
  const auto sender = Open(kSend);
  while (sent < 1000 && sender->Send(body)) ++sent;
  EXPECT_EQ(sender->LastError(), "the disk is full");
  EXPECT_FALSE(sender->Send(body));
  fs::remove("../queues/filler");
  EXPECT_TRUE(sender->Send(body));
  EXPECT_EQ(sender->LastError(), "");
  EXPECT_GT(sent, 5);
  EXPECT_EQ(Drain(), sent + 1);
}

TEST_F(Scenario15QueueFile, MadeOnAFullDiskIsWholeOrNotThere) {
  if (!MountDisk("size=256k,mode=700")) GTEST_SKIP() << kNoDisk;
  int refused = 0;
  for (std::size_t pages = 64; pages > 20; --pages) {
    WriteTestFile("../queues/filler", std::string(pages * 4096, 'f'));
    refused += TryToCreate() ? 0 : 1;
    fs::remove("../queues/filler");
    SCOPED_TRACE(std::to_string(pages) + " pages taken");
    Create();
    Send(1);
    ASSERT_EQ(Drain(), 1);
    ASSERT_TRUE(queues_.Delete("orders"));
    ASSERT_TRUE(fs::is_empty("../queues"));
  }
  EXPECT_GT(refused, 5);
  EXPECT_LT(refused, 40);
}

TEST_F(Scenario15QueueFile, IsForItsOwnerAlone) {
  const mode_t before = ::umask(0);
  Create();
  const auto receiver = Open(kReceive);
  Send(1);
  ::umask(before);
  EXPECT_EQ(fs::status("../queues").permissions(), fs::perms::owner_all);
  int files = 0;
  for (const auto& entry : fs::directory_iterator("../queues")) {
    EXPECT_EQ(entry.status().permissions(), fs::perms(0600)) << entry.path();
    ++files;
  }
  EXPECT_EQ(files, 3) << "the file, its log and the log's index";
}

TEST_F(Scenario15QueueFile, RemovedOrReplacedSwallowsNothing) {
  Create();
  const auto sender = Open(kSend);
  ASSERT_TRUE(sender->Send("one"));
  fs::remove_all("../queues");
  EXPECT_FALSE(sender->Send("two"));
  EXPECT_EQ(sender->LastError(), "there is no such queue");
  Create();
  EXPECT_TRUE(sender->Send("three"));
  EXPECT_EQ(Drain(), 1);
}

// A queue that is being deleted loses its table before its file.
TEST_F(Scenario15QueueFile, HalfDeletedIsNoQueueForWhoHasItOpen) {
  Create();
  const auto receiver = Open(kReceive);
  Execute("DROP TABLE message");
  EXPECT_EQ(receiver->Receive(), nullptr);
  EXPECT_EQ(receiver->LastError(), "there is no such queue");
  // Who was killed over it does not keep the name for ever.
  Create();
  Send(1);
  EXPECT_EQ(Drain(), 1);
  Execute("DROP TABLE message");
  EXPECT_TRUE(queues_.Delete("orders"));
  EXPECT_FALSE(fs::exists(kFile));
}

// Its messages belong to the file that is gone: beside a new one they would
// come back, or break it.
TEST_F(Scenario15QueueFile, LogThatIsLeftOverIsPlayedIntoNoNewFile) {
  Create();
  auto sender = Open(kSend);
  ASSERT_TRUE(sender->Send("old"));
  fs::copy_file(kLog, "log");
  sender.reset();
  fs::remove(kFile);
  fs::copy_file("log", kLog);
  EXPECT_FALSE(TryToCreate());
  EXPECT_NE(queues_.LastError().find("-wal is left over"), std::string::npos)
      << queues_.LastError();
  EXPECT_FALSE(fs::exists(kFile));
  EXPECT_TRUE(ReadTestFile(kLog) == ReadTestFile("log"));
  // A way out of it that the reason names.
  fs::remove(kLog);
  Create();
  EXPECT_EQ(Drain(), 0);
}

}  // namespace
}  // namespace kiv::testing
