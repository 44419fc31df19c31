// What can be wrong with the home of an environment: each is told in a text of
// its own that says what to do, no log file goes, and what can be read is there
// when it is right again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "kiv/startup.h"
#include "testing/service_folder.h"
#include "testing/xdb_journal.h"
#include "xdb/container/container.h"
#include "xdb/container/store_error.h"

namespace kiv::testing {
namespace {

using ::testing::HasSubstr;

namespace fs = std::filesystem;
using xdb::Failure;
using xdb::StoreError;

constexpr int kDocuments = 200;
constexpr xdb::EnvironmentSwitches kAll = {
    .thread = true, .lock = true, .log = true, .transactions = true};

std::string NameOf(int number) { return "order-" + std::to_string(number); }

std::set<std::string> LogFilesIn(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().filename().string().rfind("log.", 0) == 0)
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
class Store {
 public:
  explicit Store(std::string home, std::string password = "")
      : home_(std::move(home)), password_(std::move(password)) {
    fs::create_directories(home_);
  }

  int Open() {
    environment_ = std::make_shared<xdb::Environment>();
    const int code = environment_->Open(home_, kAll, password_);
    if (code == 0)
      container_ = xdb::OpenContainer(environment_, "orders.xdb",
                                      {.create = true,
                                       .encrypted = !password_.empty(),
                                       .thread = true,
                                       .transactional = true});
    return code;
  }
  void Close() {
    container_.reset();
    environment_.reset();
  }
  void Fill() {
    std::ofstream(fs::path(home_) / "DB_CONFIG")
        << "set_lg_max 300000\nset_lg_bsize 65536\n";
    ASSERT_EQ(Open(), 0) << environment_->ErrorText();
    for (int i = 0; i < kDocuments; ++i)
      container_->Put(NameOf(i), XdbContent("store", i * 50), nullptr);
  }
  // Opens it, and closes it again.
  void ExpectAll() {
    ASSERT_EQ(Open(), 0) << environment_->ErrorText();
    for (int i = 0; i < kDocuments; ++i)
      ASSERT_EQ(container_->Get(NameOf(i), nullptr),
                XdbContent("store", i * 50));
    for (const std::string& problem : container_->Verify())
      ADD_FAILURE() << problem;
    recovery_count_ = environment_->Statistics().recovery_count;
    Close();
  }
  std::uint64_t recovery_count() const { return recovery_count_; }
  // Why it does not open.
  std::string Refusal() {
    try {
      EXPECT_NE(Open(), 0) << "it opened";
    } catch (const StoreError& error) {
      EXPECT_EQ(error.failure(), Failure::NeedsRecovery);
      return error.what();
    }
    return environment_->ErrorText();
  }

  xdb::Environment& environment() { return *environment_; }
  xdb::Container& container() { return *container_; }
  const std::string& home() const { return home_; }

 private:
  const std::string home_;
  const std::string password_;
  std::shared_ptr<xdb::Environment> environment_;
  std::shared_ptr<xdb::Container> container_;
  std::uint64_t recovery_count_ = 0;
};

class Scenario19DamagedStores : public ::testing::Test {
 protected:
  Scenario19DamagedStores() { GlobalInit(); }
  ~Scenario19DamagedStores() override { GlobalUninit(); }

