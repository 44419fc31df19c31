#include "xdb_file_name.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace kiv_tool {
namespace {

// A file name may have 255 bytes; "%.xml" and a new file's suffix fit, too.
constexpr std::size_t kMostBytes = 200;
constexpr std::string_view kSuffix = ".xml";
constexpr std::string_view kAddedSuffix = "%.xml";
constexpr char kDigits[] = "0123456789ABCDEF";

bool StandsForItself(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value >= 0x80 || (byte >= '0' && byte <= '9') ||
         (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
         byte == '-' || byte == '_' || byte == '.' || byte == ' ';
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() &&
         text.substr(text.size() - end.size()) == end;
}

bool ContinuesCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// In pieces of whole characters.
std::vector<std::string> Pieces(const std::string& name) {
  std::vector<std::string> pieces(1);
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (pieces.back().size() >= kMostBytes && !ContinuesCharacter(name[i]))
      pieces.emplace_back();
    const bool is_hidden = name[i] == '.' && pieces.back().empty();
    if (StandsForItself(name[i]) && !is_hidden) {
      pieces.back() += name[i];
      continue;
    }
    const auto value = static_cast<unsigned char>(name[i]);
    pieces.back() += {'%', kDigits[value >> 4], kDigits[value & 15]};
  }
  return pieces;
}

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

bool Decode(std::string_view piece, std::string& name) {
  for (std::size_t i = 0; i < piece.size(); ++i) {
    if (piece[i] != '%') {
      name += piece[i];
      continue;
    }
    if (i + 2 >= piece.size()) return false;
    const int high = DigitValue(piece[i + 1]);
    const int low = DigitValue(piece[i + 2]);
    if (high < 0 || low < 0) return false;
    name += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return true;
}

}  // namespace

std::filesystem::path FileOfDocument(const std::string& name_utf8) {
  std::filesystem::path path;
  std::vector<std::string> pieces = Pieces(name_utf8);
  std::string last = pieces.back();
  pieces.pop_back();
  for (const std::string& piece : pieces) path /= piece + "%";
  if (!EndsWith(last, kSuffix)) last += kAddedSuffix;
  return path / last;
}

bool DocumentOfFile(const std::filesystem::path& path, std::string& name_utf8) {
  std::string name;
  for (const std::filesystem::path& part : path.parent_path()) {
    const std::string folder = part.string();
    if (!EndsWith(folder, "%") ||
        !Decode(std::string_view(folder).substr(0, folder.size() - 1), name))
      return false;
  }
  const std::string file = path.filename().string();
  std::string_view last = file;
  if (EndsWith(last, kAddedSuffix))
    last.remove_suffix(kAddedSuffix.size());
  else if (!EndsWith(last, kSuffix))
    return false;
  if (!Decode(last, name) || name.empty()) return false;
  name_utf8 = name;
  return true;
}

}  // namespace kiv_tool
