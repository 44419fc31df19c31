#ifndef TOOLS_KIV_XDB_FILE_NAME_H_
#define TOOLS_KIV_XDB_FILE_NAME_H_

#include <filesystem>
#include <string>

// Documents as files of a folder. Any name has one path, and every path that
// was made here gives its name back:
// - letters, digits, "-", "_", ".", blanks and what is not ASCII stand for
//   themselves, but for a "." in front; every other byte is %XX;
// - a name that does not end in ".xml" gets "%.xml" behind it;
// - a name too long for a file goes on in folders, whose names end in "%".
namespace kiv_tool {

std::filesystem::path FileOfDocument(const std::string& name_utf8);

// `path` below the folder. False for one that FileOfDocument does not make.
bool DocumentOfFile(const std::filesystem::path& path, std::string& name_utf8);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_XDB_FILE_NAME_H_
