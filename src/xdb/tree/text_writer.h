#ifndef XDB_TREE_TEXT_WRITER_H_
#define XDB_TREE_TEXT_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "xdb/tree/text_sink.h"
#include "xdb/tree/tokens.h"
#include "xml/xml_events.h"

namespace kiv::xdb {

// An encoding as far as a writer must know it. The writer's own text is UTF-8;
// what the target has is in it as it is in the tree.
enum class TargetEncoding {
  Utf8,
  Gb2312,   // code page 936
  OtherGb,  // a relative of it, where a few characters have other bytes
};

bool HasCharacter(TargetEncoding target, char32_t character);

// Where a character would have to be a reference but cannot.
struct NotInEncoding {};

// A sink of TokenReader: writes the tokens as a document.
class TextWriter {
 public:
  TextWriter(TextSink& out, const Dictionary& dictionary, TargetEncoding target,
             bool is_version_11)
      : out_(out),
        dictionary_(dictionary),
        target_(target),
        is_version_11_(is_version_11) {}

  void Declaration(std::string_view encoding, XmlStandalone standalone);

  void Start(const NamedToken& named) {
    BeginElement(named);
    is_open_ = true;
    ++depth_;
  }
  void Empty(const NamedToken& named) {
    BeginElement(named);
    out_.Add("/>");
  }
  void Leaf(const NamedToken& named, const TextToken& text) {
    // Nearly always.
    if (IsUsual(named) && !text.is_special && depth_ > 0) {
      const Path& path = *named.path;
      out_.Reserve(path.begin.size() + path.end.size() + text.text.size() + 2);
      CloseTagReserved();
      out_.AddReserved(path.begin);
      out_.AddReserved(">");
      out_.AddReserved(text.text);
      return out_.AddReserved(path.end);
    }
    BeginElement(named);
    out_.Add('>');
    AddText(text);
    EndElement(named);
  }
  void Attribute(const NamedToken& named, const TextToken& text) {
    if (IsUsual(named) && !text.is_special) {
      const Path& path = *named.path;
      out_.Reserve(path.begin.size() + text.text.size() + 1);
      out_.AddReserved(path.begin);
      out_.AddReserved(text.text);
      return out_.AddReserved("\"");
    }
    if (IsUsual(named)) {
      out_.Add(named.path->begin);
    } else {
      out_.Add(' ');
      AddQualified(named);
      out_.Add("=\"");
    }
    if (text.is_special || IsChecked())
      AddEscaped(text.text, true);
    else
      out_.Add(text.text);
    out_.Add('"');
  }
  void Namespace(std::uint32_t, std::string_view prefix, std::string_view uri,
                 std::size_t);
  void Text(std::uint32_t, const TextToken& text, bool) {
    CloseTag();
    AddText(text);
  }
  void CData(std::uint32_t, const TextToken& text, bool) {
    CloseTag();
    AddSection(text.text);
  }
  void Comment(std::uint32_t, const TextToken& text);
  void Instruction(std::uint32_t, std::string_view target,
                   std::string_view content, std::size_t);
  void End(const NamedToken& named, std::uint32_t) {
    --depth_;
    if (!is_open_) return EndElement(named);
    out_.Add("/>");
    is_open_ = false;
  }

 private:
  bool IsChecked() const { return target_ != TargetEncoding::Utf8; }
  // As its path says it is written.
  bool IsUsual(const NamedToken& named) const {
    return !named.has_prefix() && !IsChecked();
  }
  void CloseTag() {
    if (!is_open_) return;
    out_.Reserve(1);
    CloseTagReserved();
  }
  void CloseTagReserved() {
    if (!is_open_) return;
    out_.AddReserved(">");
    is_open_ = false;
  }
  // What stands outside of the root has lines of its own.
  void BeginItem() {
    CloseTag();
    if (depth_ > 0) return;
    if (needs_line_) out_.Add('\n');
    needs_line_ = true;
  }
  void BeginElement(const NamedToken& named) {
    BeginItem();
    if (IsUsual(named)) return out_.Add(named.path->begin);
    out_.Add('<');
    AddQualified(named);
  }
  void EndElement(const NamedToken& named) {
    if (IsUsual(named)) return out_.Add(named.path->end);
    out_.Add("</");
    AddQualified(named);
    out_.Add('>');
  }
  void AddText(const TextToken& text) {
    if (text.is_special || IsChecked())
      AddEscaped(text.text, false);
    else
      out_.Add(text.text);
  }
  void AddQualified(const NamedToken& named);
  void AddEscaped(std::string_view text, bool is_value);
  void AddSection(std::string_view text);
  void AddUnchanged(std::string_view text);
  void AddReference(char32_t character);
  bool IsReference(char32_t character, bool is_value) const;

  TextSink& out_;
  const Dictionary& dictionary_;
  const TargetEncoding target_;
  const bool is_version_11_;
  bool is_open_ = false;
  bool needs_line_ = false;
  std::size_t depth_ = 0;
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_TEXT_WRITER_H_
