#include "kiv/xdb_manager.h"

#include <filesystem>

#include "kiv/file_system_path.h"
#include "port/native_path.h"
#include "util/cp936.h"
#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

namespace fs = std::filesystem;

constexpr char kOrderGb[] = "\xB6\xA9\xB5\xA5";            // 订单
constexpr char kInvalid[] = " \xCE\xDE\xD0\xA7\xB5\xC4 ";  // 无效的

using XDbManagerTest = XDbTest;

TEST_F(XDbManagerTest, OffersWhatTheFlagsSay) {
  constexpr struct {
    long flags;
    bool thread;
    bool transaction;
  } kRows[] = {{0x04, true, false},
               {0x0C, true, true},
               {0x18, false, true},
               {0x7FFFF003, false, false}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.flags);
    XDbManager manager;
    ASSERT_TRUE(manager.Open(std::to_string(row.flags).c_str(), row.flags,
                             nullptr, nullptr));
    EXPECT_EQ(manager.IsEnableThread(), row.thread);
    EXPECT_EQ(manager.IsEnableTransaction(), row.transaction);
    EXPECT_FALSE(manager.IsEnableEncrypt());
    // What it does not offer is left out of a container.
    XDbContainer container;
    EXPECT_TRUE(manager.CreateContainer("c", container, 0x0E));
    EXPECT_TRUE(container.put("<a/>"));
    XDbTransaction transaction;
    EXPECT_EQ(manager.CreateTransaction(transaction), row.transaction);
  }
}

TEST_F(XDbManagerTest, MakesTheFolderWithItsParents) {
  XDbManager manager;
  ASSERT_TRUE(manager.Open("a/b\\c", 0x0C, nullptr, nullptr));
  EXPECT_TRUE(fs::is_directory("a/b/c"));
  const std::string home = XDbManager::TransPath("a/b/c");
  EXPECT_EQ(manager.GetEnvPath(),
            FileSystemPath(home, FileSystemPath::native).native_file_string());
  WriteTestFile("file");
  EXPECT_FALSE(manager.Open("file/db", 0, nullptr, nullptr));
  const std::string message =
      "XDbManager::ConstructEnv failed: "
      "\xB4\xB4\xBD\xA8\xC4\xBF\xC2\xBC\xCA\xA7\xB0\xDC\xA3\xBA";
  ExpectLogged(message + XDbManager::TransPath("file/db"));
  EXPECT_FALSE(manager.Open("file", 0, nullptr, nullptr));
  ExpectLogged(message + XDbManager::TransPath("file") + "\r");
}

TEST_F(XDbManagerTest, KnowsFullPaths) {
  const std::string here = port::LocalPath(fs::current_path().string());
  EXPECT_EQ(XDbManager::TransPath(nullptr), here);
  EXPECT_EQ(XDbManager::TransPath(""), here);
  EXPECT_EQ(XDbManager::TransPath("a\\..\\b"), here + "/b");
  EXPECT_EQ(XDbManager::TransPath("/x//y"), "/x/y");
}

TEST_F(XDbManagerTest, EncryptsWithBothHalvesOfThePassword) {
  {
    XDbManager manager;
    ASSERT_TRUE(manager.Open("db", 0x0C, "left", "right"));
    EXPECT_TRUE(manager.IsEnableEncrypt());
    XDbContainer container;
    ASSERT_TRUE(manager.CreateContainer("c", container, 0x0E));
    EXPECT_TRUE(container.put("<secret>treasure</secret>"));
  }
  EXPECT_THAT(ReadTestFile("db/c.xdb"), Not(HasSubstr("treasure")));
  XDbManager manager;
  EXPECT_FALSE(manager.Open("db", 0x0C, "left", nullptr));
  ExpectLogged("XDbManager::ConstructEnv open failed: 'db' - return ");
  EXPECT_FALSE(manager.Open("db", 0x0C, nullptr, nullptr));
  EXPECT_TRUE(manager.Open("db", 0x0C, nullptr, "leftright"));
  // Nobody's password is in the log.
  EXPECT_THAT(LogText(), Not(HasSubstr("leftright")));
}

class OpenedManager : public OpenedXDbTest {
 protected:
  bool Create(const char* name, const char* content = nullptr) {
    XDbContainer container;
    return manager_.CreateContainer(name, container, 0x0C) &&
           (content == nullptr || container.put(content));
  }
  // How many documents; -1 when it cannot be opened.
  int Count(const char* name) {
    XDbContainer container;
    XDbContainerStatistics state;
    if (!manager_.OpenContainer(name, container, 0x0C) ||
        !container.GetStatistics(state))
      return -1;
    return static_cast<int>(state.document_count);
  }
  static std::string BadName(const std::string& operation,
                             const std::string& argument) {
    return "XDbManager::" + operation + kInvalid + argument + ":0xabc\r";
  }
};

