#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

#include "port/native_path.h"
#include "xdb/container/container.h"
#include "xdb/container/container_impl.h"
#include "xdb/container/dictionary_records.h"
#include "xdb/container/leaf_pages.h"
#include "xdb/tree/tree_error.h"
#include "xdb/tree/tree_text.h"

namespace kiv::xdb {
namespace {

using Each =
    std::function<void(const std::string& name, const std::string& content)>;

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

// What is on the pages of a file, of whatever table. Which one shows: only a
// document's record has its checksum.
class PageSalvage {
 public:
  explicit PageSalvage(std::string path) : path_(std::move(path)) {
    EachLeafItem(path_, [this](std::string_view key, std::string_view value) {
      Sort(key, value);
    });
    dictionary_ = DictionaryOfRecords(records_);
  }

  void Give(const Each& each) {
    EachLeafItem(path_, [&](std::string_view key, std::string_view value) {
      const auto last = versions_.find(std::string(key));
      std::string content;
      // The last one, and it once.
      if (last == versions_.end() || !IsRecord(value) ||
          ReadRecordHead(value).version != last->second ||
          !ReadText(value, *dictionary_, content))
        return;
      each(last->first, content);
      versions_.erase(last);
    });
  }

 private:
  static bool IsRecord(std::string_view value) {
    try {
      ReadRecord(value);
      return true;
    } catch (const TreeError&) {
      return false;
    }
  }

  void Sort(std::string_view key, std::string_view value) {
    if (IsRecord(value)) {
      auto& version = versions_[std::string(key)];
      version = std::max(version, ReadRecordHead(value).version);
    } else if (IsDictionaryRecord(key, value)) {
      records_.emplace(key, value);
    }
  }

  const std::string path_;
  std::map<std::string, std::string> records_;
  std::unordered_map<std::string, std::uint64_t> versions_;
  std::shared_ptr<const Dictionary> dictionary_;
};

}  // namespace

void Container::Salvage(const Each& each) const {
  ContainerCore& core = *impl_->core;
  const std::string path = core.PrivatePath();
  if (!path.empty()) {
    // Berkeley DB ends with the first page without sense.
    core.tables().Sync();
    return PageSalvage(path).Give(each);
  }
  core.Read(nullptr, {}, [&](Scope& scope) {
    core.RefreshDictionary(scope);
    const auto dictionary = core.dictionary().Current();
    Cursor cursor(core.tables().documents, nullptr);
    for (bool found = cursor.First(); found; found = cursor.Next()) {
      std::string content;
      if (ReadText(cursor.value(), *dictionary, content))
        each(std::string(cursor.key()), content);
    }
  });
}

void SalvageContainerFile(const std::string& file_name, const Each& each) {
  PageSalvage(port::SystemPath(file_name)).Give(each);
}

}  // namespace kiv::xdb
