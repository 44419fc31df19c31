#include "xdb/container/container.h"

#include <atomic>
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
      {[&] { container.Rename("x", "y", nullptr); }, Failure::NotFound, "'x'"},
      {[&] { container.Rename("x", "x", nullptr); }, Failure::NotFound, "'x'"},
      {[&] { container.Delete("x", nullptr); }, Failure::NotFound, "'x'"},
      {[&] { container.Put("x", "<a>\n <b></a>", nullptr); }, Failure::NotXml,
       "'x', line 2, column "},
      {[&] { container.Put("x", "<!DOCTYPE a><a/>", nullptr); },
       Failure::NotXml, "'x'"},
      {[&] { container.Put("", "<a/>", nullptr); }, Failure::Other, ""}};
  for (const auto& refused : kRefused) {
    const auto error = Thrown(refused.call);
    EXPECT_EQ(error.failure(), refused.failure) << error.what();
    EXPECT_THAT(error.what(), HasSubstr(refused.text));
  }
  ExpectDocuments("a=<a/>;b=<b/>;");
}

TEST_F(ContainerTest, ReplacesRenamesAndDeletes) {
  container_->Put("a", "<a i='1'>one</a>", nullptr);
  container_->Replace("a", "<a i='1' j='2'>two</a>", nullptr);
  container_->Rename("a", "b", nullptr);
  container_->Rename("b", "b", nullptr);
  EXPECT_EQ(container_->Get("b", nullptr), "<a i=\"1\" j=\"2\">two</a>");
  EXPECT_FALSE(container_->Has("a", nullptr));
  EXPECT_THAT(container_->Verify(), IsEmpty());
  const XDbContainerStatistics statistics = container_->Statistics();
  EXPECT_EQ(statistics.document_count, 1U);
  EXPECT_EQ(statistics.index_entry_count, 3U);
  EXPECT_EQ(statistics.name_count, 3U);
  EXPECT_EQ(statistics.path_count, 3U);
  EXPECT_EQ(statistics.format_version, 2U);
  EXPECT_GT(statistics.document_bytes, 10U);
  EXPECT_GT(statistics.file_bytes, 8192U);
  container_->Delete("b", nullptr);
  ExpectDocuments("");
  EXPECT_EQ(container_->Statistics().index_entry_count, 0U);
}

