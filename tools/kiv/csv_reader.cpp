#include "csv_reader.h"

namespace kiv_tool {
namespace {

constexpr int kEnd = std::char_traits<char>::eof();

}  // namespace

bool CsvReader::Fail(const char* reason) {
  reason_ = reason;
  return false;
}

// Behind the opening quote, up to and with the closing one.
bool CsvReader::ReadQuoted(std::string& text) {
  for (;;) {
    const int c = in_.get();
    if (c == kEnd) return Fail("a quote is not closed");
    if (c == '\n') ++line_;
    if (c == '"') {
      if (in_.peek() != '"') return true;
      in_.get();
    }
    text += static_cast<char>(c);
  }
}

bool CsvReader::Next(std::vector<StoreCell>& row) {
  if (line_ == 1 && row_line_ == 0 && in_.peek() == 0xEF) {
    // The mark that some programs put in front of UTF-8.
    char mark[3] = {};
    in_.read(mark, sizeof mark);
    if (mark[1] != '\xBB' || mark[2] != '\xBF')
      return Fail("the file does not begin with a header");
  }
  if (in_.peek() == kEnd) return false;
  row_line_ = line_;
  row.assign(1, {});
  for (;;) {
    StoreCell& cell = row.back();
    const int c = in_.get();
    if (c == kEnd) return true;
    if (c == '\r' && in_.peek() == '\n') continue;
    if (c == '\n') {
      ++line_;
      return true;
    }
    if (c == ',') {
      row.emplace_back();
      continue;
    }
    if (c != '"') {
      cell.is_null = false;
      cell.text += static_cast<char>(c);
      continue;
    }
    if (!cell.is_null) return Fail("a quote stands inside of a value");
    cell.is_null = false;
    if (!ReadQuoted(cell.text)) return false;
    const int next = in_.peek();
    if (next != ',' && next != '\n' && next != '\r' && next != kEnd)
      return Fail("text stands behind a closing quote");
  }
}

}  // namespace kiv_tool
