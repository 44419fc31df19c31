#include "xdb/container/container_reading.h"

#include <algorithm>
#include <random>
#include <string>

#include "xdb/container/container_testing.h"

namespace kiv::xdb {
namespace {

// The path of elements from the root.
PathId PathOf(const ContainerReading& reading,
              const std::vector<std::string>& names) {
  const Dictionary& dictionary = reading.dictionary();
  PathId path = kDocumentPath;
  for (const std::string& name : names)
    path = *dictionary.FindPath(path, PathKind::Element,
                                *dictionary.FindName("", name));
  return path;
}

bool IsIn(const ValueRange& range, const std::string& value) {
  return (!range.from || value > range.from->value ||
          (range.from->is_included && value == range.from->value)) &&
         (!range.to || value < range.to->value ||
          (range.to->is_included && value == range.to->value));
}

// "name:value" of each hit that is in the range, by the node itself.
std::vector<std::string> Found(const ContainerReading& reading,
                               const ValueRange& range) {
  std::vector<std::string> found;
  IndexHits hits = reading.Find(range);
  IndexHit hit;
  while (hits.Next(hit)) {
    const auto document = reading.Document(hit.document);
    if (!document) continue;
    const std::string value = document->tree->StringValue(hit.node);
    EXPECT_TRUE(IsIn(range, value) || !hit.is_certain) << value;
    if (IsIn(range, value)) found.push_back(document->name + ":" + value);
  }
  return found;
}

class ReadingTest : public ContainerTest {
 protected:
  void PutValue(const std::string& name, const std::string& value,
                Transaction* transaction = nullptr) {
    container_->Put(name, "<r><v>" + value + "</v></r>", transaction);
  }
};

TEST_F(ReadingTest, SaysWhereTheIndexHasNotAll) {
  container_->Put("a", "<r><v>x</v><w/></r>", nullptr);
  const auto expect_traits = [](Container& container, Transaction* transaction,
                                int of_v, int of_w) {
    const ContainerReading reading(container, transaction);
    EXPECT_EQ(reading.Traits(PathOf(reading, {"r"})), kHasParents);
    EXPECT_EQ(reading.Traits(PathOf(reading, {"r", "v"})), of_v);
    EXPECT_EQ(reading.Traits(PathOf(reading, {"r", "w"})), of_w);
  };
  expect_traits(*container_, nullptr, 0, 0);
  const auto other = OpenAgain();
  const auto transaction = environment_->Begin();
  other->Put("b", "<r><v><u/></v><w>" + std::string(65, 'w') + "</w></r>",
             transaction.get());
  expect_traits(*other, transaction.get(), kHasParents, kHasLongValues);
  transaction->Commit();
  expect_traits(*container_, nullptr, kHasParents, kHasLongValues);
}

// Ranges of random values, short, long and with common beginnings, and single
// ones, against a list.
TEST_F(ReadingTest, FindsRanges) {
  std::minstd_rand random(11);
  const auto value = [&] {
    return std::string(random() % 3 * 10, 'p') +
           std::string(random() % 3, 'q') + std::to_string(random() % 30);
  };
  std::vector<std::pair<std::string, std::string>> model;
  const auto transaction = environment_->Begin();
  for (int i = 0; i < 800; ++i) {
    model.emplace_back("d" + std::to_string(i), value());
    PutValue(model.back().first, model.back().second, transaction.get());
  }
  transaction->Commit();
  const ContainerReading reading(*container_, nullptr);
  const PathId path = PathOf(reading, {"r", "v"});
  for (int i = 0; i < 60; ++i) {
    ValueRange range{path, {}, {}};
    if (random() % 5 != 0)
      range.from = ValueRange::Bound{value(), random() % 2 == 0};
    if (random() % 5 != 0)
      range.to = ValueRange::Bound{value(), random() % 2 == 0};
    if (i % 4 == 0)
      range = ValueRange::Equal(path, i == 0 ? "none" : model[i].second);
    std::vector<std::string> expected;
    for (const auto& [name, text] : model)
      if (IsIn(range, text)) expected.push_back(name + ":" + text);
    EXPECT_THAT(Found(reading, range),
                testing::UnorderedElementsAreArray(expected));
    EXPECT_GE(reading.EstimateHits(range), expected.size());
  }
}

TEST_F(ReadingTest, GuessesHowManyThereAre) {
  std::string document = "<r>";
  for (int i = 0; i < 20'000; ++i)
    document += "<v>" + std::to_string(i * 7919 % 100'000) + "</v><w>1</w>";
  container_->Put("many", document + "</r>", nullptr);
  PutValue("few", "none");
  const ContainerReading reading(*container_, nullptr);
  const PathId path = PathOf(reading, {"r", "v"});
  EXPECT_EQ(reading.EstimateHits(ValueRange::Equal(path, "none")), 1U);
  const auto all = reading.EstimateHits(ValueRange::All(path));
  EXPECT_GT(all, 10'000U);
  EXPECT_LT(all, 40'000U);
}

TEST_F(ReadingTest, WalksThroughDocumentsWhileTheyChange) {
  std::vector<std::string> expected;
  for (int i = 0; i < 200; ++i) {
    expected.push_back("d" + std::to_string(1000 + i));
    PutValue(expected.back(), std::to_string(i));
  }
  const ContainerReading reading(*container_, nullptr);
  DocumentScan scan = reading.Documents();
  DocumentTree document;
  std::vector<std::string> names;
  while (scan.Next(document)) {
    EXPECT_EQ(document.tree->StringValue(0), std::to_string(names.size()));
    names.push_back(document.name);
    container_->Delete(document.name, nullptr);
    EXPECT_FALSE(reading.Document(document.id));
  }
  EXPECT_EQ(names, expected);
}

TEST_F(ReadingTest, KeepsLargeTreesUntilTheyChange) {
  const auto other = OpenAgain();
  const std::string large(5000, 'x');
  container_->Put("a", "<r><v>" + large + "</v></r>", nullptr);
  const ContainerReading reading(*container_, nullptr);
  const auto first = reading.Document("a");
  EXPECT_EQ(reading.Document("a"), first);
  // By another process.
  other->Replace("a", "<r><v>" + large + "y</v></r>", nullptr);
  const auto second = reading.Document("a");
  EXPECT_NE(second, first);
  EXPECT_EQ(second->StringValue(0), large + "y");
  EXPECT_EQ(first->StringValue(0), large);
  const auto transaction = environment_->Begin();
  container_->Replace("a", "<r><v>" + large + "z</v></r>", transaction.get());
  const ContainerReading inside(*container_, transaction.get());
  EXPECT_EQ(inside.Document("a")->StringValue(0), large + "z");
  transaction->Abort();
  EXPECT_EQ(reading.Document("a"), second);
}

}  // namespace
}  // namespace kiv::xdb
