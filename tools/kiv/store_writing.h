#ifndef TOOLS_KIV_STORE_WRITING_H_
#define TOOLS_KIV_STORE_WRITING_H_

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "store_values.h"

namespace kiv_tool {

// Rows on their way out, in UTF-8.
class RowWriter {
 public:
  virtual ~RowWriter() = default;
  virtual void Begin(const std::vector<std::string>& columns) = 0;
  virtual void Add(const std::vector<StoreCell>& row) = 0;
  virtual void End() = 0;
};

// RFC 4180, with LF. NULL is nothing, an empty text "".
std::unique_ptr<RowWriter> MakeCsvWriter(std::ostream& out);
// <rows><row><field name="...">...</field></row></rows>; a NULL has no field. A
// text with a character that XML cannot hold is in hexadecimal digits of its
// UTF-8, with hex="true".
std::unique_ptr<RowWriter> MakeXmlWriter(std::ostream& out);
// For eyes: all rows at once, columns under each other.
std::unique_ptr<RowWriter> MakeTableWriter(std::ostream& out);

// Standard output, or a file that is there when it is whole.
class OutputPlace {
 public:
  explicit OutputPlace(const std::string& file);
  ~OutputPlace();
  OutputPlace(const OutputPlace&) = delete;
  OutputPlace& operator=(const OutputPlace&) = delete;

  std::ostream& Stream();
  // False, with the reason, when it could not be written.
  bool Finish(std::string& reason);

 private:
  const std::string file_;
  const std::string beside_;
  std::ofstream stream_;
  bool is_there_ = false;
};

}  // namespace kiv_tool

#endif  // TOOLS_KIV_STORE_WRITING_H_
