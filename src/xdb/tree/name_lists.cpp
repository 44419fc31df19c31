#include "xdb/tree/name_lists.h"

#include <utility>

#include "xdb/tree/tree.h"

namespace kiv::xdb {

NameLists::NameLists(std::span<const Node> nodes) {
  for (const Node& node : nodes)
    if (node.kind() == NodeKind::Element) ++lists_[node.word].size;
  std::uint32_t end = 0;
  for (auto& [word, list] : lists_) {
    list.begin = end;
    end += std::exchange(list.size, 0);
  }
  nodes_.resize(end);
  for (NodeId node = 0; node != nodes.size(); ++node) {
    if (nodes[node].kind() != NodeKind::Element) continue;
    List& list = lists_[nodes[node].word];
    nodes_[list.begin + list.size++] = node;
  }
}

std::span<const std::uint32_t> NameLists::Find(std::uint32_t word) const {
  const auto found = lists_.find(word);
  if (found == lists_.end()) return {};
  return {nodes_.data() + found->second.begin, found->second.size};
}

}  // namespace kiv::xdb
