// What can be wrong with the home of an environment: each is told in a text of
// its own that says what to do, no log file goes, and what can be read is there
// when it is right again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>

#include "kiv/startup.h"
#include "testing/service_folder.h"
#include "testing/xdb_journal.h"
#include "xdb/container/store_error.h"

namespace kiv::testing {
namespace {

using ::testing::HasSubstr;

namespace fs = std::filesystem;
using xdb::Failure;
using xdb::StoreError;

std::set<std::string> LogFilesIn(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().filename().string().starts_with("log."))
      names.insert(entry.path().filename());
  return names;
}

void Overwrite(const fs::path& file, std::streamoff offset,
               const std::string& bytes) {
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  stream.seekp(offset);
  stream << bytes;
  ASSERT_TRUE(stream.flush()) << file;
}

// An environment with documents, whose log goes over several files.
struct Store {
  void Open() {
    fs::create_directories(home);
    environment = std::make_shared<xdb::Environment>();
    if (environment->Open(home, kXdbEnvironment, "") != 0)
      throw std::runtime_error(environment->ErrorText());
    container = xdb::OpenContainer(environment, "orders.xdb", kXdbContainer);
  }
  void Close() {
    container.reset();
    environment.reset();
  }
  void PutNext() {
    container->Put("order-" + std::to_string(count),
                   XdbContent("store", count * 50), nullptr);
    ++count;
  }
  void Fill() {
    fs::create_directories(home);
    WriteTestFile(fs::path(home) / "DB_CONFIG",
                  "set_lg_max 300000\nset_lg_bsize 65536\n");
    Open();
    while (count < 200) PutNext();
  }
  // Opens it, and closes it again; gives how often it was recovered.
  std::uint64_t ExpectAll() {
    Open();
    for (int i = 0; i < count; ++i)
      EXPECT_EQ(container->Get("order-" + std::to_string(i), nullptr),
                XdbContent("store", i * 50));
    EXPECT_THAT(container->Verify(), ::testing::IsEmpty());
    const auto recoveries = environment->Statistics().recovery_count;
    Close();
    return recoveries;
  }
  // Why it does not open.
  std::string Refusal() {
    try {
      Open();
    } catch (const std::exception& refused) {
      Close();
      return refused.what();
    }
    return "it opened";
  }

  const std::string home;
  std::shared_ptr<xdb::Environment> environment = nullptr;
  std::shared_ptr<xdb::Container> container = nullptr;
  int count = 0;
};

class Scenario19DamagedStores : public ::testing::Test {
 protected:
  Scenario19DamagedStores() { GlobalInit(); }
  ~Scenario19DamagedStores() override {
    ::umount2("disk", MNT_DETACH);
    GlobalUninit();
  }

  static bool MountDisk(const char* options) {
    fs::create_directory("disk");
    return Remount(options, 0);
  }
  static bool Remount(const char* options, unsigned long flags = MS_REMOUNT) {
    return ::mount("tmpfs", "disk", "tmpfs", flags, options) == 0;
  }

