#include <db_cxx.h>

#include <filesystem>
#include <map>
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
  ASSERT_EQ(database.open(nullptr, file.c_str(), table, DB_BTREE, 0, 0), 0);
  Dbt wanted(const_cast<char*>(key.data()), static_cast<u_int32_t>(key.size()));
  Dbt value;
  std::string bytes;
  if (database.get(nullptr, &wanted, &value, 0) == 0)
    bytes.assign(static_cast<char*>(value.get_data()), value.get_size());
  bytes = change(bytes);
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

TEST_F(ContainerFile, IsMadeOnlyWhenAskedFor) {
  EXPECT_EQ(Thrown([] { OpenAlone(false); }).failure(), Failure::NotFound);
  EXPECT_FALSE(std::filesystem::exists(kFile));
}

// Berkeley DB would leave a file behind.
TEST_F(ContainerFile, HasAName) {
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
  {
    Db database(nullptr, DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(database.open(nullptr, kFile, "meta", DB_BTREE, DB_CREATE, 0), 0);
    std::string text = "x";
    Dbt entry(text.data(), 1);
    ASSERT_EQ(database.put(nullptr, &entry, &entry, 0), 0);
    database.close(0);
  }
  EXPECT_EQ(Thrown([] { OpenAlone(); }).failure(), Failure::BadFormat);
}

// As another process leaves it for a moment while it writes.
TEST_F(ContainerFile, IsOpenedThatEndsInPartOfAPageForAMoment) {
  OpenAlone()->Put("a", "<a/>", nullptr);
  std::filesystem::resize_file(kFile, std::filesystem::file_size(kFile) + 4096);
  EXPECT_EQ(Thrown([] { OpenAlone(); }).failure(), Failure::BadFormat);
  const auto end_the_page = [] {
    std::filesystem::resize_file(kFile,
                                 std::filesystem::file_size(kFile) + 4096);
  };
  EXPECT_EQ(
      OpenContainer(nullptr, kFile, {.wait = end_the_page})->Get("a", nullptr),
      "<a/>");
}

TEST_F(ContainerFile, IsRefusedPolitelyWhenItIsNewerAndElseSaved) {
  OpenAlone()->Put("a", "<a/>", nullptr);
  XDbManager manager;
  ASSERT_TRUE(manager.Open("db", 0, nullptr, nullptr))
      << XDbManager::LastError();
  const std::string name = std::filesystem::absolute("alone").string();
  const auto set_format = [](const std::string& format) {
    Tamper(kFile, "meta", "format", [&](const std::string&) { return format; });
  };
  std::string saved;
  const auto save = [&] {
    saved.clear();
    return manager.Salvage(name.c_str(), [&](const std::string& document,
                                             const std::string& content) {
      saved += document + "=" + content;
    });
  };
  set_format("\3");
  const auto newer = Thrown([] { OpenAlone(); });
  EXPECT_EQ(newer.failure(), Failure::NewerFormat);
  EXPECT_THAT(newer.what(), HasSubstr("'alone.xdb' is a container of format 3; "
                                      "this version of the library reads "
                                      "format 2"));
  EXPECT_FALSE(save());
  // There are no older ones: this is damage. The last one is cut off.
  for (const char format : {'\0', '\1', '\x82'}) {
    set_format(std::string(1, format));
    const auto damaged = Thrown([] { OpenAlone(); });
    EXPECT_EQ(damaged.failure(), Failure::BadFormat);
    EXPECT_THAT(damaged.what(), HasSubstr("'alone.xdb' is damaged: "));
    EXPECT_TRUE(save());
    EXPECT_EQ(saved, "a=<a/>");
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
  const auto error = Thrown([&] { container->Get("c", nullptr); });
  EXPECT_EQ(error.failure(), Failure::BadFormat);
  EXPECT_THAT(error.what(), HasSubstr("document 'c'"));
  const auto other = Thrown([&] { container->Get("b", nullptr); });
  EXPECT_EQ(other.failure(), Failure::BadFormat);
  EXPECT_THAT(other.what(), HasSubstr("checksum"));
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

// Pages that cannot be read, the first ones and thus the way to all others
// among them.
TEST_F(ContainerFile, GivesUpWhatIsOnItsSoundPages) {
  std::map<std::string, std::string> documents;
  {
    const auto container = OpenAlone();
    for (int i = 0; i < 500; ++i) {
      const std::string name = "d" + std::to_string(i);
      documents[name] =
          "<d n=\"" + name + "\">" + std::string(200, 'x') + "</d>";
      container->Put(name, documents[name], nullptr);
    }
  }
  std::string bytes = ReadTestFile(kFile);
  constexpr std::size_t kPage = 8192;
  const auto damage = [&](std::size_t page) {
    for (std::size_t i = 0; i < kPage; ++i)
      bytes[page * kPage + i] = static_cast<char>(i * 7);
    WriteTestFile(kFile, bytes);
  };
  const auto saved = [&](const auto& salvage) {
    std::size_t count = 0;
    salvage([&](const std::string& name, const std::string& content) {
      EXPECT_EQ(content, documents[name]) << name;
      ++count;
    });
    return count;
  };
  const std::size_t pages = bytes.size() / kPage;
  damage(pages / 2);
  damage(pages / 2 + 3);
  EXPECT_GT(saved([&](const auto& each) { OpenAlone(false)->Salvage(each); }),
            300U);
  damage(0);
  EXPECT_THROW(OpenAlone(false), StoreError);
  EXPECT_GT(saved([&](const auto& each) { SalvageContainerFile(kFile, each); }),
            300U);
}

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
    WriteTestFile(kFile, bytes);
    SalvageContainerFile(
        kFile, [&](const std::string& name, const std::string& content) {
          // A name has no checksum.
          EXPECT_TRUE(content == "<l>" + long_text + "</l>" ||
                      content == "<s>new</s>" || content == "<s>old</s>")
              << name;
          ++saved;
        });
  }
  EXPECT_GT(saved, 100);
}

std::string EntryBlock(const std::string& entry) {
  return static_cast<char>(entry.size()) + entry;
}
std::string Entry(PathId path, const char* value, DocumentId document,
                  NodeId node) {
  std::string entry;
  AppendEntry(entry, path, value, document, node);
  return entry;
}

TEST_F(ContainerFile, IsSeenToBeDamaged) {
  const struct {
    const char* table;
    std::string key;
    std::string value;
    const char* problem;
  } kRows[] = {
      {"index", "\xFF", EntryBlock(Entry(2, "1", 1, 2)), "is not in the index"},
      {"index", "\x01", EntryBlock(Entry(1, "!", 1, 9)),
       "the index has 5 entries, the documents have 4"},
      {"index", "\xFF", "\x5Fxyz", "the index: "},
      {"ids", "\x01", "c", "its id 1 is that of 'c'"},
      {"ids", "\x77", "nobody", "'nobody'"},
      {"documents", "z", MakeRecord(99, 99, std::string("\0\2\x16", 3)),
       "its id 99 is unknown"}};
  for (const auto& row : kRows) {
    std::filesystem::remove(kFile);
    {
      const auto container = OpenAlone();
      container->Put("a", "<a b='1'>x</a>", nullptr);
      container->Put("c", "<a b='2'>y</a>", nullptr);
    }
    Tamper(kFile, row.table, row.key,
           [&](const std::string&) { return row.value; });
    EXPECT_THAT(OpenAlone()->Verify(),
                testing::Contains(HasSubstr(row.problem)));
  }
}

}  // namespace
}  // namespace kiv::xdb
