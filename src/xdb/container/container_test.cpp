#include "xdb/container/container.h"

#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>

#include "xdb/container/container_testing.h"

namespace kiv::xdb {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(ContainerTest, SaysWhatItRefusesAndChangesNothing) {
  container_->Put("a", "<a/>", nullptr);
  container_->Put("b", "<b/>", nullptr);
  Container& container = *container_;
  const struct {
    std::function<void()> call;
    Failure failure;
    const char* text;
  } kRefused[] = {
      {[&] { container.Put("a", "<c/>", nullptr); }, Failure::AlreadyThere,
       "'a'"},
      {[&] { container.Rename("b", "a", nullptr); }, Failure::AlreadyThere,
       "'a'"},
      {[&] { container.Get("x", nullptr); }, Failure::NotFound, "'x'"},
      {[&] { container.Replace("x", "<a/>", nullptr); }, Failure::NotFound,
       "'x'"},
      {[&] { container.Rename("x", "x", nullptr); }, Failure::NotFound, "'x'"},
      {[&] { container.Delete("x", nullptr); }, Failure::NotFound, "'x'"},
      {[&] { container.Put("x", "<a>\n <b></a>", nullptr); }, Failure::NotXml,
       "'x', line 2, column "},
      {[&] { container.Put("", "<a/>", nullptr); }, Failure::Other, ""}};
  for (const auto& [call, failure, text] : kRefused) {
    const auto error = Thrown(call);
    EXPECT_EQ(error.failure(), failure) << error.what();
    EXPECT_THAT(error.what(), HasSubstr(text));
  }
  ExpectDocuments("a=<a/>;b=<b/>;");
}

TEST_F(ContainerTest, TellsOfItself) {
  container_->Put("b", "<a i='1'>one</a>", nullptr);
  container_->Replace("b", "<a i='1' j='2'>two</a>", nullptr);
  container_->Rename("b", "b", nullptr);
  ExpectDocuments("b=<a i=\"1\" j=\"2\">two</a>;");
  const XDbContainerStatistics statistics = container_->Statistics();
  EXPECT_EQ(statistics.document_count, 1U);
  EXPECT_EQ(statistics.index_entry_count, 3U);
  EXPECT_EQ(statistics.name_count, 3U);
  EXPECT_EQ(statistics.path_count, 3U);
  EXPECT_GT(statistics.document_bytes, 10U);
  EXPECT_GT(statistics.file_bytes, 8192U);
}

TEST_F(ContainerTest, NamesDocumentsInOrderWhileTheyChange) {
  std::vector<std::string> expected;
  for (int i = 0; i < 600; ++i) {
    expected.push_back("d" + std::to_string(1000 + i));
    container_->Put(expected.back(), "<d/>", nullptr);
  }
  std::vector<std::string> names;
  container_->EachName(
      [&](const std::string& name) {
        names.push_back(name);
        container_->Delete(name, nullptr);
        return names.size() < 500;
      },
      nullptr);
  expected.resize(500);
  EXPECT_EQ(names, expected);
  EXPECT_EQ(Names(*container_).size(), 100U);
}

TEST_F(ContainerTest, NeverGeneratesANameTwice) {
  const std::string first = container_->GenerateName(nullptr);
  container_->Put(first, "<a/>", nullptr);
  container_->Delete(first, nullptr);
  Close();
  Open();
  EXPECT_NE(container_->GenerateName(nullptr), first);
}

TEST_F(ContainerTest, KeepsATransactionThatWasRefusedSomething) {
  container_->Put("a", "<a/>", nullptr);
  const auto transaction = environment_->Begin();
  const auto put = [&](const char* name, const char* content) {
    container_->Put(name, content, transaction.get());
  };
  EXPECT_THROW(put("a", "<b/>"), StoreError);
  EXPECT_THROW(put("b", "<b"), StoreError);
  container_->Put("c", "<c/>", transaction.get());
  transaction->Commit();
  ExpectDocuments("a=<a/>;c=<c/>;");
}

// Random changes with many new names, some of them undone, against a map.
TEST_F(ContainerTest, AgreesWithItsIndexAfterRandomChanges) {
  std::minstd_rand random(7);
  std::map<std::string, std::string> model;
  const auto document = [&] {
    const std::string name = "n" + std::to_string(random() % 40);
    return "<r a=\"" + std::to_string(random() % 50) + "\"><" + name + ">" +
           std::string(random() % 90, 'x') + "</" + name + "><k>" +
           std::to_string(random()) + "</k></r>";
  };
  for (int round = 0; round < 60; ++round) {
    const auto transaction =
        random() % 3 == 0 ? nullptr : environment_->Begin();
    auto changed = model;
    for (auto changes = random() % 12 + 1; changes > 0; --changes) {
      const std::string name = "d" + std::to_string(random() % 60);
      if (changed.count(name) == 0) {
        changed[name] = document();
        container_->Put(name, changed[name], transaction.get());
      } else if (random() % 3 == 0) {
        container_->Delete(name, transaction.get());
        changed.erase(name);
      } else if (random() % 2 == 0) {
        const std::string to = "m" + std::to_string(random());
        container_->Rename(name, to, transaction.get());
        changed[to] = changed[name];
        changed.erase(name);
      } else {
        changed[name] = document();
        container_->Replace(name, changed[name], transaction.get());
      }
    }
    if (transaction == nullptr || random() % 3 != 0) model = changed;
    if (transaction != nullptr && model == changed) transaction->Commit();
    if (transaction != nullptr && !transaction->HasEnded())
      transaction->Abort();
    ASSERT_THAT(container_->Verify(), IsEmpty()) << round;
  }
  std::map<std::string, std::string> stored;
  for (const std::string& name : Names(*container_))
    stored[name] = container_->Get(name, nullptr);
  EXPECT_EQ(stored, model);
}

TEST_F(ContainerTest, SeesNamesThatAreAddedElsewhereOrGivenUp) {
  const auto other = OpenAgain();
  auto transaction = environment_->Begin();
  container_->Put("a", "<a><x/></a>", transaction.get());
  transaction->Abort();
  other->Put("b", "<b><y/></b>", nullptr);
  EXPECT_EQ(container_->Get("b", nullptr), "<b><y/></b>");
  // Both add, neither knows of the other's.
  container_->Put("c", "<c><d/></c>", nullptr);
  other->Put("e", "<e><f/></e>", nullptr);
  container_->Put("g", "<g><e/></g>", nullptr);
  transaction = environment_->Begin();
  other->Put("h", "<c><z/></c>", transaction.get());
  other->Put("i", "<c><z/><b/></c>", transaction.get());
  transaction->Commit();
  for (const auto& container : {container_, other}) {
    EXPECT_EQ(Documents(*container),
              "b=<b><y/></b>;c=<c><d/></c>;e=<e><f/></e>;g=<g><e/></g>;"
              "h=<c><z/></c>;i=<c><z/><b/></c>;");
    EXPECT_THAT(container->Verify(), IsEmpty());
  }
}

TEST_F(ContainerTest, LosesNothingToThreadsThatAddNames) {
  constexpr int kEach = 60;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < kEach; ++i) {
        const std::string n = std::to_string(i);
        const std::string name = n + "-" + std::to_string(thread);
        const auto error = Thrown([&] {
          container_->Put(name, "<t" + n + " i='" + n + "'/>", nullptr);
          container_->Replace(name, "<u/>", nullptr);
          if (i % 5 == 0) container_->Delete(name, nullptr);
        });
        EXPECT_STREQ(error.what(), "nothing");
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Names(*container_).size(), 4 * kEach * 4 / 5U);
  EXPECT_THAT(container_->Verify(), IsEmpty());
}

// A document of many megabytes, and a value of every size around the limits of
// the index.
TEST_F(ContainerTest, TakesLargeDocumentsAndLongValues) {
  std::string large = "<l>";
  for (int i = 0; i < 100'000; ++i)
    large += "<i n=\"" + std::to_string(i) + "\">some text of an item</i>";
  large += "</l>";
  container_->Put("large", large, nullptr);
  EXPECT_EQ(container_->Get("large", nullptr), large);
  for (std::size_t size = 0; size < 70; ++size) {
    const std::string document =
        size == 0 ? "<v/>" : "<v>" + std::string(size, 'v') + "</v>";
    container_->Put("v" + std::to_string(size), document, nullptr);
    EXPECT_EQ(container_->Get("v" + std::to_string(size), nullptr), document);
  }
  container_->Delete("large", nullptr);
  EXPECT_THAT(container_->Verify(), IsEmpty());
  EXPECT_EQ(container_->Statistics().index_entry_count, 65U);
}

}  // namespace
}  // namespace kiv::xdb
