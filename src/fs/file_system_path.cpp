#include "kiv/file_system_path.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iostream>

#include "fs/fs_messages.h"
#include "fs/path_parts.h"
#include "util/cp936.h"
#include "util/gb_text.h"
#include "util/log_entry.h"

namespace kiv {
namespace {

// What a byte means to the scan of a name. A slash or a lead byte is met once a
// name or a character; everything else of an ordinary name is passed by with
// one look into the table.
enum ByteClass : std::uint8_t {
  kOrdinary = 0,
  kSlash = 1,
  kBackslash = 2,
  kForbidden = 4,  // in the portable grammar
  kLead = 8,
  kNul = 16,
};

constexpr std::array<std::uint8_t, 256> MakeByteClasses() {
  std::array<std::uint8_t, 256> classes{};
  for (std::size_t i = 1; i < 32; ++i) classes[i] = kForbidden;
  for (const char c : {'<', '>', ':', '"', '|', '*', '?'})
    classes[static_cast<unsigned char>(c)] = kForbidden;
  for (std::size_t i = 0x81; i <= 0xFE; ++i) classes[i] = kLead;
  classes['/'] = kSlash;
  classes['\\'] = kBackslash;
  classes[0] = kNul;
  return classes;
}

constexpr std::array<std::uint8_t, 256> kByteClasses = MakeByteClasses();

// The grammar at work on one source.
class Scan {
 public:
  Scan(std::string_view source, bool is_native)
      : at_(source.data()),
        end_(source.data() + source.size()),
        separators_(is_native ? kSlash | kBackslash : kSlash),
        forbidden_(is_native ? 0 : kForbidden | kBackslash) {}

  bool AtEnd() const { return at_ == end_; }
  bool AtSeparator() const { return !AtEnd() && (Class(*at_) & separators_); }
  void SkipSeparators() {
    while (AtSeparator()) ++at_;
  }
  std::string_view Take(std::size_t size) {
    const std::string_view taken(at_, size);
    at_ += size;
    return taken;
  }

  // The characters up to the next separator, the end, or a NUL, which no name
  // holds. Where there is neither separator nor end behind them, the syntax is
  // bad.
  std::string_view TakeName(bool& has_forbidden) {
    const char* const start = at_;
    const int stops = separators_ | kNul;
    int seen = 0;
    while (at_ != end_) {
      const int byte_class = Class(*at_);
      if (byte_class == kOrdinary) {
        ++at_;
      } else if (byte_class == kLead) {
        at_ += end_ - at_ > 1 && IsTrailByte(at_[1]) ? 2 : 1;
      } else if (byte_class & stops) {
        break;
      } else {
        seen |= byte_class;
        ++at_;
      }
    }
    has_forbidden = seen & forbidden_;
    return {start, static_cast<std::size_t>(at_ - start)};
  }

 private:
  static int Class(char byte) {
    return kByteClasses[static_cast<unsigned char>(byte)];
  }

