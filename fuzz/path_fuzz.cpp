// The path grammar: whatever text comes in, the canonical text is a fixed point
// of the grammar, and its parts add up to it.
#include <iostream>
#include <string>
#include <string_view>

#include "input_of_fuzz.h"
#include "kiv/file_system_path.h"
#include "port/native_path.h"

namespace kiv::fuzz {

// Under the grammar that it was built by: in the portable one, which leaves
// root names unchecked, a server's name may hold a "\".
void CheckText(const FileSystemPath& path,
               FileSystemPath::source_context format) {
  const std::string& text = path.string();
  // Behind a drive, a ":" may get to the end and be taken for a device's.
  if (text.find(':', 2) != std::string::npos) return;
  FileSystemPath again;
  Expect(again.m_path_append(text, format) && again.string() == text);
  // A root name stands as it came, with whatever is in front of its ":".
  const std::size_t root = path.root_name().size();
  const std::size_t names = root > 0 ? root : text.starts_with("//") ? 2 : 0;
  Expect(text.find("//", names) == std::string::npos);
}

void Check(const FileSystemPath& path) {
  const std::string& text = path.string();
  Expect(text.ends_with(path.leaf()));
  Expect(text.starts_with(path.root_name()));
  Expect(text.ends_with(path.relative_path().string()));
  Expect(path.branch_path().string().size() + path.leaf().size() <=
         text.size());
  Expect(path.leaf_name_not_ext() +
             (path.leaf().find('.') == std::string::npos ? "" : ".") +
             path.leaf_ext() ==
         path.leaf());
  std::size_t size = 0;
  std::size_t count = 0;
  for (const std::string& element : path) {
    Expect(!element.empty());
    size += element.size();
    ++count;
  }
  Expect(size <= text.size());
  for (auto element = path.end(); element != path.begin(); --element) --count;
  Expect(count == 0);
  const std::string system = port::SystemPath(path.native_file_string());
  Expect(system.find_first_of(std::string_view("\\\0", 2)) ==
         std::string::npos);
}

void Run(std::string_view input) {
  // What is refused says so on standard error; here that is only noise.
  std::cerr.setstate(std::ios::failbit);
  const std::string source(input);
  for (const auto format : {FileSystemPath::portable, FileSystemPath::native}) {
    FileSystemPath path;
    // A text that was refused holds what came before the fault, which need not
    // be canonical.
    if (path.m_path_append(source, format)) CheckText(path, format);
    Check(path);
  }
  // The two halves of a joined path, at a place the input chooses.
  const std::size_t size = input.size();
  const std::size_t middle = size == 0 ? 0 : TakeByte(input) % size;
  const FileSystemPath front(source.substr(0, middle), FileSystemPath::native);
  const FileSystemPath back(source.substr(middle), FileSystemPath::native);
  FileSystemPath joined = front;
  joined /= back;
  Expect((front / back).string() == joined.string());
  Check(joined);
  joined.m_replace_leaf(back.string().c_str());
  Check(joined);
}

}  // namespace kiv::fuzz
