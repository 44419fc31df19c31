#ifndef TOOLS_KIV_STORE_WRITING_H_
#define TOOLS_KIV_STORE_WRITING_H_

#include <iosfwd>
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

}  // namespace kiv_tool

#endif  // TOOLS_KIV_STORE_WRITING_H_
