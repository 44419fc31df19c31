// Any bytes as a block of the index: refused, or entries that, written again,
// are read the same.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/container/index_block.h"
#include "xdb/container/index_key.h"
#include "xdb/tree/tree_error.h"

using namespace kiv::xdb;

namespace {

void Expect(bool holds) {
  if (!holds) std::abort();
}

// The entry that an index has of the same node and value.
void CheckEntry(const std::string& bytes) {
  try {
    const IndexEntry entry = ReadEntry(bytes);
    if (!entry.is_whole) return;
    std::string again;
    AppendEntry(again, entry.path, entry.value, entry.document, entry.node);
    const IndexEntry same = ReadEntry(again);
    Expect(same.path == entry.path && same.value == entry.value &&
           same.document == entry.document && same.node == entry.node);
  } catch (const TreeError&) {
  }
}

// A block that is changed stays one that can be read.
void CheckChanges(std::string_view block) {
  const std::string middle(block.substr(0, block.size() / 2));
  const std::string behind = middle + "x";
  const std::string last = middle + "y";
  std::string edited;
  try {
    BlockEditor editor(block);
    editor.Insert(middle);
    editor.Remove(behind);
    editor.Insert(last);
    edited = editor.Finish();
    std::vector<std::string> entries;
    BlockReader reader(edited);
    while (reader.Next() && entries.size() < 1000)
      entries.emplace_back(reader.entry());
    BlockEditor again(edited);
    for (const std::string& entry : entries) again.Remove(entry);
    again.Finish();
  } catch (const TreeError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  const std::unique_ptr<char[]> block(new char[size]);
  if (size > 0) std::memcpy(block.get(), bytes, size);
  CheckChanges(std::string_view(block.get(), size));
  std::vector<std::string> entries;
  std::size_t total = 0;
  try {
    BlockReader reader(std::string_view(block.get(), size));
    while (reader.Next() && total < 1'000'000) {
      entries.emplace_back(reader.entry());
      total += entries.back().size();
      CheckEntry(entries.back());
    }
  } catch (const TreeError&) {
  }
  BlockWriter writer;
  for (const std::string& entry : entries) writer.Add(entry);
  BlockReader again(writer.bytes());
  for (const std::string& entry : entries)
    Expect(again.Next() && again.entry() == entry);
  Expect(!again.Next());
  return 0;
}