TEST_F(ContainerTest, NamesDocumentsInOrderWhileTheyChange) {
  std::vector<std::string> expected;
  for (int i = 0; i < 600; ++i) {
    std::string name = "d" + std::to_string(1000 + i);
    container_->Put(name, "<d/>", nullptr);
    expected.push_back(std::move(name));
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
  const std::string second = container_->GenerateName(nullptr);
  EXPECT_NE(first, second);
  EXPECT_NE(container_->GenerateName(nullptr), second);
}

TEST_F(ContainerTest, ForgetsWhatIsAborted) {
  container_->Put("kept", "<a b='1'>x</a>", nullptr);
  {
    const auto transaction = environment_->Begin();
    container_->Put("new", "<n m='1'><o>y</o></n>", transaction.get());
    container_->Replace("kept", "<other/>", transaction.get());
    EXPECT_EQ(container_->Get("new", transaction.get()),
              "<n m=\"1\"><o>y</o></n>");
    EXPECT_EQ(container_->Get("kept", transaction.get()), "<other/>");
    transaction->Abort();
  }
  {
    // Dropped.
    const auto transaction = environment_->Begin();
    container_->Put("third", "<p><q>z</q></p>", transaction.get());
  }
  ExpectDocuments("kept=<a b=\"1\">x</a>;");
  // Names that were given up mean others now.
  container_->Put("fourth", "<r><s>u</s></r>", nullptr);
  container_->Put("fifth", "<n m='2'/>", nullptr);
  ExpectDocuments(
      "fifth=<n m=\"2\"/>;fourth=<r><s>u</s></r>;kept=<a b=\"1\">x</a>;");
  EXPECT_THAT(OpenAgain()->Verify(), IsEmpty());
}

TEST_F(ContainerTest, KeepsATransactionThatWasRefusedSomething) {
  container_->Put("a", "<a/>", nullptr);
  const auto transaction = environment_->Begin();
  const auto refused = [&](const char* name, const char* content) {
    return Thrown([&] { container_->Put(name, content, transaction.get()); })
        .failure();
  };
  EXPECT_EQ(refused("a", "<b/>"), Failure::AlreadyThere);
  EXPECT_EQ(refused("b", "<b"), Failure::NotXml);
  container_->Put("c", "<c/>", transaction.get());
  transaction->Commit();
  ExpectDocuments("a=<a/>;c=<c/>;");
}

TEST_F(ContainerTest, ChangesSeveralContainersAtOnce) {
  const auto other = OpenContainer(environment_, "other.xdb", kCreate);
  for (const bool commits : {false, true}) {
    const auto transaction = environment_->Begin();
    container_->Put("a", "<a i='1'/>", transaction.get());
    other->Put("b", "<b j='2'/>", transaction.get());
    commits ? transaction->Commit() : transaction->Abort();
    ExpectDocuments(commits ? "a=<a i=\"1\"/>;" : "");
    EXPECT_EQ(Documents(*other), commits ? "b=<b j=\"2\"/>;" : "");
    EXPECT_THAT(other->Verify(), IsEmpty());
  }
}

TEST_F(ContainerTest, SeesNamesThatAnotherProcessAdds) {
  const auto other = OpenAgain();
  container_->Put("a", "<a><b>1</b></a>", nullptr);
  EXPECT_EQ(other->Get("a", nullptr), "<a><b>1</b></a>");
  // Both add, neither knows of the other's.
  container_->Put("c", "<c><d/></c>", nullptr);
  other->Put("e", "<e><f/></e>", nullptr);
  container_->Put("g", "<g><e/></g>", nullptr);
  for (const auto& container : {container_, other}) {
    EXPECT_EQ(Documents(*container),
              "a=<a><b>1</b></a>;c=<c><d/></c>;e=<e><f/></e>;g=<g><e/></g>;");
    EXPECT_THAT(container->Verify(), IsEmpty());
  }
}

TEST_F(ContainerTest, SeesNamesThatAreCommittedOrNot) {
  const auto other = OpenAgain();
  auto transaction = environment_->Begin();
  container_->Put("a", "<a><x/></a>", transaction.get());
  transaction->Abort();
  other->Put("b", "<b><y/></b>", nullptr);
  EXPECT_EQ(container_->Get("b", nullptr), "<b><y/></b>");
  transaction = environment_->Begin();
  other->Put("c", "<c><z/></c>", transaction.get());
  other->Put("d", "<c><z/><b/></c>", transaction.get());
  transaction->Commit();
  container_->Put("e", "<c><z/><b/><w/></c>", nullptr);
  EXPECT_EQ(container_->Get("d", nullptr), "<c><z/><b/></c>");
  EXPECT_EQ(other->Get("e", nullptr), "<c><z/><b/><w/></c>");
  EXPECT_THAT(container_->Verify(), IsEmpty());
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

TEST_F(ContainerTest, LosesNothingToThreads) {
  constexpr int kThreads = 4;
  constexpr int kEach = 60;
  std::atomic<int> failed = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < kEach; ++i) {
        const std::string name =
            "t" + std::to_string(i) + "-" + std::to_string(thread);
        try {
          container_->Put(name,
                          "<t" + std::to_string(i % 9) + " i='" +
                              std::to_string(i) + "'>" + name + "</t" +
                              std::to_string(i % 9) + ">",
                          nullptr);
          if (i % 3 == 0) container_->Replace(name, "<u>r</u>", nullptr);
          if (i % 5 == 0) container_->Delete(name, nullptr);
          container_->Has(name, nullptr);
        } catch (const StoreError& error) {
          ADD_FAILURE() << error.what();
          ++failed;
        }
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(Names(*container_).size(), kThreads * kEach * 4 / 5U);
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
    const std::string value(size, 'v');
    const std::string document = size == 0 ? "<v/>" : "<v>" + value + "</v>";
    container_->Put("v" + std::to_string(size), document, nullptr);
    EXPECT_EQ(container_->Get("v" + std::to_string(size), nullptr), document);
  }
  EXPECT_THAT(container_->Verify(), IsEmpty());
  container_->Delete("large", nullptr);
  EXPECT_THAT(container_->Verify(), IsEmpty());
  EXPECT_EQ(container_->Statistics().index_entry_count, 65U);
}

}  // namespace
}  // namespace kiv::xdb
