#include <db_cxx.h>

#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <streambuf>
#include <string>
#include <utility>

#include "port/native_path.h"
#include "xdb/container/container.h"
#include "xdb/container/container_impl.h"
#include "xdb/container/dictionary_records.h"
#include "xdb/container/environment_access.h"
#include "xdb/tree/tree_error.h"
#include "xdb/tree/tree_text.h"

namespace kiv::xdb {
namespace {

using Each =
    std::function<void(const std::string& name, const std::string& content)>;
// Of a table, in no order.
using EachRecord = std::function<void(const std::string& table, std::string key,
                                      std::string value)>;

int HexDigit(char byte) {
  if (byte >= '0' && byte <= '9') return byte - '0';
  if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
  return -1;
}

// Reads what Berkeley DB writes when it salvages: for each table some lines of
// its properties, then keys and values in turns, each a line of a space and
// hexadecimal digits.
class SalvagedLines final : public std::streambuf {
 public:
  explicit SalvagedLines(const EachRecord& each) : each_(each) {}

 private:
  int_type overflow(int_type byte) override {
    if (byte != traits_type::eof()) Add(static_cast<char>(byte));
    return 0;
  }
  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    for (std::streamsize i = 0; i < count; ++i) Add(bytes[i]);
    return count;
  }

  void Add(char byte) {
    if (byte != '\n') {
      line_ += byte;
      return;
    }
    Take();
    line_.clear();
  }

  void Take() {
    constexpr std::string_view kTable = "database=";
    if (line_.starts_with(kTable)) table_ = line_.substr(kTable.size());
    if (line_ == "HEADER=END" || line_ == "DATA=END") has_key_ = false;
    if (!line_.starts_with(' ')) return;
    std::string bytes;
    for (std::size_t i = 1; i + 1 < line_.size(); i += 2) {
      const int high = HexDigit(line_[i]);
      const int low = HexDigit(line_[i + 1]);
      if (high < 0 || low < 0) break;
      bytes += static_cast<char>(high * 16 + low);
    }
    if (has_key_)
      each_(table_, std::move(key_), std::move(bytes));
    else
      key_ = std::move(bytes);
    has_key_ = !has_key_;
  }

  const EachRecord& each_;
  std::string line_;
  std::string table_;
  std::string key_;
  bool has_key_ = false;
};

// Page by page, whatever leads to a page or does not.
void EachSalvagedRecord(const std::string& path, const EachRecord& each) {
  Db database(nullptr, DB_CXX_NO_EXCEPTIONS);
  KeepErrorTexts(database);
  SalvagedLines lines(each);
  std::ostream out(&lines);
  // It says that the file is damaged, which is why it was asked. The handle is
  // gone then.
  database.verify(path.c_str(), nullptr, &out, DB_SALVAGE);
}

// False when it cannot be read.
bool ReadText(std::string_view record, const Dictionary& dictionary,
              std::string& content) {
  try {
    content = TreeText(ReadRecord(record).tree, dictionary);
    return true;
  } catch (const TreeError&) {
    return false;
  }
}

// The dictionary as far as its records are there.
std::shared_ptr<const Dictionary> SalvagedDictionary(const std::string& path) {
  std::map<std::string, std::string> records;
  EachSalvagedRecord(
      path, [&](const std::string& table, std::string key, std::string value) {
        if (table == "dictionary")
          records.emplace(std::move(key), std::move(value));
      });
  return DictionaryOfRecords(records);
}

void SalvagePages(const std::string& path, const Dictionary& dictionary,
                  std::set<std::string> saved, const Each& each) {
  EachSalvagedRecord(
      path, [&](const std::string& table, std::string key, std::string value) {
        std::string content;
        if (table == "documents" && saved.count(key) == 0 &&
            ReadText(value, dictionary, content)) {
          each(key, content);
          saved.insert(std::move(key));
        }
      });
}

}  // namespace

void Container::Salvage(const Each& each) const {
  ContainerCore& core = *impl_->core;
  const std::string path = core.PrivatePath();
  std::set<std::string> saved;
  bool is_told = false;  // what is thrown then comes of `each`
  try {
    core.Read(nullptr, {}, [&](Scope& scope) {
      core.RefreshDictionary(scope);
      const auto dictionary = core.dictionary().Current();
      Cursor cursor(core.tables().documents, nullptr);
      for (bool found = cursor.First(); found; found = cursor.Next()) {
        std::string content;
        if (!ReadText(cursor.value(), *dictionary, content)) continue;
        saved.emplace(cursor.key());
        is_told = true;
        each(std::string(cursor.key()), content);
        is_told = false;
      }
    });
    return;
  } catch (const StoreError&) {
    // A page cannot be read. In an environment of others nothing more can be
    // done about that.
    if (path.empty() || is_told) throw;
  }
  SalvagePages(path, *SalvagedDictionary(path), saved, each);
}

void SalvageContainerFile(const std::string& file_name, const Each& each) {
  const std::string path = port::SystemPath(file_name);
  SalvagePages(path, *SalvagedDictionary(path), {}, each);
}

}  // namespace kiv::xdb
