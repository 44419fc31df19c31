#include "xdb/tree/stored_tree.h"

#include <algorithm>
#include <array>

namespace kiv::xdb {
namespace {

enum HeadFlag : unsigned char {
  kDeclaration = 1,
  kVersion11 = 2,
  kStandaloneYes = 4,
  kStandaloneNo = 8,
  kEncoding = 16,
  kAllFlags = 31,
};

using ByteSet = std::array<bool, 256>;

constexpr ByteSet SetOf(std::string_view bytes, bool with_controls) {
  ByteSet set{};
  for (const char byte : bytes) set[static_cast<unsigned char>(byte)] = true;
  // Only version 1.1 knows the others, and as references.
  for (unsigned byte = 0; byte < 0x20; ++byte)
    if (with_controls || (byte != '\t' && byte != '\n')) set[byte] = true;
  return set;
}

constexpr ByteSet kSpecialInText = SetOf("<>&\r", false);
constexpr ByteSet kSpecialInValue = SetOf("<&\"\t\n\r", true);
// The lead bytes of NEL and the line separator, which are ends of lines there,
// and of the controls that are references.
constexpr std::string_view kSpecialIn11 = "\x7F\xC2\xE2";

bool IsPlain(std::string_view text, const ByteSet& special,
             bool is_version_11) {
  for (const char byte : text)
    if (special[static_cast<unsigned char>(byte)]) return false;
  return !is_version_11 ||
         text.find_first_of(kSpecialIn11) == std::string_view::npos;
}

}  // namespace

void AppendHead(std::string& out, const TreeHead& head) {
  unsigned flags = 0;
  if (head.has_declaration) flags |= kDeclaration;
  if (head.is_version_11) flags |= kVersion11;
  if (head.standalone == XmlStandalone::Yes) flags |= kStandaloneYes;
  if (head.standalone == XmlStandalone::No) flags |= kStandaloneNo;
  if (!head.encoding.empty()) flags |= kEncoding;
  out += static_cast<char>(flags);
  if (!head.encoding.empty()) AppendSized(out, head.encoding);
  AppendVarint(out, head.node_count);
}

TreeHead TakeHead(StoredBytes& bytes) {
  const unsigned flags = bytes.Byte();
  if (flags > kAllFlags) ThrowDamaged("a flag of the document is unknown");
  TreeHead head;
  head.has_declaration = (flags & kDeclaration) != 0;
  head.is_version_11 = (flags & kVersion11) != 0;
  if ((flags & kStandaloneYes) != 0) head.standalone = XmlStandalone::Yes;
  if ((flags & kStandaloneNo) != 0) head.standalone = XmlStandalone::No;
  if ((flags & kEncoding) != 0) head.encoding = bytes.Sized();
  head.node_count = bytes.Varint32();
  // No token of one byte makes more than one node, and none is the document.
  if (head.node_count > bytes.Left() + 1)
    ThrowDamaged("there are fewer nodes than the document says");
  return head;
}

bool IsPlainText(std::string_view text, bool is_version_11) {
  return IsPlain(text, kSpecialInText, is_version_11);
}

bool IsPlainValue(std::string_view text, bool is_version_11) {
  return IsPlain(text, kSpecialInValue, is_version_11);
}

}  // namespace kiv::xdb
