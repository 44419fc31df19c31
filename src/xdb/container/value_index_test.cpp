#include "xdb/container/value_index.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "gtest/gtest.h"
#include "port/test_folder.h"
#include "xdb/container/index_block.h"
#include "xdb/tree/tree_error.h"

namespace kiv::xdb {
namespace {

TEST(IndexKey, SortsNumbersAsTheyAre) {
  std::set<std::uint64_t> numbers = {240,   241,   2287,      2288,
                                     67823, 67824, UINT64_MAX};
  for (unsigned bits = 0; bits < 64; ++bits)
    for (int off : {-1, 0, 1}) numbers.insert((1ULL << bits) + off);
  std::string last;
  for (const std::uint64_t number : numbers) {
    std::string bytes;
    AppendOrdered(bytes, number);
    EXPECT_LT(last, bytes) << number;
    last = bytes;
  }
}

TEST(IndexKey, SortsByPathValueDocumentNode) {
  const std::string twenty(20, 'm');
  // Values of more than twenty bytes stand behind what they begin with.
  const std::vector<std::tuple<PathId, std::string, DocumentId, NodeId>>
      ascending = {
          {1, "", 1, 1},      {1, "", 1, 2},           {1, "", 300, 1},
          {1, "a", 1, 1},     {1, "a", 70'000, 1},     {1, "a", 1'000'000, 1},
          {1, "a b", 1, 1},   {1, "ab", 1, 1},         {1, "b", 1, 1},
          {1, twenty, 1, 1},  {1, twenty + "a", 1, 1}, {1, "n", 1, 1},
          {2, "", 1, 1},      {250, "", 1, 1},         {3000, "", 1, 1},
          {100'000, "", 1, 1}};
  std::string last;
  for (const auto& [path, value, document, node] : ascending) {
    std::string entry;
    AppendEntry(entry, path, value, document, node);
    EXPECT_LT(last, entry) << value;
    const IndexEntry read = ReadEntry(entry);
    EXPECT_EQ(read.path, path);
    EXPECT_EQ(read.value, value.substr(0, 20));
    EXPECT_EQ(read.is_whole, value.size() <= 20);
    EXPECT_EQ(read.document, document);
    EXPECT_EQ(read.node, node);
    for (std::size_t size = 0; size < entry.size(); ++size)
      EXPECT_THROW(ReadEntry(entry.substr(0, size)), TreeError);
    last = entry;
  }
}

class ValueIndexTest : public testing::Test {
 protected:
  ValueIndexTest() : environment_(DB_CXX_NO_EXCEPTIONS) {
    environment_.open(nullptr, DB_CREATE | DB_INIT_MPOOL | DB_PRIVATE, 0);
    table_.emplace(environment_, "index", "index.db");
    EXPECT_EQ(table_->Open(nullptr, "index.db", DB_CREATE, false), 0);
  }
  ~ValueIndexTest() override {
    table_.reset();
    environment_.close(0);
  }

  std::set<std::string> All(const std::string& from = "") {
    std::set<std::string> entries;
    EntryReader reader(*table_, nullptr, from);
    std::string last;
    while (reader.Next()) {
      EXPECT_LT(last, reader.entry());
      last = reader.entry();
      entries.insert(last);
    }
    return entries;
  }

  TestFolder folder_;
  DbEnv environment_;
  std::optional<Table> table_;
};

TEST_F(ValueIndexTest, HoldsWhatASetHolds) {
  std::minstd_rand random(3);
  std::set<std::string> model;
  ValueIndex index(*table_);
  for (int round = 0; round < 120; ++round) {
    IndexChanges changes;
    const auto count = round % 10 == 0 ? 3000UL : random() % 40;
    for (auto i = count; i > 0; --i) {
      std::string entry;
      const auto path = static_cast<PathId>(random() % 5 + 1);
      AppendEntry(
          entry, path,
          std::string(random() % 30, 'v') + std::to_string(random() % 200),
          random() % 3000, static_cast<NodeId>(random() % 9));
      const bool is_added = random() % 10 < (round < 80 ? 8 : 1);
      // Those that are there, once the set is to shrink.
      if (!is_added && !model.empty() && random() % 2 == 0) {
        const auto found = model.lower_bound(entry);
        entry = found == model.end() ? *model.begin() : *found;
      }
      changes.Add(entry, is_added);
      if (is_added)
        model.insert(entry);
      else
        model.erase(entry);
    }
    changes.Sort();
    index.Apply(nullptr, changes);
  }
  EXPECT_EQ(All(), model);
  for (int i = 0; i < 50; ++i) {
    std::string from;
    AppendValueKey(from, static_cast<PathId>(random() % 6),
                   std::string(random() % 30, 'v'));
    EXPECT_EQ(All(from),
              std::set<std::string>(model.lower_bound(from), model.end()));
  }
  IndexChanges rest;
  for (const std::string& entry : model) rest.Add(entry, false);
  index.Apply(nullptr, rest);
  EXPECT_TRUE(All().empty());
}

}  // namespace
}  // namespace kiv::xdb
