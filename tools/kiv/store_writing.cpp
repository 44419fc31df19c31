#include "store_writing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>

#include "terminal.h"

namespace kiv_tool {
namespace {

namespace fs = std::filesystem;

class CsvWriter final : public RowWriter {
 public:
  explicit CsvWriter(std::ostream& out) : out_(out) {}
  void Begin(const std::vector<std::string>& columns) override {
    std::vector<StoreCell> header;
    for (const std::string& name : columns) header.push_back({false, name});
    Add(header);
  }
  void Add(const std::vector<StoreCell>& row) override {
    line_.clear();
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (i > 0) line_ += ',';
      Append(row[i]);
    }
    out_ << line_ << '\n';
  }
  void End() override {}

 private:
  void Append(const StoreCell& cell) {
    if (cell.is_null) return;
    if (!cell.text.empty() &&
        cell.text.find_first_of(",\"\r\n") == std::string::npos &&
        cell.text.front() != ' ' && cell.text.back() != ' ') {
      line_ += cell.text;
      return;
    }
    line_ += '"';
    for (const char c : cell.text) {
      if (c == '"') line_ += '"';
      line_ += c;
    }
    line_ += '"';
  }

  std::ostream& out_;
  std::string line_;
};

bool FitsXml(std::string_view text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    // U+FFFE and U+FFFF would do no harm to any reader; the control bytes do.
    if (byte < 0x20 && c != '\t' && c != '\n' && c != '\r') return false;
  }
  return true;
}

std::string XmlText(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      // Readers make a line feed of a carriage return, and a blank of either in
      // an attribute.
      case '\r':
        out += "&#13;";
        break;
      case '\n':
        out += "&#10;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

class XmlWriter final : public RowWriter {
 public:
  explicit XmlWriter(std::ostream& out) : out_(out) {}
  void Begin(const std::vector<std::string>& columns) override {
    for (const std::string& name : columns)
      fields_.push_back("    <field name=\"" + XmlText(name) + "\"");
    out_ << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<rows>\n";
  }
  void Add(const std::vector<StoreCell>& row) override {
    out_ << "  <row>\n";
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (row[i].is_null) continue;
      out_ << fields_[i];
      if (FitsXml(row[i].text))
        out_ << '>' << XmlText(row[i].text);
      else
        out_ << " hex=\"true\">" << HexDigits(row[i].text);
      out_ << "</field>\n";
    }
    out_ << "  </row>\n";
  }
  void End() override { out_ << "</rows>\n"; }

 private:
  std::ostream& out_;
  std::vector<std::string> fields_;
};

class TableWriter final : public RowWriter {
 public:
  explicit TableWriter(std::ostream& out) : out_(out) {}
  void Begin(const std::vector<std::string>& columns) override {
    for (const std::string& name : columns) header_.push_back(Printable(name));
  }
  void Add(const std::vector<StoreCell>& row) override {
    std::vector<Cell> cells;
    for (const StoreCell& cell : row)
      cells.push_back(cell.is_null ? Cell{"null", Color::Dim}
                                   : Cell{Printable(cell.text)});
    rows_.push_back(std::move(cells));
  }
  void End() override {
    out_ << Table(header_, rows_) << rows_.size()
         << (rows_.size() == 1 ? " row\n" : " rows\n");
  }

 private:
  std::ostream& out_;
  std::vector<std::string> header_;
  std::vector<std::vector<Cell>> rows_;
};

// A new file beside another, with that one's mode, or the usual one where there
// is none. Its name; empty, with errno, on failure.
std::string MakeBeside(const std::string& file) {
  std::string name = file + ".XXXXXX";
  const int descriptor = ::mkstemp(name.data());
  if (descriptor < 0) return {};
  const mode_t mask = ::umask(0);
  ::umask(mask);
  struct stat state {};
  const bool is_there = ::stat(file.c_str(), &state) == 0;
  const bool is_set = ::fchmod(descriptor, is_there ? state.st_mode & 07777
                                                    : 0666 & ~mask) == 0;
  const int error = errno;
  ::close(descriptor);
  if (is_set) return name;
  ::unlink(name.c_str());
  errno = error;
  return {};
}

bool Sync(const std::string& file) {
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool is_synced = ::fsync(descriptor) == 0;
  const int error = errno;
  ::close(descriptor);
  errno = error;
  return is_synced;
}

}  // namespace

std::unique_ptr<RowWriter> MakeCsvWriter(std::ostream& out) {
  return std::make_unique<CsvWriter>(out);
}

std::unique_ptr<RowWriter> MakeXmlWriter(std::ostream& out) {
  return std::make_unique<XmlWriter>(out);
}

std::unique_ptr<RowWriter> MakeTableWriter(std::ostream& out) {
  return std::make_unique<TableWriter>(out);
}

OutputPlace::OutputPlace(const std::string& file) : file_(file) {
  if (file_.empty()) return;
  std::error_code error;
  // What a link leads to is replaced, not the link.
  if (const fs::path target = fs::canonical(file_, error); !error)
    file_ = target.string();
  const bool is_device =
      fs::exists(file_, error) && !fs::is_regular_file(file_, error);
  errno = 0;
  if (!is_device) beside_ = MakeBeside(file_);
  if (is_device || !beside_.empty())
    stream_.open(is_device ? file_ : beside_, std::ios::binary);
  else
    stream_.setstate(std::ios::failbit);
}

OutputPlace::~OutputPlace() {
  std::error_code ignored;
  if (!beside_.empty()) fs::remove(beside_, ignored);
}

std::ostream& OutputPlace::Stream() {
  return file_.empty() ? std::cout : stream_;
}

bool OutputPlace::Finish(std::string& reason) {
  if (file_.empty()) {
    std::cout.flush();
    if (!std::cout) reason = "standard output cannot be written";
    return static_cast<bool>(std::cout);
  }
  stream_.close();
  if (!stream_ || (!beside_.empty() && !Sync(beside_))) {
    reason = file_ + " cannot be written";
    if (errno != 0) reason += std::string(": ") + std::strerror(errno);
    return false;
  }
  if (beside_.empty()) return true;
  std::error_code error;
  fs::rename(beside_, file_, error);
  if (error) reason = file_ + ": " + error.message();
  if (!error) beside_.clear();
  return !error;
}

}  // namespace kiv_tool
