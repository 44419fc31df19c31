// Any bytes as a block of the index: refused, or entries that, written again,
// are read the same.
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "input_of_fuzz.h"
#include "xdb/container/index_block.h"
#include "xdb/container/index_key.h"
#include "xdb/tree/tree_error.h"

namespace kiv::fuzz {

using namespace kiv::xdb;

// The entry that an index has of the same node and value.
void CheckEntry(const std::string& bytes) {
  const IndexEntry entry = ReadEntry(bytes);
  if (!entry.is_whole) return;
  std::string again;
  AppendEntry(again, entry.path, entry.value, entry.document, entry.node);
  const IndexEntry same = ReadEntry(again);
  Expect(same.path == entry.path && same.value == entry.value &&
         same.document == entry.document && same.node == entry.node);
}

// A block that is changed stays one that can be read.
void CheckChanges(std::string_view block) {
  // The editor looks back at the entries that it was given.
  const std::string middle(block.substr(0, block.size() / 2));
  const std::string next = middle + "x", last = middle + "y";
  BlockEditor editor(block);
  editor.Insert(middle);
  editor.Remove(next);
  editor.Insert(last);
  const std::string edited = editor.Finish();
  std::vector<std::string> entries;
  BlockReader reader(edited);
  while (reader.Next() && entries.size() < 1000)
    entries.emplace_back(reader.entry());
  BlockEditor again(edited);
  for (const std::string& entry : entries) again.Remove(entry);
  again.Finish();
}

template <typename Work>
void RunOrRefuse(Work work) {
  try {
    work();
  } catch (const TreeError&) {
  }
}

void Run(std::string_view input) {
  RunOrRefuse([&] { CheckChanges(input); });
  std::vector<std::string> entries;
  std::size_t total = 0;
  RunOrRefuse([&] {
    BlockReader reader(input);
    while (reader.Next() && total < 1'000'000) {
      entries.emplace_back(reader.entry());
      total += entries.back().size();
      RunOrRefuse([&] { CheckEntry(entries.back()); });
    }
  });
  BlockWriter writer;
  for (const std::string& entry : entries) writer.Add(entry);
  BlockReader again(writer.bytes());
  for (const std::string& entry : entries)
    Expect(again.Next() && again.entry() == entry);
  Expect(!again.Next());
}

}  // namespace kiv::fuzz
