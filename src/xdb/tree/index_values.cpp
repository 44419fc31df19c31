#include "xdb/tree/index_values.h"

#include <string>
#include <utility>
#include <vector>

#include "xdb/tree/stored_tree.h"
#include "xdb/tree/tokens.h"

namespace kiv::xdb {
namespace {

// A sink of TokenReader.
class ValueCollector {
 public:
  explicit ValueCollector(const IndexValues& values) : values_(values) {}

  void Start(const NamedToken&) {
    ToParent();
    levels_.emplace_back();
    text_.clear();
  }
  void Empty(const NamedToken& named) {
    ToParent();
    Give(named, {});
  }
  void Leaf(const NamedToken& named, const TextToken& text) {
    ToParent();
    Give(named, text.text);
  }
  void Attribute(const NamedToken& named, const TextToken& text) {
    Give(named, text.text);
  }
  void Namespace(std::uint32_t, std::string_view, std::string_view,
                 std::size_t) {}
  void Text(std::uint32_t, const TextToken& text, bool) { Add(text.text); }
  void CData(std::uint32_t, const TextToken& text, bool) { Add(text.text); }
  void Comment(std::uint32_t, const TextToken&) { EndText(); }
  void Instruction(std::uint32_t, std::string_view, std::string_view,
                   std::size_t) {
    EndText();
  }
  void End(const NamedToken& named, std::uint32_t) {
    const Level& level = levels_.back();
    if (level.has_elements) {
      values_.trait(named.path_id, kHasParents);
    } else {
      if (level.text_nodes > 1) values_.trait(named.path_id, kHasSplitText);
      Give(named, text_);
    }
    levels_.pop_back();
  }

 private:
  struct Level {
    bool has_elements = false;
    bool is_in_text = false;
    std::uint32_t text_nodes = 0;
  };

  void ToParent() {
    if (!levels_.empty()) levels_.back().has_elements = true;
  }
  // Only an element without elements needs its text, and there is at most one
  // that is open and may still be such.
  void Add(std::string_view text) {
    Level& level = levels_.back();
    if (!std::exchange(level.is_in_text, true)) ++level.text_nodes;
    if (!level.has_elements && text_.size() <= kMostIndexedBytes)
      text_.append(text.substr(0, kMostIndexedBytes + 1));
  }
  // Outside of the document element too.
  void EndText() {
    if (!levels_.empty()) levels_.back().is_in_text = false;
  }
  void Give(const NamedToken& named, std::string_view value) {
    if (value.size() > kMostIndexedBytes)
      values_.trait(named.path_id, kHasLongValues);
    else
      values_.value(named.path_id, value, named.node);
  }

  const IndexValues& values_;
  std::vector<Level> levels_;
  std::string text_;
};

}  // namespace

void EachIndexValue(std::string_view bytes, const Dictionary& dictionary,
                    const IndexValues& values) {
  StoredBytes stored(bytes);
  TakeHead(stored);
  ValueCollector collector(values);
  TokenReader(stored.Rest(), stored.Position(), dictionary, collector).Read();
}

}  // namespace kiv::xdb
