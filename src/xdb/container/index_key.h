#ifndef XDB_CONTAINER_INDEX_KEY_H_
#define XDB_CONTAINER_INDEX_KEY_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "xdb/tree/tree.h"

// An entry of the index as bytes whose order is that of path, value, document,
// node. The bytes of a value of up to kWholeBytes end with 0, which no document
// holds; of a longer one there are so many, then 1 and a hash of all.
namespace kiv::xdb {

using DocumentId = std::uint64_t;

inline constexpr std::size_t kWholeBytes = 20;

// A number whose bytes sort as it does.
void AppendOrdered(std::string& out, std::uint64_t number);
std::string OrderedKey(std::uint64_t number);

// What all entries of a value of a path begin with; those of the path begin
// with its OrderedKey.
void AppendValueKey(std::string& out, PathId path, std::string_view value);
void AppendEntry(std::string& out, PathId path, std::string_view value,
                 DocumentId document, NodeId node);

struct IndexEntry {
  PathId path = kDocumentPath;
  std::string_view value;  // or how it begins
  bool is_whole = false;
  DocumentId document = 0;
  NodeId node = 0;
};

// Throws TreeError for what is no entry.
IndexEntry ReadEntry(std::string_view entry);

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_INDEX_KEY_H_
