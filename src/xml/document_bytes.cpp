#include "xml/document_bytes.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include "kiv/dom_parser.h"
#include "port/file.h"
#include "port/read_file.h"
#include "util/gb_text.h"
#include "util/utf8.h"
#include "xml/guarded_parser.h"

namespace kiv {
namespace {

// A declaration is ASCII and stands at the very beginning.
constexpr std::size_t kDeclarationRoom = 256;
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

[[noreturn]] void RefuseAt(std::string_view document, std::size_t position,
                           std::string reason) {
  const std::string_view before = document.substr(0, position);
  const auto lines = std::count(before.begin(), before.end(), '\n');
  const std::size_t line_start = before.rfind('\n') + 1;
  throw DocumentRefused{std::move(reason),
                        static_cast<std::uint64_t>(lines) + 1,
                        position - line_start + 1};
}

// UTF-16, UCS-4 and EBCDIC show themselves in the first bytes; the library
// reads them by those.
bool IsOtherFamily(std::string_view document) {
  return document.starts_with("\xFF\xFE") || document.starts_with("\xFE\xFF") ||
         document.starts_with("\x4C\x6F\xA7\x94") ||
         document.substr(0, 4).find('\0') != std::string_view::npos;
}

// The name behind encoding= in the declaration; "" when there is none.
std::string_view DeclaredEncoding(std::string_view document) {
  if (document.starts_with(kUtf8Mark)) document.remove_prefix(kUtf8Mark.size());
  document = document.substr(0, kDeclarationRoom);
  if (!document.starts_with("<?xml")) return {};
  document = document.substr(0, document.find("?>"));
  const std::size_t at = document.find("encoding");
  if (at == std::string_view::npos) return {};
  const std::size_t open = document.find_first_of("\"'", at);
  if (open == std::string_view::npos) return {};
  const std::size_t close = document.find(document[open], open + 1);
  if (close == std::string_view::npos) return {};
  return document.substr(open + 1, close - open - 1);
}

// One past the last byte of the characters that the text begins with.
std::size_t Utf8Prefix(std::string_view text) {
  const char* const end = text.data() + text.size();
  const char* at = text.data();
  while (at != end) {
    char32_t character = 0;
    const char* const next = utf8::DecodeOne(at, end, character);
    // U+FFFD itself is three bytes, beginning with 0xEF 0xBF.
    if (character == kReplacementUnit &&
        std::string_view(at, static_cast<std::size_t>(next - at)) !=
            "\xEF\xBF\xBD")
      break;
    at = next;
  }
  return static_cast<std::size_t>(at - text.data());
}

void CheckUtf8(std::string_view document) {
  const std::string_view encoding = DeclaredEncoding(document);
  if (!encoding.empty() && !EqualIgnoreCase(encoding, "utf-8")) return;
  if (IsUtf8(document)) return;
  RefuseAt(document, Utf8Prefix(document),
           encoding.empty()
               ? "the bytes are no UTF-8, and no other encoding is declared"
               : "the bytes are no UTF-8, which is declared");
}

}  // namespace

std::string ReadDocument(const std::string& native_path) {
  std::string document;
  const std::size_t limit = DomParser::MaxBytes();
  switch (port::ReadFileText(native_path, limit, document)) {
    case port::FileRead::Whole:
      break;
    case port::FileRead::Failed:
      throw DocumentRefused{port::ErrorText(port::LastError())};
    case port::FileRead::NotRegular:
      throw DocumentRefused{"this is no regular file"};
    case port::FileRead::TooLarge:
      RefuseSize(limit);
  }
  return document;
}

void CheckBytes(std::string_view document) {
  const std::size_t max_bytes = DomParser::MaxBytes();
  if (document.size() > max_bytes) RefuseSize(max_bytes);
  if (document.empty()) RefuseAt(document, 0, "the document is empty");
  if (IsOtherFamily(document)) return;
  const std::size_t nul = document.find('\0');
  if (nul != std::string_view::npos)
    RefuseAt(document, nul, "a NUL byte is no character of a document");
  CheckUtf8(document);
}

void RefuseSize(std::size_t max_bytes) {
  throw DocumentRefused{"the document has more than " +
                        std::to_string(max_bytes) + " bytes"};
}

}  // namespace kiv
