// A durable queue whose file is damaged, locked, full or not what it seems.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kiv/mq/msmq_queue.h"
#include "kiv/startup.h"
#include "testing/eventually.h"
#include "testing/service_folder.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

using mq::MsmqQueue;
using mq::MsmqQueueInfo;
using mq::QueueInfo;

constexpr char kQueue[] = "orders";
constexpr char kFile[] = "../queues/orders.queue";

class Scenario15QueueFile : public ::testing::Test {
 protected:
  Scenario15QueueFile() { GlobalInit(); }
  ~Scenario15QueueFile() override { GlobalUninit(); }

  void Create() { ASSERT_TRUE(queues_.Create(kQueue, nullptr, false)); }
  std::shared_ptr<MsmqQueue> Open(int access) {
    return queues_.OpenQueue(kQueue, access);
  }
  void Send(int messages, std::size_t size_bytes = 300) {
    const auto sender = Open(QueueInfo::ACCESS_SEND);
    ASSERT_NE(sender, nullptr);
    for (int i = 0; i < messages; ++i)
      ASSERT_TRUE(sender->Send(std::string(size_bytes, 'x')));
  }
  int Drain() {
    const auto receiver = Open(QueueInfo::ACCESS_RECEIVE);
    int count = 0;
    while (receiver != nullptr && receiver->Receive() != nullptr) ++count;
    return count;
  }

  const ServiceFolder service_;
  MsmqQueueInfo queues_;
};

// Another program at the same file, with a lock as strong as `begin` asks for.
class OtherProgram {
 public:
  explicit OtherProgram(const char* begin) {
    EXPECT_EQ(::sqlite3_open(kFile, &file_), SQLITE_OK);
    Run(begin);
  }
  ~OtherProgram() { ::sqlite3_close(file_); }
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;

  void Run(const char* sql) {
    EXPECT_EQ(::sqlite3_exec(file_, sql, nullptr, nullptr, nullptr), SQLITE_OK)
        << ::sqlite3_errmsg(file_);
  }

 private:
  sqlite3* file_ = nullptr;
};

void Execute(const char* sql) { OtherProgram(sql).Run("SELECT 1"); }

struct Damage {
  const char* name;
  void (*inflict)();
  const char* reason;  // a part of it
};

class Scenario15Damage : public Scenario15QueueFile,
                         public ::testing::WithParamInterface<Damage> {};

