#include "xdb/tree/text_writer.h"

#include "util/cp936.h"
#include "util/hex_digits.h"
#include "util/utf8.h"

namespace kiv::xdb {
namespace {

constexpr char32_t kEuro = 0x20AC;
constexpr std::string_view kSectionBegin = "<![CDATA[";
constexpr std::string_view kSectionEnd = "]]>";

// The character at `at`, and what is behind it.
const char* Next(const char* at, const char* end, char32_t& character) {
  return utf8::DecodeOne(at, end, character);
}

}  // namespace

bool HasCharacter(TargetEncoding target, char32_t character) {
  if (target == TargetEncoding::Utf8 || character < 0x80) return true;
  // Private characters have bytes in the code page where its relatives have
  // others by now.
  if (target == TargetEncoding::OtherGb &&
      (character == kEuro || (character >= 0xE000 && character <= 0xF8FF)))
    return false;
  return IsInCp936(character);
}

void TextWriter::Declaration(std::string_view encoding,
                             XmlStandalone standalone) {
  out_.Add(is_version_11_ ? "<?xml version=\"1.1\"" : "<?xml version=\"1.0\"");
  if (!encoding.empty()) {
    out_.Add(" encoding=\"");
    out_.Add(encoding);
    out_.Add('"');
  }
  if (standalone == XmlStandalone::Yes) out_.Add(" standalone=\"yes\"");
  if (standalone == XmlStandalone::No) out_.Add(" standalone=\"no\"");
  out_.Add("?>");
  needs_line_ = true;
}

void TextWriter::Namespace(std::uint32_t, std::string_view prefix,
                           std::string_view uri, std::size_t) {
  out_.Add(prefix.empty() ? " xmlns" : " xmlns:");
  AddUnchanged(prefix);
  out_.Add("=\"");
  AddEscaped(uri, true);
  out_.Add('"');
}

void TextWriter::Comment(std::uint32_t, const TextToken& text) {
  BeginItem();
  out_.Add("<!--");
  AddUnchanged(text.text);
  out_.Add("-->");
}

void TextWriter::Instruction(std::uint32_t, std::string_view target,
                             std::string_view content, std::size_t) {
  BeginItem();
  out_.Add("<?");
  AddUnchanged(target);
  if (!content.empty()) out_.Add(' ');
  AddUnchanged(content);
  out_.Add("?>");
}

void TextWriter::AddQualified(const NamedToken& named) {
  const Name& name = dictionary_.name(named.path->name);
  const std::string_view prefix =
      named.has_prefix() ? named.prefix() : std::string_view(name.prefix);
  AddUnchanged(prefix);
  if (!prefix.empty()) out_.Add(':');
  AddUnchanged(name.local);
}

// As the text of a name, comment or instruction, where there are no references.
void TextWriter::AddUnchanged(std::string_view text) {
  if (IsChecked()) {
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end;) {
      char32_t character = 0;
      at = Next(at, end, character);
      if (!HasCharacter(target_, character)) throw NotInEncoding();
    }
  }
  out_.Add(text);
}

void TextWriter::AddReference(char32_t character) {
  char digits[8];
  std::size_t count = 0;
  auto rest = static_cast<std::uint32_t>(character);
  do {
    digits[count++] = kUpperHexDigits[rest % 16];
    rest /= 16;
  } while (rest != 0);
  out_.Add("&#x");
  while (count > 0) out_.Add(digits[--count]);
  out_.Add(';');
}

// Whether a reader would take the character for something else.
bool TextWriter::IsReference(char32_t character, bool is_value) const {
  if (character < 0x20)
    return is_value || (character != '\t' && character != '\n');
  if (character < 0x7F) return false;
  if (is_version_11_ && (character <= 0x9F || character == 0x2028)) return true;
  return !HasCharacter(target_, character);
}

void TextWriter::AddEscaped(std::string_view text, bool is_value) {
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at != end;) {
    char32_t character = 0;
    const char* const next = Next(at, end, character);
    if (character == '&')
      out_.Add("&amp;");
    else if (character == '<')
      out_.Add("&lt;");
    else if (character == '>' && !is_value)
      out_.Add("&gt;");
    else if (character == '"' && is_value)
      out_.Add("&quot;");
    else if (IsReference(character, is_value))
      AddReference(character);
    else
      out_.Add({at, static_cast<std::size_t>(next - at)});
    at = next;
  }
}

// What cannot stand in a section stands between two.
void TextWriter::AddSection(std::string_view text) {
  out_.Add(kSectionBegin);
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at != end;) {
    char32_t character = 0;
    const char* const next = Next(at, end, character);
    const auto left = static_cast<std::size_t>(end - at);
    if (std::string_view(at, left).starts_with(kSectionEnd)) {
      out_.Add("]]");
      out_.Add(kSectionEnd);
      out_.Add(kSectionBegin);
      at += 2;
      continue;
    }
    if (IsReference(character, false)) {
      out_.Add(kSectionEnd);
      AddReference(character);
      out_.Add(kSectionBegin);
    } else {
      out_.Add({at, static_cast<std::size_t>(next - at)});
    }
    at = next;
  }
  out_.Add(kSectionEnd);
}

}  // namespace kiv::xdb
