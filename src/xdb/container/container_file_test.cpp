#include <db_cxx.h>

#include <filesystem>
#include <random>
#include <string>

#include "kiv/xdb_manager.h"
#include "xdb/container/container_testing.h"
#include "xdb/container/document_record.h"
#include "xdb/container/index_key.h"

namespace kiv::xdb {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// What is in a table of a container that nobody has open, changed behind its
// back.
void Tamper(const std::string& file, const char* table, const std::string& key,
            const std::function<std::string(std::string)>& change) {
  Db database(nullptr, DB_CXX_NO_EXCEPTIONS);
  ASSERT_EQ(database.open(nullptr, file.c_str(), table, DB_BTREE, DB_CREATE, 0),
            0);
  Dbt wanted(const_cast<char*>(key.data()), static_cast<u_int32_t>(key.size()));
  Dbt value;
  database.get(nullptr, &wanted, &value, 0);
  std::string bytes =
      change({static_cast<char*>(value.get_data()), value.get_size()});
  Dbt changed(bytes.data(), static_cast<u_int32_t>(bytes.size()));
  ASSERT_EQ(database.put(nullptr, &wanted, &changed, 0), 0);
  ASSERT_EQ(database.close(0), 0);
}

// Containers in files of their own, without an environment.
class ContainerFile : public ContainerTest {
 protected:
  static constexpr char kFile[] = "alone.xdb";

