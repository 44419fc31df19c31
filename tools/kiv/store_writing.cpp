#include "store_writing.h"

#include <ostream>
#include <string_view>
#include <utility>

#include "terminal.h"

namespace kiv_tool {
namespace {

class CsvWriter final : public RowWriter {
 public:
  explicit CsvWriter(std::ostream& out) : out_(out) {}
  void Begin(const std::vector<std::string>& columns) override {
    std::vector<StoreCell> header;
    header.reserve(columns.size());
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
    header_.reserve(columns.size());
    for (const std::string& name : columns) header_.push_back(Printable(name));
  }
  void Add(const std::vector<StoreCell>& row) override {
    std::vector<Cell> cells;
    cells.reserve(row.size());
    for (const StoreCell& cell : row)
      cells.push_back(cell.is_null ? Cell{"null", Color::Dim}
                                   : Cell{Printable(cell.text)});
    rows_.push_back(std::move(cells));
  }
  void End() override {
    out_ << Table(header_, rows_) << Counted(rows_.size(), "row") << '\n';
  }

 private:
  std::ostream& out_;
  std::vector<std::string> header_;
  std::vector<std::vector<Cell>> rows_;
};

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

}  // namespace kiv_tool
