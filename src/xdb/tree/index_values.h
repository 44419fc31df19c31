#ifndef XDB_TREE_INDEX_VALUES_H_
#define XDB_TREE_INDEX_VALUES_H_

#include <cstddef>
#include <functional>
#include <string_view>

#include "xdb/tree/dictionary.h"
#include "xdb/tree/tree.h"

namespace kiv::xdb {

// Longer values are not looked up: they are texts, not keys.
inline constexpr std::size_t kMostIndexedBytes = 64;

// What an index holds of a stored tree: the value of every attribute, and of
// every element without child elements, empty ones too, in document order.
// Where that is not all there is, `trait` says it of the path: once for each
// node.
//
// Throws TreeError as Tree does.
struct IndexValues {
  std::function<void(PathId path, std::string_view value, NodeId node)> value;
  std::function<void(PathId path, PathTrait trait)> trait;
};

void EachIndexValue(std::string_view bytes, const Dictionary& dictionary,
                    const IndexValues& values);

}  // namespace kiv::xdb

#endif  // XDB_TREE_INDEX_VALUES_H_