  const ServiceFolder service_;
};

fs::path LastLog(const fs::path& home) {
  return home / *LogFilesIn(home).rbegin();
}
// As when only the containers were taken from a backup.
void RemoveLogs(const fs::path& home) {
  for (const std::string& name : LogFilesIn(home)) fs::remove(home / name);
  fs::remove(home / "environment.lock");
}
// Its number, alive, then 4.3.
void LeaveOlderMemory(const fs::path& home) {
  fs::remove(home / "environment.lock");
  WriteTestFile(home / "__db.001",
                {"\x97\x08\x12\0\0\0\0\0\x04\0\0\0\x03\0\0\0\x1d\0\0\0", 20});
}

TEST_F(Scenario19DamagedStores, AreRefusedClearlyAndKeptAsTheyAre) {
  using Home = const fs::path&;
  const std::pair<void (*)(Home), const char*> rows[] = {
      {[](Home home) { fs::remove(LastLog(home)); },
       "is missing; committed documents would be lost"},
      {[](Home home) { fs::remove(home / "log.0000000002"); },
       "the log file log.0000000002 is missing"},
      {RemoveLogs,
       "the container 'orders.xdb' was last changed with the log file"},
      {[](Home home) { Overwrite(LastLog(home), 16, "\x0A"); },
       "an older version of Berkeley DB wrote its log files"},
      {[](Home home) { Overwrite(LastLog(home), 16, "\x63"); },
       "a newer version of Berkeley DB wrote its log files"},
      {LeaveOlderMemory, "Berkeley DB 4.3 made it"}};
  Store store{"home"};
  store.Fill();
  store.Close();
  ASSERT_GT(LogFilesIn("home").size(), 3u);
  for (const auto& [damage, part] : rows) {
    SCOPED_TRACE(part);
    fs::copy("home", "before", fs::copy_options::recursive);
    damage("home");
    const std::set<std::string> left = LogFilesIn("home");
    const std::string text = store.Refusal();
    EXPECT_THAT(text, HasSubstr(part));
    EXPECT_THAT(text, HasSubstr("home'"));
    EXPECT_EQ(LogFilesIn("home"), left);
    // Put right by whoever was told.
    fs::remove_all("home");
    fs::rename("before", "home");
    store.ExpectAll();
  }
}

// The shared memory of one who is no more, whatever became of it, is made anew.
TEST_F(Scenario19DamagedStores, AreOpenedOverTheMemoryOfOneWhoDied) {
  Store store{"home"};
  store.Fill();
  // As after a crash: the files are there, and nobody has them.
  store.environment->Checkpoint();
  fs::copy("home", "crashed", fs::copy_options::recursive);
  store.Close();
  fs::remove_all("home");
  using Make = void (*)(const fs::path& file);
  const Make damages[] = {
      [](const fs::path& file) { fs::resize_file(file, 100); },
      [](const fs::path& file) { fs::remove(file); },
      [](const fs::path& file) { Overwrite(file, 0, std::string(4096, 'x')); },
      [](const fs::path& file) {
        Overwrite(file, 8192, std::string(200'000, '\xFF'));
      }};
  for (const Make& damage : damages)
    for (const char* const region : {"__db.001", "__db.002", "__db.003"}) {
      SCOPED_TRACE(region);
      fs::copy("crashed", "home", fs::copy_options::recursive);
      damage(fs::path("home") / region);
      EXPECT_EQ(store.ExpectAll(), 1u) << &damage - damages;
      fs::remove_all("home");
    }
}

// The memory of one who lives cannot be put right, nor joined.
TEST_F(Scenario19DamagedStores, AreNotJoinedOverDamagedMemory) {
  const std::pair<void (*)(), const char*> cases[] = {
      {[] { Overwrite("home/__db.001", 0, "xxxx"); }, "is damaged"},
      {[] { fs::remove("home/__db.003"); }, "was removed or replaced"}};
  for (const auto& [damage, text] : cases) {
    SCOPED_TRACE(text);
    fs::remove_all("home");
    Store first{"home"};
    first.Fill();
    damage();
    EXPECT_THAT(Store{"home"}.Refusal(), HasSubstr(text));
    EXPECT_FALSE(LogFilesIn("home").empty());
    first.Close();
    first.ExpectAll();
  }
}

TEST_F(Scenario19DamagedStores, SayThatTheDiskIsFullAndGoOnWhenItIsNot) {
  if (!MountDisk("size=24m"))
    GTEST_SKIP() << "a small disk cannot be mounted here";
  Store store{"disk/home"};
  EXPECT_THAT(store.Refusal(), HasSubstr("MiB left"));
  Remount("size=100m");
  EXPECT_THAT(store.Refusal(), HasSubstr("shared memory"));
  Remount("size=160m");
  store.Open();
  try {
    for (;;) store.PutNext();
  } catch (const StoreError& error) {
    EXPECT_EQ(error.failure(), Failure::OutOfSpace);
    EXPECT_THAT(error.what(), HasSubstr("make room on the disk"));
  }
  EXPECT_GT(store.count, 100);
  const std::set<std::string> logs = LogFilesIn("disk/home");
  store.Close();
  Remount("size=400m");
  store.ExpectAll();
  EXPECT_THAT(LogFilesIn("disk/home"), ::testing::IsSupersetOf(logs));
  store.Open();
  store.PutNext();
}

TEST_F(Scenario19DamagedStores, SayThatTheyLieOnAReadOnlyDisk) {
  if (!MountDisk("size=400m")) GTEST_SKIP() << "a disk cannot be mounted here";
  Store store{"disk/home"};
  store.Fill();
  store.Close();
  Remount("", MS_REMOUNT | MS_RDONLY);
  EXPECT_THAT(store.Refusal(), HasSubstr("mount the file system for writing"));
  Remount("");
  store.ExpectAll();
}

}  // namespace
}  // namespace kiv::testing
