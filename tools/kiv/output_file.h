#ifndef TOOLS_KIV_OUTPUT_FILE_H_
#define TOOLS_KIV_OUTPUT_FILE_H_

#include <fstream>
#include <string>

namespace kiv_tool {

// Standard output, or a file that is there when it is whole; a pipe or a device
// is written as it stands.
class OutputFile {
 public:
  explicit OutputFile(const std::string& file);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  std::ostream& Stream();
  // False, with the reason, when it could not be written.
  bool Finish(std::string& reason);

 private:
  std::string file_;
  std::string beside_;  // empty: the place itself is written
  std::ofstream stream_;
};

}  // namespace kiv_tool

#endif  // TOOLS_KIV_OUTPUT_FILE_H_
