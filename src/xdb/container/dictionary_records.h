#ifndef XDB_CONTAINER_DICTIONARY_RECORDS_H_
#define XDB_CONTAINER_DICTIONARY_RECORDS_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/tree/dictionary.h"

// The records of a dictionary's table, whose order gives names and paths their
// ids.
namespace kiv::xdb {

// What documents need and the dictionary lacks: ids are those that they will
// have if nobody else adds any before.
struct DictionaryAdditions {
  struct NewPath {
    PathId parent;
    PathKind kind;
    NameId name;
  };
  std::uint32_t behind_record = 0;
  std::uint32_t first_name = 0;
  std::uint32_t first_path = 0;
  std::vector<Name> names;
  std::vector<NewPath> paths;

  bool IsEmpty() const { return names.empty() && paths.empty(); }
};

struct DictionaryCounts {
  std::uint32_t records = 0;
  std::uint32_t names = 0;
  std::uint32_t paths = 1;  // the document
};

// Numbers begin with 1; keys sort as they do.
std::string RecordKey(std::uint32_t number);
std::uint32_t RecordNumber(std::string_view key);

std::string NameRecord(const Name& name);
std::string PathRecord(const DictionaryAdditions::NewPath& path);
std::string TraitRecord(PathId path, std::uint8_t traits);

// Whether it looks like one, among items of any table.
bool IsDictionaryRecord(std::string_view key, std::string_view record);

// Adds the next record; a trait only `with_traits`. Throws TreeError.
void AddRecord(std::string_view record, bool with_traits,
               Dictionary& dictionary, DictionaryCounts& counts);

// Of records by their keys, up to the first that is missing or damaged.
std::shared_ptr<const Dictionary> DictionaryOfRecords(
    const std::map<std::string, std::string>& records);

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_DICTIONARY_RECORDS_H_