  const ServiceFolder service_;
};

struct Damage {
  const char* name;
  std::function<void(const fs::path& home)> make;
  const char* text;
};

// In the names that ctest gives the tests.
void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }

// Damages `home`, and back again.
class Refused : public Scenario19DamagedStores,
                public ::testing::WithParamInterface<Damage> {};

std::string LastLog(const fs::path& home) { return *LogFilesIn(home).rbegin(); }

TEST_P(Refused, ClearlyAndKeptAsItIs) {
  Store store("home");
  store.Fill();
  store.Close();
  const std::set<std::string> logs = LogFilesIn("home");
  ASSERT_GT(logs.size(), 3u);
  fs::copy("home", "before", fs::copy_options::recursive);
  GetParam().make("home");
  const std::set<std::string> left = LogFilesIn("home");
  const std::string text = store.Refusal();
  EXPECT_THAT(text, HasSubstr(GetParam().text));
  EXPECT_NE(text.find("home'"), std::string::npos)
      << text << " names the wrong thing";
  EXPECT_EQ(LogFilesIn("home"), left);
  store.Close();
  // Put right by whoever was told.
  fs::remove_all("home");
  fs::rename("before", "home");
  store.ExpectAll();
}

INSTANTIATE_TEST_SUITE_P(
    Scenario19, Refused,
    ::testing::Values(
        Damage{"NewestLogFileMissing",
               [](const fs::path& home) { fs::remove(home / LastLog(home)); },
               "is missing; committed documents would be lost"},
        Damage{"LogFileInTheMiddleMissing",
               [](const fs::path& home) {
                 fs::remove(home / *std::next(LogFilesIn(home).begin()));
               },
               "the log file log.0000000002 is missing"},
        Damage{"AllLogFilesMissing",
               [](const fs::path& home) {
                 for (const std::string& name : LogFilesIn(home))
                   fs::remove(home / name);
               },
               "is missing; committed documents would be lost"},
        // As when only the containers were taken from a backup.
        Damage{"ContainersWithoutTheirLog",
               [](const fs::path& home) {
                 for (const std::string& name : LogFilesIn(home))
                   fs::remove(home / name);
                 fs::remove(home / "environment.lock");
               },
               "the container 'orders.xdb' was last changed with the log file"},
        Damage{"LogOfAnOlderVersion",
               [](const fs::path& home) {
                 Overwrite(home / LastLog(home), 16, std::string(1, 10));
               },
               "an older version of Berkeley DB wrote its log files"},
        Damage{"LogOfANewerVersion",
               [](const fs::path& home) {
                 Overwrite(home / LastLog(home), 16, std::string(1, 99));
               },
               "a newer version of Berkeley DB wrote its log files"},
        Damage{"MemoryOfAnOlderVersion",
               [](const fs::path& home) {
                 fs::remove(home / "environment.lock");
                 // Its number, alive, then 4.3.
                 std::ofstream(home / "__db.001", std::ios::binary)
                     << std::string(
                            "\x97\x08\x12\0\0\0\0\0\x04\0\0\0\x03\0\0\0"
                            "\x1d\0\0\0",
                            20);
               },
               "Berkeley DB 4.3 made it"}),
    [](const auto& damage) { return damage.param.name; });

// The shared memory of one who is no more, whatever became of it, is made anew.
TEST_F(Scenario19DamagedStores, AreOpenedOverTheMemoryOfOneWhoDied) {
  Store store("home");
  store.Fill();
  // As after a crash: the files are there, and nobody has them.
  store.environment().Checkpoint();
  fs::copy("home", "crashed", fs::copy_options::recursive);
  store.Close();
  const std::vector<std::function<void(const fs::path&)>> damages = {
      [](const fs::path& file) { fs::resize_file(file, 100); },
      [](const fs::path& file) { fs::resize_file(file, 0); },
      [](const fs::path& file) { fs::remove(file); },
      [](const fs::path& file) { Overwrite(file, 0, std::string(4096, 'x')); },
      [](const fs::path& file) {
        Overwrite(file, 8192, std::string(200'000, '\xFF'));
      }};
  for (std::size_t i = 0; i < damages.size(); ++i)
    for (const char* const region : {"__db.001", "__db.002", "__db.003"}) {
      SCOPED_TRACE(std::string(region) + ", damage " + std::to_string(i));
      fs::remove_all("again");
      fs::copy("crashed", "again", fs::copy_options::recursive);
      damages[i](fs::path("again") / region);
      Store crashed("again");
      crashed.ExpectAll();
      EXPECT_EQ(crashed.recovery_count(), 1u);
    }
}

// The memory of one who lives cannot be put right, nor joined.
TEST_F(Scenario19DamagedStores, AreNotJoinedOverDamagedMemory) {
  struct Case {
    std::function<void()> make;
    const char* text;
  };
  const Case cases[] = {
      {[] { Overwrite("home/__db.001", 0, "xxxx"); }, "is damaged"},
      {[] { fs::remove("home/__db.003"); }, "was removed or replaced"},
      {[] {
         fs::copy("home/__db.002", "home/copy");
         fs::rename("home/copy", "home/__db.002");
       },
       "was removed or replaced"}};
  for (const Case& damage : cases) {
    SCOPED_TRACE(damage.text);
    fs::remove_all("home");
    Store first("home");
    first.Fill();
    damage.make();
    Store second("home");
    const std::string text = second.Refusal();
    EXPECT_THAT(text, HasSubstr(damage.text));
    EXPECT_EQ(LogFilesIn("home").empty(), false);
    second.Close();
    first.Close();
    first.ExpectAll();
  }
}

TEST_F(Scenario19DamagedStores, SayThatTheDiskIsFullAndGoOnWhenItIsNot) {
  fs::create_directory("disk");
  if (::mount("tmpfs", "disk", "tmpfs", 0, "size=24m") != 0)
    GTEST_SKIP() << "a small disk cannot be mounted here";
  {
    Store store("disk/home");
    const std::string no_room = store.Refusal();
    EXPECT_THAT(no_room, HasSubstr("MiB left"));
    ASSERT_EQ(::mount("tmpfs", "disk", "tmpfs", MS_REMOUNT, "size=100m"), 0);
    const std::string no_memory = store.Refusal();
    EXPECT_THAT(no_memory, HasSubstr("shared memory"));
    ASSERT_EQ(::mount("tmpfs", "disk", "tmpfs", MS_REMOUNT, "size=160m"), 0);
    ASSERT_EQ(store.Open(), 0) << store.environment().ErrorText();
    int stored = 0;
    std::string text;
    try {
      for (;; ++stored)
        store.container().Put(NameOf(stored), XdbContent("store", stored * 50),
                              nullptr);
    } catch (const StoreError& error) {
      EXPECT_EQ(error.failure(), Failure::OutOfSpace) << error.what();
      text = error.what();
    }
    EXPECT_THAT(text, HasSubstr("make room on the disk"));
    EXPECT_GT(stored, 100);
    const std::set<std::string> logs = LogFilesIn("disk/home");
    store.Close();
    ASSERT_EQ(::mount("tmpfs", "disk", "tmpfs", MS_REMOUNT, "size=400m"), 0);
    ASSERT_EQ(store.Open(), 0) << store.environment().ErrorText();
    for (int i = 0; i < stored; ++i)
      ASSERT_EQ(store.container().Get(NameOf(i), nullptr),
                XdbContent("store", i * 50))
          << i << " of " << stored;
    for (const std::string& problem : store.container().Verify())
      ADD_FAILURE() << problem;
    for (const std::string& log : logs)
      EXPECT_TRUE(fs::exists(fs::path("disk/home") / log)) << log;
    store.container().Put("after", "<ok/>", nullptr);
    store.Close();
  }
  ::umount2("disk", MNT_DETACH);
}

TEST_F(Scenario19DamagedStores, SayThatTheyLieOnAReadOnlyDisk) {
  fs::create_directory("disk");
  if (::mount("tmpfs", "disk", "tmpfs", 0, "size=400m") != 0)
    GTEST_SKIP() << "a disk cannot be mounted here";
  {
    Store store("disk/home");
    store.Fill();
    store.Close();
    ASSERT_EQ(::mount("tmpfs", "disk", "tmpfs", MS_REMOUNT | MS_RDONLY, ""), 0);
    const std::string text = store.Refusal();
    EXPECT_THAT(text, HasSubstr("mount the file system for writing"));
    store.Close();
    ASSERT_EQ(::mount("tmpfs", "disk", "tmpfs", MS_REMOUNT, ""), 0);
    store.ExpectAll();
  }
  ::umount2("disk", MNT_DETACH);
}

// Nothing but the container is left, and a part of it.
TEST_F(Scenario19DamagedStores, GiveUpWhatCanStillBeRead) {
  Store store("home");
  store.Fill();
  store.Close();
  fs::create_directory("salvage");
  const auto size =
      static_cast<std::streamoff>(fs::file_size("home/orders.xdb"));
  fs::copy("home/orders.xdb", "salvage/orders.xdb");
  // Past the first pages, which say what the file is.
  for (std::streamoff at = size / 2; at < size * 6 / 10; at += 8192)
    Overwrite("salvage/orders.xdb", at + 100, std::string(3000, '\xA5'));
  const auto container = xdb::OpenContainer(nullptr, "salvage/orders.xdb",
                                            xdb::ContainerSwitches());
  EXPECT_FALSE(container->Verify().empty());
  int saved = 0;
  container->Salvage([&](const std::string& name, const std::string& content) {
    const int number = std::stoi(name.substr(NameOf(0).size() - 1));
    EXPECT_EQ(content, XdbContent("store", number * 50)) << name;
    ++saved;
  });
  EXPECT_GT(saved, kDocuments / 2);
  EXPECT_LT(saved, kDocuments);
}

}  // namespace
}  // namespace kiv::testing
