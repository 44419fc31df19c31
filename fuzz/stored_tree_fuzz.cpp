// Any bytes as the stored form of a tree whose paths are those of a fixed
// dictionary: refused, or walked through, written and indexed without harm.
#include <cstring>
#include <memory>

#include "input_of_fuzz.h"
#include "xdb/tree/index_values.h"
#include "xdb/tree/tree.h"
#include "xdb/tree/tree_builder.h"
#include "xdb/tree/tree_error.h"
#include "xdb/tree/tree_text.h"

namespace kiv::fuzz {

using namespace kiv::xdb;

// Paths 1 to 14: a, a/@x, a/b and so on, some of them with a namespace.
std::shared_ptr<Dictionary> MakeDictionary() {
  auto dictionary = std::make_shared<Dictionary>();
  const NameId a = dictionary->AddName("", "", "a");
  const NameId x = dictionary->AddName("", "", "x");
  const NameId b = dictionary->AddName("p", "u", "b");
  const NameId y = dictionary->AddName("q", "v", "y");
  PathId parent = dictionary->AddPath(kDocumentPath, PathKind::Element, a);
  for (int level = 0; level < 4; ++level) {
    dictionary->AddPath(parent, PathKind::Attribute, x);
    dictionary->AddPath(parent, PathKind::Attribute, y);
    parent = dictionary->AddPath(parent, PathKind::Element, b);
  }
  dictionary->AddPath(parent, PathKind::Element, a);
  return dictionary;
}

void Walk(const Tree& tree) {
  NodeId last = 0;
  for (NodeId node = 0; node != tree.node_count(); ++node) {
    Expect(tree.End(node) > node && tree.End(node) <= tree.node_count());
    Expect(node == 0 || (tree[node].parent < node &&
                         tree.End(tree[node].parent) >= tree.End(node)));
    tree.value(node);
    tree.target(node);
    if (tree.kind(node) == NodeKind::Element ||
        tree.kind(node) == NodeKind::Attribute) {
      tree.prefix(node);
      Expect(tree.dictionary().HasPath(tree.path(node)));
      Expect(tree.FirstChild(node) <= tree.End(node));
    }
    last = node;
  }
  tree.StringValue(last);
  tree.StringValue(0);
}

void Run(std::string_view input) {
  static const std::shared_ptr<Dictionary> dictionary = MakeDictionary();
  try {
    const Tree tree(dictionary, nullptr, input);
    Walk(tree);
    // Whoever can decode it can write and index it.
    TreeText(input, *dictionary);
    const auto expect_same = [&](PathId path, std::string_view value,
                                 NodeId node) {
      Expect(tree.path(node) == path && tree.StringValue(node) == value);
    };
    EachIndexValue(input, *dictionary,
                   {.value = expect_same, .trait = [](PathId, PathTrait) {}});
  } catch (const TreeError&) {
  }
}

}  // namespace kiv::fuzz