TEST_P(Scenario15Damage, IsRefusedWithItsReasonAndLeftAsItIs) {
  Create();
  Send(200);
  Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  GetParam().inflict();
  const bool is_file = fs::is_regular_file(fs::symlink_status(kFile));
  const std::string before = is_file ? ReadTestFile(kFile) : "";
  // A host creates what is missing before it opens.
  queues_.Create(kQueue, nullptr, false);
  const auto start = std::chrono::steady_clock::now();
  for (const int access : {QueueInfo::ACCESS_PEEK, QueueInfo::ACCESS_RECEIVE,
                           QueueInfo::ACCESS_SEND}) {
    EXPECT_EQ(Open(access), nullptr);
    EXPECT_NE(queues_.LastError().find(GetParam().reason), std::string::npos)
        << queues_.LastError();
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_TRUE(service_.log.Has("MsmqQueueInfo::Open Failed: 'orders': "));
  if (is_file) {
    EXPECT_TRUE(ReadTestFile(kFile) == before) << "it was changed";
  }
}

void WriteAt(std::streamoff offset, const std::string& bytes) {
  std::fstream file(kFile, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(offset);
  file << bytes;
}

INSTANTIATE_TEST_SUITE_P(
    File, Scenario15Damage,
    ::testing::Values(
        Damage{"Overwritten",
               [] { WriteTestFile(kFile, std::string(50'000, 'G')); },
               "damaged"},
        Damage{"HeaderGone", [] { WriteAt(0, std::string(100, '\0')); },
               "damaged"},
        Damage{"CutInHalf",
               [] { fs::resize_file(kFile, fs::file_size(kFile) / 2); },
               "damaged"},
        Damage{"CutInAPage",
               [] { fs::resize_file(kFile, fs::file_size(kFile) - 1000); },
               "damaged"},
        Damage{"PageInTheMiddleGone",
               [] {
                 WriteAt(static_cast<std::streamoff>(fs::file_size(kFile) /
                                                     4096 / 2 * 4096),
                         std::string(4096, '\x5A'));
               },
               "damaged"},
        Damage{"Empty", [] { fs::resize_file(kFile, 0); }, "no queue"},
        Damage{"OtherDatabase",
               [] {
                 fs::remove(kFile);
                 Execute("CREATE TABLE accounts(x)");
               },
               "no queue"},
        Damage{"NewerFormat", [] { Execute("PRAGMA user_version = 2"); },
               "format 2"},
        Damage{"OtherQueuesFile",
               [] { Execute("UPDATE queue SET name = 'other'"); }, "'other'"},
        Damage{"Link",
               [] {
                 fs::rename(kFile, "elsewhere");
                 fs::create_symlink(fs::absolute("elsewhere"), kFile);
               },
               "no regular file"},
        Damage{"Folder",
               [] {
                 fs::remove(kFile);
                 fs::create_directory(kFile);
               },
               "no regular file"},
        Damage{"Pipe",
               [] {
                 fs::remove(kFile);
                 ::mkfifo(kFile, 0600);
               },
               "no regular file"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Scenario15QueueFile, DamagedWhileItIsOpenFailsWithoutAWrongMessage) {
  Create();
  Send(200);
  Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  const auto receiver = Open(QueueInfo::ACCESS_RECEIVE);
  ASSERT_NE(receiver, nullptr);
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
  OtherProgram reader("BEGIN; SELECT count(*) FROM message");
  Send(2);
  EXPECT_EQ(Drain(), 5);
  reader.Run("COMMIT");
}

TEST_F(Scenario15QueueFile, LockedWaitsForAWhileAndLosesNothing) {
  Create();
  Send(2);
  const auto sender = Open(QueueInfo::ACCESS_SEND);
  const auto receiver = Open(QueueInfo::ACCESS_RECEIVE);
  {
    OtherProgram locker("BEGIN IMMEDIATE");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(sender->Send("refused"));
    EXPECT_EQ(sender->LastError(),
              "another program has kept its file locked for 3 seconds");
    EXPECT_EQ(receiver->Receive(), nullptr);
    EXPECT_EQ(receiver->LastError(), sender->LastError());
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GT(waited, std::chrono::seconds(6));
    EXPECT_LT(waited, std::chrono::seconds(20));
    EXPECT_EQ(service_.log.Count("kept its file locked"), 2);
  }
  EXPECT_TRUE(sender->Send("accepted"));
  EXPECT_NE(receiver->Receive(), nullptr);
  EXPECT_EQ(receiver->LastError(), "");
  EXPECT_EQ(Drain(), 2);
}

TEST_F(Scenario15QueueFile, LockedForAMomentIsWaitedFor) {
  Create();
  auto locker = std::make_unique<OtherProgram>("BEGIN IMMEDIATE");
  std::thread release([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    locker->Run("COMMIT");
  });
  Send(1);
  release.join();
  EXPECT_EQ(Drain(), 1);
}

TEST_F(Scenario15QueueFile, WithoutRoomRefusesAndKeepsWhatItAcknowledged) {
  fs::create_directory("../queues");
  if (::mount("none", "../queues", "tmpfs", 0, "size=2m,mode=0700") != 0)
    GTEST_SKIP() << "a small disk cannot be mounted here";
  struct Unmount {
    ~Unmount() { ::umount2("../queues", MNT_DETACH); }
  } const unmount;
  Create();
  WriteTestFile("../queues/filler", std::string(1 << 20, 'f'));
  int sent = 0;
  {
    const auto sender = Open(QueueInfo::ACCESS_SEND);
    ASSERT_NE(sender, nullptr);
    while (sent < 1000 && sender->Send(std::string(20'000, 'x'))) ++sent;
    EXPECT_EQ(sender->LastError(), "the disk is full");
    EXPECT_FALSE(sender->Send(std::string(20'000, 'x')));
    fs::remove("../queues/filler");
    EXPECT_TRUE(sender->Send(std::string(20'000, 'x')));
    EXPECT_EQ(sender->LastError(), "");
  }
  EXPECT_GT(sent, 5);
  EXPECT_LT(sent, 1000);
  EXPECT_EQ(Drain(), sent + 1);
}

TEST_F(Scenario15QueueFile, IsForItsOwnerAlone) {
  const mode_t before = ::umask(0);
  Create();
  const auto receiver = Open(QueueInfo::ACCESS_RECEIVE);
  Send(1);
  ::umask(before);
  struct stat status {};
  ASSERT_EQ(::stat("../queues", &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  int files = 0;
  for (const auto& entry : fs::directory_iterator("../queues")) {
    ASSERT_EQ(::stat(entry.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u) << entry.path();
    ++files;
  }
  EXPECT_EQ(files, 3) << "the file, its log and the log's index";
}

TEST_F(Scenario15QueueFile, RemovedOrReplacedSwallowsNothing) {
  Create();
  const auto sender = Open(QueueInfo::ACCESS_SEND);
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
  const auto receiver = Open(QueueInfo::ACCESS_RECEIVE);
  Execute("DROP TABLE message");
  EXPECT_EQ(receiver->Receive(), nullptr);
  EXPECT_EQ(receiver->LastError(), "there is no such queue");
  // Who was killed over it does not keep the name for ever.
  Create();
  Send(1);
  EXPECT_EQ(Drain(), 1);
  Execute("DROP TABLE message");
  EXPECT_TRUE(queues_.Delete(kQueue));
  EXPECT_FALSE(fs::exists(kFile));
}

// Its messages belong to the file that is gone: beside a new one they would
// come back, or break it.
TEST_F(Scenario15QueueFile, LogThatIsLeftOverIsPlayedIntoNoNewFile) {
  Create();
  const std::string log = std::string(kFile) + "-wal";
  {
    const auto sender = Open(QueueInfo::ACCESS_SEND);
    ASSERT_TRUE(sender->Send("old"));
    fs::copy_file(log, "log");
    fs::copy_file(kFile, "file");
  }
  fs::remove(kFile);
  fs::copy_file("log", log);
  EXPECT_FALSE(queues_.Create(kQueue, nullptr, false));
  EXPECT_NE(queues_.LastError().find("-wal is left over"), std::string::npos)
      << queues_.LastError();
  EXPECT_FALSE(fs::exists(kFile));
  EXPECT_TRUE(ReadTestFile(log) == ReadTestFile("log"));
  // Either way out of it that the reason names.
  fs::copy_file("file", kFile);
  Create();
  EXPECT_EQ(Drain(), 1);
  fs::remove(kFile);
  fs::remove(log);
  Create();
  Send(1);
  EXPECT_EQ(Drain(), 1);
}

TEST_F(Scenario15QueueFile, MadeOnAFullDiskIsWholeOrNotThere) {
  fs::create_directory("../queues");
  if (::mount("none", "../queues", "tmpfs", 0, "size=256k,mode=0700") != 0)
    GTEST_SKIP() << "a small disk cannot be mounted here";
  struct Unmount {
    ~Unmount() { ::umount2("../queues", MNT_DETACH); }
  } const unmount;
  int refused = 0;
  for (std::size_t pages = 64; pages > 20; --pages) {
    WriteTestFile("../queues/filler", std::string(pages * 4096, 'f'));
    refused += queues_.Create(kQueue, nullptr, false) ? 0 : 1;
    fs::remove("../queues/filler");
    SCOPED_TRACE(std::to_string(pages) + " pages taken");
    Create();
    Send(1);
    ASSERT_EQ(Drain(), 1);
    ASSERT_TRUE(queues_.Delete(kQueue));
    ASSERT_TRUE(fs::is_empty("../queues"));
  }
  EXPECT_GT(refused, 5);
  EXPECT_LT(refused, 40);
}

// What a process that died while it made a queue left behind.
TEST_F(Scenario15QueueFile, UnfinishedIsNoQueue) {
  fs::create_directory("../queues");
  WriteTestFile("../queues/.new-0", "half");
  std::vector<std::string> names;
  ASSERT_TRUE(queues_.List(names));
  EXPECT_TRUE(names.empty());
  Create();
  EXPECT_EQ(Drain(), 0);
}

}  // namespace
}  // namespace kiv::testing