TEST_F(OpenedManager, OpensAnewAfterClosing) {
  ASSERT_TRUE(Create("c"));
  ASSERT_TRUE(manager_.Open("two", 0x04, nullptr, nullptr));
  EXPECT_FALSE(manager_.IsExistContainer("c"));
  EXPECT_FALSE(manager_.IsEnableTransaction());
  manager_.Close();
  manager_.Close();
  EXPECT_EQ(manager_.inner_mnr(), nullptr);
}

TEST_F(OpenedManager, FindsContainersUnderTheirNames) {
  EXPECT_FALSE(manager_.IsExistContainer("c"));
  fs::create_directory("db/dir");
  EXPECT_TRUE(Create("c") && Create(kOrderGb) && Create("dir/e"));
  EXPECT_TRUE(fs::is_regular_file("db/0xB6A9B5A5.xdb"));
  EXPECT_TRUE(manager_.IsExistContainer(kOrderGb));
  fs::create_directory("db/d.xdb");
  EXPECT_FALSE(manager_.IsExistContainer("d"));

  EXPECT_EQ(manager_.GetContainerPath("c"), manager_.GetEnvPath() + "\\c.xdb");
  EXPECT_EQ(manager_.GetContainerPath("/abs/c"), "\\abs\\c.xdb");
  EXPECT_EQ(manager_.GetContainerPath(nullptr), "");
  EXPECT_EQ(LogText(), "");
  EXPECT_EQ(manager_.GetContainerPath("0xabc"), "");
  ExpectLogged(BadName("GetContainerPath", "db_name"));

  std::vector<std::string> names;
  EXPECT_TRUE(manager_.GetContainerNames(names));
  EXPECT_EQ(names, (std::vector<std::string>{"c", "dir\\e", kOrderGb}));
}

TEST_F(OpenedManager, OpensOnlyWhatIsThereUnlessToldToCreate) {
  XDbContainer container;
  EXPECT_FALSE(manager_.OpenContainer("c", container, 0x0C));
  ExpectLogged("XDbManager::OpenContainer exception: ");
  EXPECT_FALSE(fs::exists("db/c.xdb"));
  EXPECT_TRUE(manager_.OpenContainer("c", container, 0x10C));
  EXPECT_FALSE(manager_.OpenContainer("0xabc", container, 0));
  ExpectLogged(BadName("OpenContainer", "db_name"));
}

TEST_F(OpenedManager, RenamesContainersOverOthersAndRemovesThem) {
  ASSERT_TRUE(Create("a", "<a/>") && Create("b"));
  EXPECT_TRUE(manager_.RenameContainer("a", "b"));
  EXPECT_FALSE(manager_.IsExistContainer("a"));
  EXPECT_TRUE(manager_.RenameContainer("b", "b"));
  // A slip of the pen costs nothing.
  EXPECT_FALSE(manager_.RenameContainer("a", "b"));
  ExpectLogged("XDbManager::RenameContainer exception: ");
  EXPECT_EQ(Count("b"), 1);
  // What is not there, or has no file, is removed already.
  for (const char* const name :
       {"b", "b", "", "0xabc", static_cast<const char*>(nullptr)})
    EXPECT_TRUE(manager_.RemoveContainer(name));
  EXPECT_FALSE(manager_.IsExistContainer("b"));
}

TEST_F(OpenedManager, SaysWhichNameIsRefused) {
  EXPECT_FALSE(manager_.RenameContainer(nullptr, "b"));
  EXPECT_FALSE(manager_.RenameContainer("a", ""));
  EXPECT_EQ(LogText(), "");
  EXPECT_FALSE(manager_.RenameContainer("0xabc", "0xabc"));
  ExpectLogged(BadName("RenameContainer", "old_name"));
  EXPECT_FALSE(Logged(BadName("RenameContainer", "new_name")));
  EXPECT_FALSE(manager_.RenameContainer("a", "0xabc"));
  ExpectLogged(BadName("RenameContainer", "new_name"));
}