  static std::shared_ptr<Container> OpenAlone(bool create = true) {
    return OpenContainer(nullptr, kFile, {.create = create});
  }
};

TEST_F(ContainerFile, IsMadeOnlyWhenAskedForAndWithAName) {
  EXPECT_EQ(Thrown([] { OpenAlone(false); }).failure(), Failure::NotFound);
  EXPECT_FALSE(std::filesystem::exists(kFile));
  // Berkeley DB would leave a file behind.
  std::filesystem::create_directory("folder");
  for (const char* const name : {"", "folder\\", "folder/"})
    EXPECT_EQ(Thrown([name] {
                OpenContainer(nullptr, name, {.create = true});
              }).failure(),
              Failure::NotFound)
        << name;
  EXPECT_FALSE(std::filesystem::exists("__db."));
  EXPECT_TRUE(std::filesystem::is_empty("folder"));
}

TEST_F(ContainerFile, IsRefusedWhenItIsNone) {
  WriteTestFile(kFile, std::string(20'000, 'x'));
  EXPECT_EQ(Thrown([] { OpenAlone(); }).failure(), Failure::BadFormat);
  std::filesystem::remove(kFile);
  Tamper(kFile, "meta", "x", [](const std::string&) { return "x"; });
  EXPECT_EQ(Thrown([] { OpenAlone(); }).failure(), Failure::BadFormat);
}

// As another process leaves it for a moment while it writes.
TEST_F(ContainerFile, IsOpenedThatEndsInPartOfAPageForAMoment) {
  OpenAlone()->Put("a", "<a/>", nullptr);
  const auto add_half_a_page = [] {
    std::filesystem::resize_file(kFile,
                                 std::filesystem::file_size(kFile) + 4096);
  };
  add_half_a_page();
  EXPECT_EQ(Thrown([] { OpenAlone(); }).failure(), Failure::BadFormat);
  EXPECT_TRUE(OpenContainer(nullptr, kFile, {.wait = add_half_a_page})
                  ->Has("a", nullptr));
}

TEST_F(ContainerFile, IsRefusedPolitelyWhenItIsNewerAndElseSaved) {
  OpenAlone()->Put("\xE8\xAE\xA2", "<a/>", nullptr);
  XDbManager manager;
  ASSERT_TRUE(manager.Open("db", 0, nullptr, nullptr));
  const std::string name = std::filesystem::absolute("alone").string();
  const auto set_format = [](const std::string& format) {
    Tamper(kFile, "meta", "format", [&](const std::string&) { return format; });
  };
  const auto save = [&] {
    std::string saved;
    const bool is_saved = manager.Salvage(
        name.c_str(),
        [&](const std::string& document, const std::string& content) {
          saved += document + "=" + content;
        });
    return is_saved ? saved : "nothing";
  };
  set_format("\3");
  const auto newer = Thrown([] { OpenAlone(); });
  EXPECT_EQ(newer.failure(), Failure::NewerFormat);
  EXPECT_THAT(newer.what(), HasSubstr("'alone.xdb' is a container of format 3; "
                                      "this version of the library reads "
                                      "format 2"));
  EXPECT_EQ(save(), "nothing");
  EXPECT_THAT(XDbManager::LastError(),
              HasSubstr("XDbManager::Salvage exception: "));
  // There are no older ones: this is damage. The last one is cut off.
  for (const char format : {'\0', '\1', '\x82'}) {
    set_format(std::string(1, format));
    const auto damaged = Thrown([] { OpenAlone(); });
    EXPECT_EQ(damaged.failure(), Failure::BadFormat);
    EXPECT_THAT(damaged.what(), HasSubstr("'alone.xdb' is damaged: "));
    EXPECT_EQ(save(), "\xB6\xA9=<a/>");
  }
}

TEST_F(ContainerFile, ShowsADamagedDocumentAndSavesTheOthers) {
  {
    const auto container = OpenAlone();
    container->Put("a", "<a b='1'>x</a>", nullptr);
    container->Put("b", "<b>some text</b>", nullptr);
    container->Put("c", "<c d='2'>y</c>", nullptr);
    container->Put("e", "<e f='3'>z</e>", nullptr);
  }
  Tamper(kFile, "documents", "c", [](std::string bytes) {
    bytes[bytes.size() / 2] = '\x0F';
    return bytes;
  });
  // A byte that is not what was stored.
  Tamper(kFile, "documents", "b", [](std::string bytes) {
    bytes[bytes.find("text")] = 'n';
    return bytes;
  });
  const auto container = OpenAlone();
  for (const auto& [name, text] :
       {std::pair("c", "document 'c'"), std::pair("b", "checksum")}) {
    const auto error = Thrown([&, n = name] { container->Get(n, nullptr); });
    EXPECT_EQ(error.failure(), Failure::BadFormat);
    EXPECT_THAT(error.what(), HasSubstr(text));
  }
  EXPECT_THAT(container->Verify(), SizeIs(2));
  std::string saved;
  container->Salvage([&](const std::string& name, const std::string& content) {
    saved += name + "=" + content + ";";
  });
  EXPECT_EQ(saved, "a=<a b=\"1\">x</a>;e=<e f=\"3\">z</e>;");
  // And it can be got rid of, with all that the index has of it.
  container->Delete("b", nullptr);
  container->Delete("c", nullptr);
  EXPECT_THAT(container->Verify(), IsEmpty());
}

// The first page, the way to all others, is lost each time.
TEST_F(ContainerFile, GivesUpNothingThatWasNotStored) {
  const std::string long_text(30'000, 'y');
  {
    const auto container = OpenAlone();
    container->Put("long", "<l>" + long_text + "</l>", nullptr);
    container->Put("short", "<s>old</s>", nullptr);
    container->Replace("short", "<s>new</s>", nullptr);
  }
  const std::string whole = ReadTestFile(kFile);
  std::minstd_rand random(5);
  int saved = 0;
  for (int round = 0; round < 200; ++round) {
    std::string bytes = whole;
    for (auto changes = random() % 200; changes > 0; --changes)
      bytes[random() % bytes.size()] = static_cast<char>(random());
    bytes.resize(bytes.size() - random() % 20'000);
    bytes.replace(0, 8192, 8192, 'x');
    WriteTestFile(kFile, bytes);
    SalvageContainerFile(
        kFile, [&](const std::string& name, const std::string& content) {
          // A name has no checksum.
          EXPECT_THAT(content, testing::AnyOf("<l>" + long_text + "</l>",
                                              "<s>new</s>", "<s>old</s>"))
              << name;
          ++saved;
        });
  }
  EXPECT_GT(saved, 100);
}

// A block of one entry.
std::string Block(PathId path, const char* value, DocumentId document,
                  NodeId node) {
  std::string entry;
  AppendEntry(entry, path, value, document, node);
  return static_cast<char>(entry.size()) + entry;
}

TEST_F(ContainerFile, IsSeenToBeDamaged) {
  const struct {
    const char* table;
    std::string key;
    std::string value;
    const char* problem;
  } kRows[] = {
      {"index", "\xFF", Block(2, "1", 1, 2), "is not in the index"},
      {"index", "\x01", Block(1, "!", 1, 9),
       "the index has 5 entries, the documents have 4"},
      {"index", "\xFF", "\x5Fxyz", "the index: "},
      {"ids", "\x01", "c", "its id 1 is that of 'c'"},
      {"ids", "\x77", "nobody", "'nobody'"},
      {"documents", "z", MakeRecord(99, 99, std::string("\0\2\x16", 3)),
       "its id 99 is unknown"}};
  for (const auto& row : kRows) {
    std::filesystem::remove(kFile);
    OpenAlone()->Put("a", "<a b='1'>x</a>", nullptr);
    OpenAlone()->Put("c", "<a b='2'>y</a>", nullptr);
    Tamper(kFile, row.table, row.key, [&](const auto&) { return row.value; });
    EXPECT_THAT(OpenAlone()->Verify(),
                testing::Contains(HasSubstr(row.problem)));
  }
}

}  // namespace
}  // namespace kiv::xdb