  const char* at_;
  const char* end_;
  int separators_;
  int forbidden_;
};

bool IsSeparator(char byte, bool is_native) {
  return byte == '/' || (is_native && byte == '\\');
}

// A drive such as c:, also a device such as com1:, or a network root.
void AppendRootName(std::string_view source, bool is_native, Scan& scan,
                    std::string& path) {
  if (source.size() < 2) return;
  if (source[1] == ':' || source.back() == ':') {
    path.append(scan.Take(source.find(':') + 1));
  } else if (IsSeparator(source[0], is_native) &&
             IsSeparator(source[1], is_native)) {
    scan.Take(2);
    bool ignored = false;
    path.append("//").append(scan.TakeName(ignored));
  }
}

void AppendRootDirectory(Scan& scan, std::string& path) {
  if (!scan.AtSeparator()) return;
  scan.SkipSeparators();
  if (path.empty() || path.back() == ':' ||
      (IsNetworkPath(path) && path.find('/', 2) == std::string::npos))
    path += '/';
}

// Takes the last name away again. Behind a "..", a drive or nothing there is
// none to take; a name that ends with "." counts as "..".
void AppendParent(std::string& path) {
  const std::size_t size = path.size();
  if (size < 2 || path[size - 1] != '/' || path[size - 2] == ':' ||
      path[size - 2] == '.') {
    path += "..";
    return;
  }
  std::size_t keep = size - 1;
  while (keep > 0 && path[keep - 1] != '/' && path[keep - 1] != ':') --keep;
  const bool is_plain_slash =
      keep > 1 && path[keep - 1] == '/' && path[keep - 2] != ':';
  path.resize(is_plain_slash ? keep - 1 : keep);
}

bool IsPortableName(std::string_view name, bool has_forbidden) {
  return !has_forbidden && name != "." && name.front() != ' ' &&
         name.back() != ' ';
}

bool Report(const std::string& message) {
  std::cerr << message + '\n' << std::flush;
  return false;
}

std::string Narrow(std::u16string_view text) { return Utf16ToCp936(text); }

// wchar_t has 32 bits here; where it had 16, pairs come as they are.
std::string Narrow(std::wstring_view text) {
  std::u16string units;
  units.reserve(text.size());
  for (const wchar_t c : text) {
    const auto character = static_cast<char32_t>(c);
    if (character < 0x10000) {
      units += static_cast<char16_t>(character);
    } else if (character < 0x110000) {
      units += static_cast<char16_t>(0xD7C0 + (character >> 10));
      units += static_cast<char16_t>(0xDC00 + (character & 0x3FF));
    } else {
      units += kReplacementUnit;
    }
  }
  return Utf16ToCp936(units);
}

template <class Char>
std::basic_string_view<Char> NullIsEmpty(const Char* text) {
  return text ? std::basic_string_view<Char>(text)
              : std::basic_string_view<Char>();
}

}  // namespace

FileSystemPath::FileSystemPath(const char* path) {
  Append(NullIsEmpty(path), portable);
}
FileSystemPath::FileSystemPath(const std::string& path) {
  Append(path, portable);
}
FileSystemPath::FileSystemPath(const WideChar* path) {
  Append(Narrow(NullIsEmpty(path)), portable);
}
FileSystemPath::FileSystemPath(const WideString& path) {
  Append(Narrow(path), portable);
}
FileSystemPath::FileSystemPath(const wchar_t* path) {
  Append(Narrow(NullIsEmpty(path)), portable);
}
FileSystemPath::FileSystemPath(const std::wstring& path) {
  Append(Narrow(path), portable);
}

FileSystemPath::FileSystemPath(const char* path, PathFormat) {
  Append(NullIsEmpty(path), native);
}
FileSystemPath::FileSystemPath(const std::string& path, PathFormat) {
  Append(path, native);
}
FileSystemPath::FileSystemPath(const WideChar* path, PathFormat) {
  Append(Narrow(NullIsEmpty(path)), native);
}
FileSystemPath::FileSystemPath(const WideString& path, PathFormat) {
  Append(Narrow(path), native);
}
FileSystemPath::FileSystemPath(const wchar_t* path, PathFormat) {
  Append(Narrow(NullIsEmpty(path)), native);
}
FileSystemPath::FileSystemPath(const std::wstring& path, PathFormat) {
  Append(Narrow(path), native);
}

bool FileSystemPath::m_path_append(const std::string& source,
                                   source_context format) {
  return Append(source, format);
}

// Everything goes straight into path_. The canonical text is no longer than
// what came in, but for the "/" between the two and the one behind "c:".
bool FileSystemPath::Append(std::string_view source, PathFormat format) {
  if (source.empty()) return true;
  if (IsInside(source, path_)) {
    const std::string copy(source);
    return Append(copy, format);
  }
  const bool is_native = format == native;
  path_.reserve(path_.size() + source.size() + 2);
  Scan scan(source, is_native);
  AppendRootName(source, is_native, scan, path_);
  AppendRootDirectory(scan, path_);
  while (!scan.AtEnd()) {
    if (!path_.empty() && path_.back() != ':' && path_.back() != '/')
      path_ += '/';
    bool has_forbidden = false;
    const std::string_view name = scan.TakeName(has_forbidden);
    if (name == "..") {
      AppendParent(path_);
    } else if (!name.empty()) {
      if (!is_native && !IsPortableName(name, has_forbidden))
        return Report(message::InvalidName(Shown(name), Shown(source)));
      path_.append(name);
    }
    if (!scan.AtEnd() && !scan.AtSeparator())
      return Report(message::InvalidPathSyntax(Shown(source)));
    scan.SkipSeparators();
  }
  return true;
}

FileSystemPath& FileSystemPath::operator/=(const FileSystemPath& other) {
  Append(other.path_, native);
  return *this;
}

FileSystemPath FileSystemPath::operator/(const FileSystemPath& other) const {
  FileSystemPath joined;
  joined.path_.reserve(path_.size() + other.path_.size() + 2);
  joined.path_ = path_;
  joined.Append(other.path_, native);
  return joined;
}

void FileSystemPath::m_replace_leaf(const char* leaf) {
  // The new leaf may be a part of this very text.
  const std::string name(NullIsEmpty(leaf));
  path_.resize(LeafPosition(path_));
  Append(name, native);
  if (!has_leaf()) path_.resize(BranchSize(path_));
}

std::string FileSystemPath::native_file_string() const {
  // "/" is never the second byte of a character.
  std::string text = path_;
  std::replace(text.begin(), text.end(), '/', '\\');
  return text;
}

std::string FileSystemPath::native_directory_string() const {
  return native_file_string();
}

}  // namespace kiv
