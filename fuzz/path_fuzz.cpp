// The path grammar: whatever text comes in, the canonical text is a fixed point
// of the grammar, and its parts add up to it.
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "kiv/file_system_path.h"
#include "port/native_path.h"

namespace {

using kiv::FileSystemPath;

void Require(bool holds) {
  if (!holds) std::abort();
}

// Under the grammar that it was built by: in the portable one, which leaves
// root names unchecked, a server's name may hold a "\".
void CheckText(const FileSystemPath& path,
               FileSystemPath::source_context format) {
  const std::string& text = path.string();
  // Behind a drive, a ":" may get to the end and be taken for a device's.
  if (text.find(':', 2) != std::string::npos) return;
  FileSystemPath again;
  Require(again.m_path_append(text, format) && again.string() == text);
  // A root name stands as it came, with whatever is in front of its ":".
  const std::size_t root = path.root_name().size();
  const std::size_t names = root > 0 ? root : text.starts_with("//") ? 2 : 0;
  Require(text.find("//", names) == std::string::npos);
}

void CheckParts(const FileSystemPath& path) {
  const std::string& text = path.string();
  Require(text.ends_with(path.leaf()));
  Require(text.starts_with(path.root_name()));
  Require(text.ends_with(path.relative_path().string()));
  Require(path.branch_path().string().size() + path.leaf().size() <=
          text.size());
  Require(path.leaf_name_not_ext() +
              (path.leaf().find('.') == std::string::npos ? "" : ".") +
              path.leaf_ext() ==
          path.leaf());
}

void CheckElements(const FileSystemPath& path) {
  std::size_t size = 0;
  std::size_t count = 0;
  for (const std::string& element : path) {
    Require(!element.empty());
    size += element.size();
    ++count;
  }
  Require(size <= path.string().size());
  for (auto element = path.end(); element != path.begin(); --element) --count;
  Require(count == 0);
}

void Check(const FileSystemPath& path) {
  CheckParts(path);
  CheckElements(path);
  const std::string system = kiv::port::SystemPath(path.native_file_string());
  Require(system.find_first_of(std::string_view("\\\0", 2)) ==
          std::string::npos);
}

// Texts that were refused hold what came before the fault, which need not be
// canonical.
void CheckSource(const std::string& source,
                 FileSystemPath::source_context format) {
  FileSystemPath path;
  const bool is_whole = path.m_path_append(source, format);
  if (is_whole) CheckText(path, format);
  Check(path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  // What is refused says so on standard error; here that is only noise.
  std::cerr.setstate(std::ios::failbit);
  const std::string source(reinterpret_cast<const char*>(bytes), size);
  CheckSource(source, FileSystemPath::portable);
  CheckSource(source, FileSystemPath::native);
  // The two halves of a joined path, at a place the input chooses.
  const std::size_t middle = size == 0 ? 0 : bytes[0] % size;
  const FileSystemPath front(source.substr(0, middle), FileSystemPath::native);
  const FileSystemPath back(source.substr(middle), FileSystemPath::native);
  FileSystemPath joined = front;
  joined /= back;
  Require((front / back).string() == joined.string());
  Check(joined);
  joined.m_replace_leaf(back.string().c_str());
  Check(joined);
  return 0;
}
