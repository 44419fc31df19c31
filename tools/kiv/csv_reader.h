#ifndef TOOLS_KIV_CSV_READER_H_
#define TOOLS_KIV_CSV_READER_H_

#include <istream>
#include <string>
#include <vector>

#include "store_values.h"

namespace kiv_tool {

// Lines of values with "," between them, as RFC 4180 has them; lines end with
// LF or CR LF. A value without a character is NULL, one of two quotes an empty
// text.
class CsvReader {
 public:
  explicit CsvReader(std::istream& in) : in_(in) {}

  // The next row. False at the end and, with a reason, at a fault.
  bool Next(std::vector<StoreCell>& row);
  const std::string& Reason() const { return reason_; }
  // Where the last row began, from 1.
  unsigned long long Line() const { return row_line_; }

 private:
  bool ReadQuoted(std::string& text);
  bool Fail(const char* reason);

  std::istream& in_;
  std::string reason_;
  unsigned long long line_ = 1;
  unsigned long long row_line_ = 0;
};

}  // namespace kiv_tool

#endif  // TOOLS_KIV_CSV_READER_H_