// A container that is open stays whole, and no other is lost to it; the call
// neither hangs nor destroys.
TEST_F(OpenedManager, RemovesAndRenamesNoContainerThatIsOpen) {
  XDbContainer container;
  ASSERT_TRUE(manager_.CreateContainer("a", container, 0x0C));
  ASSERT_TRUE(container.put("<a/>"));
  ASSERT_TRUE(Create("b", "<b/>"));
  EXPECT_FALSE(manager_.RemoveContainer("a"));
  ExpectLogged("XDbManager::RemoveContainer exception: ");
  EXPECT_FALSE(manager_.RenameContainer("a", "b"));
  ExpectLogged("XDbManager::RenameContainer exception: ");
  EXPECT_EQ(Count("b"), 1);
  EXPECT_TRUE(container.put("<c/>"));
  EXPECT_FALSE(manager_.RenameContainer("b", "a"));
  EXPECT_EQ(Count("b"), 1);
  EXPECT_EQ(Count("a"), 2);
}

TEST_F(OpenedManager, RepairsNothingThatIsOpenOrMissing) {
  EXPECT_FALSE(XDbManager::Repair("db", nullptr, nullptr, false));
  ExpectLogged("XDbManager::Repair exception: ");
  EXPECT_FALSE(XDbManager::Repair("missing", nullptr, nullptr, false));
  EXPECT_FALSE(fs::exists("missing"));
  ASSERT_TRUE(Create("c", "<a/>"));
  for (const bool is_catastrophic : {false, true}) {
    manager_.Close();
    EXPECT_TRUE(XDbManager::Repair("db", nullptr, nullptr, is_catastrophic));
    ASSERT_TRUE(manager_.Open("db", 0x0C, nullptr, nullptr));
    EXPECT_EQ(Count("c"), 1);
  }
}

// A backup of what is in use: containers first, then log files.
TEST_F(OpenedManager, IsRestoredFromACopyMadeWhileItIsInUse) {
  XDbContainer container;
  ASSERT_TRUE(manager_.CreateContainer("c", container, 0x0C));
  ASSERT_TRUE(container.put("<before/>"));
  ASSERT_TRUE(manager_.Checkpoint());
  fs::create_directory("restored");
  const auto copy = [](const char* suffix) {
    for (const auto& file : fs::directory_iterator("db"))
      if (file.path().filename().string().find(suffix) != std::string::npos)
        fs::copy(file, "restored" / file.path().filename());
  };
  ASSERT_TRUE(container.put("<not-in-the-file-yet/>"));
  copy(".xdb");
  ASSERT_TRUE(container.put("<between/>"));
  copy("log.0");
  ASSERT_TRUE(container.put("<after/>"));

  ASSERT_TRUE(XDbManager::Repair("restored", nullptr, nullptr, true));
  XDbManager restored;
  XDbContainer same;
  XDbContainerStatistics state;
  std::vector<std::string> problems{"old"};
  ASSERT_TRUE(restored.Open("restored", 0x0C, nullptr, nullptr));
  ASSERT_TRUE(restored.OpenContainer("c", same, 0x0C));
  EXPECT_TRUE(same.Verify(problems));
  EXPECT_TRUE(problems.empty());
  EXPECT_TRUE(same.GetStatistics(state));
  EXPECT_EQ(state.document_count, 3u);
}

TEST_F(XDbManagerTest, AnswersFalseWhileClosed) {
  XDbManager closed;
  XDbContainer container;
  XDbUpdateContext update;
  XDbQueryContext query;
  XDbTransaction transaction;
  XDbDocument document;
  XDbInputStream stream;
  XDbResults results;
  XDbQueryExpression expression;
  std::vector<std::string> texts;
  XDbEnvironmentStatistics state;
  ExpectAllFalse(
      closed.IsEnableThread(), closed.IsEnableTransaction(),
      closed.IsEnableEncrypt(), closed.IsExistContainer("c"),
      closed.OpenContainer("c", container, 0),
      closed.OpenContainer(nullptr, container, 0),
      closed.CreateContainer("c", container, 0),
      closed.CreateUpdateContext(update), closed.CreateTransaction(transaction),
      closed.CreateQueryContext(query), closed.CreateDocument(document),
      closed.CreateLocalFileInputStream("x", stream), closed.Checkpoint(),
      closed.GetContainerNames(texts), closed.GetUnneededLogFiles(texts),
      closed.GetStatistics(state), closed.Salvage("c", nullptr),
      closed.Query("1", results, true));
  EXPECT_TRUE(closed.RemoveContainer("c"));
  EXPECT_EQ(closed.GetEnvPath(), "");
  EXPECT_EQ(closed.inner_mnr(), nullptr);
  EXPECT_EQ(LogText(), "");
  EXPECT_FALSE(closed.RenameContainer("a", "b"));
  EXPECT_EQ(closed.Prepare("1", query, true), nullptr);
  EXPECT_FALSE(closed.Prepare("1", query, expression, true));
  ExpectLogged("XDbManager::Prepare exception: the manager is closed");
  closed.Close();
}

}  // namespace
}  // namespace kiv::xdb
