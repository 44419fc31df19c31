#include "xdb/tree/tree_text.h"

#include <algorithm>

#include "util/cp936.h"
#include "util/gb_text.h"
#include "util/utf8.h"
#include "xdb/tree/stored_tree.h"
#include "xdb/tree/text_writer.h"

namespace kiv::xdb {
namespace {

constexpr std::string_view kUtf8 = "UTF-8";

TargetEncoding TargetOf(std::string_view declared) {
  if (EqualIgnoreCase(declared, "GB2312")) return TargetEncoding::Gb2312;
  for (const char* name : {"GBK", "GB18030", "CP936", "windows-936"})
    if (EqualIgnoreCase(declared, name)) return TargetEncoding::OtherGb;
  return TargetEncoding::Utf8;
}

// UTF-8 that has references for what `target` lacks.
std::string Write(std::string_view bytes, const Dictionary& dictionary,
                  TargetEncoding target, std::string_view encoding) {
  StoredBytes stored(bytes);
  const TreeHead head = TakeHead(stored);
  TextSink out(2 * bytes.size() + 64);
  TextWriter writer(out, dictionary, target, head.is_version_11);
  if (head.has_declaration) writer.Declaration(encoding, head.standalone);
  TokenReader(stored.Rest(), stored.Position(), dictionary, writer).Read();
  return out.Take();
}

// Whether each character has the same bytes in all of the GB family; as in
// HasCharacter().
bool IsCommon(std::string_view utf8) {
  for (std::size_t at = utf8.find_first_of("\xE2\xEE\xEF");
       at != std::string_view::npos;
       at = utf8.find_first_of("\xE2\xEE\xEF", at + 1)) {
    char32_t character = 0;
    utf8::DecodeOne(utf8.data() + at, utf8.data() + utf8.size(), character);
    if (!HasCharacter(TargetEncoding::OtherGb, character)) return false;
  }
  return true;
}

// Whether nothing was lost: what the code page lacks is a "?" there, a byte
// that stands for nothing else.
bool IsWhole(std::string_view utf8, std::string_view gb,
             TargetEncoding target) {
  return (target != TargetEncoding::OtherGb || IsCommon(utf8)) &&
         std::count(utf8.begin(), utf8.end(), '?') ==
             std::count(gb.begin(), gb.end(), '?');
}

}  // namespace

std::string TreeText(std::string_view bytes, const Dictionary& dictionary) {
  StoredBytes stored(bytes);
  const std::string_view declared = TakeHead(stored).encoding;
  const TargetEncoding target = TargetOf(declared);
  if (target == TargetEncoding::Utf8)
    return Write(bytes, dictionary, target,
                 declared.empty() || EqualIgnoreCase(declared, kUtf8) ? declared
                                                                      : kUtf8);
  // Nearly always the encoding has everything.
  const std::string utf8 =
      Write(bytes, dictionary, TargetEncoding::Utf8, declared);
  std::string gb = Utf8ToCp936(utf8);
  if (IsWhole(utf8, gb, target)) return gb;
  try {
    return Utf8ToCp936(Write(bytes, dictionary, target, declared));
  } catch (const NotInEncoding&) {
    return Write(bytes, dictionary, TargetEncoding::Utf8, kUtf8);
  }
}

}  // namespace kiv::xdb
