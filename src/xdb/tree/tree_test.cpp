#include "xdb/tree/tree.h"

#include <string>

#include "xdb/tree/index_values.h"
#include "xdb/tree/tree_error.h"
#include "xdb/tree/tree_testing.h"

namespace kiv::xdb {
namespace {

// A tree as one line, in document order: "E a(A b=1 T x)".
std::string Shape(const Tree& tree, NodeId node = 0) {
  std::string shape;
  const auto value = [&] { return std::string(tree.value(node)); };
  const auto name = [&] {
    const std::string prefix(tree.prefix(node));
    return (prefix.empty() ? "" : prefix + ":") + tree.name(node).local;
  };
  switch (tree.kind(node)) {
    case NodeKind::Attribute:
      return "A " + name() + "=" + value();
    case NodeKind::Namespace:
      return "N " + std::string(tree.target(node)) + "=" + value();
    case NodeKind::Text:
      return "T " + value();
    case NodeKind::Comment:
      return "C " + value();
    case NodeKind::Instruction:
      return "I " + std::string(tree.target(node)) + "=" + value();
    case NodeKind::Element:
      shape = "E " + name();
      break;
    case NodeKind::Document:
      shape = "D";
  }
  shape += "(";
  for (NodeId child = node + 1; child != tree.End(node);
       child = tree.End(child)) {
    EXPECT_EQ(tree[child].parent, node);
    if (child != node + 1) shape += " ";
    shape += Shape(tree, child);
  }
  return shape + ")";
}

using TreeNodes = TreeTest;

TEST_F(TreeNodes, StandInDocumentOrder) {
  EXPECT_EQ(Shape(*TreeOf("<!--c--><a xmlns:p='u' x='1' p:y='2'>t<p:b>u</p:b>"
                          "<c/><?i j?></a><?k?>")),
            "D(C c E a(N p=u A x=1 A p:y=2 T t E p:b(T u) E c() I i=j) I k=)");
}

TEST_F(TreeNodes, JoinTextAndSections) {
  const auto tree = TreeOf(
      "<a>x<![CDATA[<y>]]>z<b><![CDATA[]]></b><![CDATA[]]>w<!--c-->v"
      "<c><![CDATA[s]]></c></a>");
  EXPECT_EQ(Shape(*tree), "D(E a(T x<y>z E b() T w C c T v E c(T s)))");
  EXPECT_EQ(tree->StringValue(0), "x<y>zwvs");
}

std::string PathText(const Dictionary& dictionary, PathId id) {
  const Path& path = dictionary.path(id);
  if (path.kind == PathKind::Document) return "";
  return PathText(dictionary, path.parent) +
         (path.kind == PathKind::Attribute ? "/@" : "/") +
         dictionary.name(path.name).local;
}

TEST_F(TreeNodes, HaveTheirValuesInTheIndexWhereTheyAreLeaves) {
  const std::string longest(64, 'x');
  const std::string too_long(65, 'x');
  const struct {
    std::string document;
    std::string values;  // path and value of each, in order
    std::string traits;
  } kRows[] = {
      {"<a b='1'><c>2</c><d/><e f='3'>4</e></a>",
       "/a/@b=1;/a/c=2;/a/d=;/a/e/@f=3;/a/e=4;", "/a=1;"},
      {"<a><b>x<!--c-->y<?i?>z</b><b><![CDATA[u]]>v</b></a>",
       "/a/b=xyz;/a/b=uv;", "/a/b=4;/a=1;"},
      {"<a><b>x</b><b>y<c/>z</b></a>", "/a/b=x;/a/b/c=;", "/a/b=1;/a=1;"},
      {"<a b='" + longest + "'/>", "/a/@b=" + longest + ";/a=;", ""},
      {"<a b='" + too_long + "'><c>" + too_long + "</c></a>", "",
       "/a/@b=2;/a/c=2;/a=1;"},
      {"<a>" + longest + "<!--c-->x</a>", "", "/a=4;/a=2;"}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.document);
    auto dictionary = std::make_shared<Dictionary>();
    const std::string bytes = StoredForm(row.document, *dictionary);
    const Tree tree(dictionary, nullptr, bytes);
    std::string values;
    std::string traits;
    EachIndexValue(bytes, *dictionary,
                   {.value =
                        [&](PathId path, std::string_view value, NodeId node) {
                          values += PathText(*dictionary, path) + "=" +
                                    std::string(value) + ";";
                          EXPECT_EQ(tree.StringValue(node), value);
                          EXPECT_EQ(tree.path(node), path);
                        },
                    .trait =
                        [&](PathId path, PathTrait trait) {
                          traits += PathText(*dictionary, path) + "=" +
                                    std::to_string(trait) + ";";
                        }});
    EXPECT_EQ(values, row.values);
    EXPECT_EQ(traits, row.traits);
  }
}

constexpr char kSample[] =
    "<?xml version='1.0' encoding='UTF-8'?><a xmlns:p='u' x='1'><b>text</b>"
    "<p:c y='&lt;'>m<![CDATA[n]]>o<d/><!--c--></p:c><q:c xmlns:q='u'/>"
    "<?i j?></a>";

// Reads all that there is to read.
void Walk(const std::shared_ptr<Dictionary>& dictionary,
          const std::string& bytes) {
  const Tree tree(dictionary, nullptr, bytes);
  for (NodeId node = 0; node != tree.node_count(); ++node) {
    tree.value(node);
    tree.target(node);
    tree.StringValue(node);
    if (tree.kind(node) == NodeKind::Element ||
        tree.kind(node) == NodeKind::Attribute) {
      tree.prefix(node);
      tree.path(node);
      tree.FirstChild(node);
    }
  }
  TreeText(bytes, *dictionary);
  EachIndexValue(bytes, *dictionary,
                 {.value = [](PathId, std::string_view, NodeId) {},
                  .trait = [](PathId, PathTrait) {}});
}

using DamagedTree = TreeTest;

TEST_F(DamagedTree, IsRefusedOrReadButNeverHarms) {
  auto dictionary = std::make_shared<Dictionary>();
  const std::string whole = StoredForm(kSample, *dictionary);
  std::size_t refused = 0;
  std::size_t tried = 0;
  const auto try_it = [&](const std::string& bytes) {
    ++tried;
    try {
      // A block of exactly its size.
      Walk(dictionary, std::string(bytes.begin(), bytes.end()));
    } catch (const TreeError&) {
      ++refused;
    }
  };
  for (std::size_t i = 0; i < whole.size(); ++i) {
    try_it(whole.substr(0, i));
    for (unsigned byte = 0; byte < 256; ++byte) {
      std::string bytes = whole;
      bytes[i] = static_cast<char>(byte);
      try_it(bytes);
    }
  }
  EXPECT_GT(refused, tried / 2);
  EXPECT_LT(refused, tried);
  // With a dictionary that does not know its paths.
  EXPECT_THROW(Tree(std::make_shared<Dictionary>(), nullptr, whole),
               UnknownPath);
}

TEST_F(DamagedTree, TakesNoMemoryForNodesThatAreNotThere) {
  std::string bytes;
  TreeHead head;
  head.node_count = 4'000'000'000U;
  AppendHead(bytes, head);
  EXPECT_THROW(Tree(std::make_shared<Dictionary>(), nullptr, bytes), TreeError);
}

}  // namespace
}  // namespace kiv::xdb
