#include "xdb/container/dictionary_records.h"

#include "xdb/tree/tree_error.h"
#include "xdb/tree/varint.h"

namespace kiv::xdb {
namespace {

// The first byte of a record says what it adds.
constexpr char kName = 'N';   // prefix, uri, local
constexpr char kPath = 'P';   // kind, parent, name
constexpr char kTrait = 'T';  // path, traits

void AddName(StoredBytes& bytes, Dictionary& dictionary,
             DictionaryCounts& counts) {
  const std::string_view prefix = bytes.Sized();
  const std::string_view uri = bytes.Sized();
  const std::string_view local = bytes.Sized();
  if (dictionary.AddName(prefix, uri, local) != counts.names)
    ThrowDamaged("a name is twice in the dictionary");
  ++counts.names;
}

void AddPath(StoredBytes& bytes, Dictionary& dictionary,
             DictionaryCounts& counts) {
  const std::uint64_t kind = bytes.Varint();
  const PathId parent = bytes.Varint32();
  const NameId name = bytes.Varint32();
  if ((kind != static_cast<std::uint64_t>(PathKind::Element) &&
       kind != static_cast<std::uint64_t>(PathKind::Attribute)) ||
      parent >= counts.paths || name >= counts.names)
    ThrowDamaged("a path of the dictionary leads nowhere");
  if (dictionary.AddPath(parent, static_cast<PathKind>(kind), name) !=
      counts.paths)
    ThrowDamaged("a path is twice in the dictionary");
  ++counts.paths;
}

}  // namespace

std::string RecordKey(std::uint32_t number) {
  std::string key;
  for (unsigned shift = 32; shift > 0; shift -= 8)
    key += static_cast<char>(number >> (shift - 8));
  return key;
}

std::uint32_t RecordNumber(std::string_view key) {
  if (key.size() != 4) ThrowDamaged("a dictionary record has no number");
  std::uint32_t number = 0;
  for (const char byte : key)
    number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

std::string NameRecord(const Name& name) {
  std::string record(1, kName);
  AppendSized(record, name.prefix);
  AppendSized(record, name.uri);
  AppendSized(record, name.local);
  return record;
}

std::string PathRecord(const DictionaryAdditions::NewPath& path) {
  std::string record(1, kPath);
  AppendVarint(record, static_cast<std::uint64_t>(path.kind));
  AppendVarint(record, path.parent);
  AppendVarint(record, path.name);
  return record;
}

std::string TraitRecord(PathId path, std::uint8_t traits) {
  std::string record(1, kTrait);
  AppendVarint(record, path);
  record += static_cast<char>(traits);
  return record;
}

// Of the other tables' keys of four bytes, those of ids begin with a byte that
// no number of a record has, and the values of the rest with others.
bool IsDictionaryRecord(std::string_view key, std::string_view record) {
  return key.size() == 4 && key[0] == '\0' && !record.empty() &&
         (record[0] == kName || record[0] == kPath || record[0] == kTrait);
}

void AddRecord(std::string_view record, bool with_traits,
               Dictionary& dictionary, DictionaryCounts& counts) {
  StoredBytes bytes(record);
  switch (static_cast<char>(bytes.Byte())) {
    case kName:
      AddName(bytes, dictionary, counts);
      break;
    case kPath:
      AddPath(bytes, dictionary, counts);
      break;
    case kTrait: {
      const PathId path = bytes.Varint32();
      const unsigned char traits = bytes.Byte();
      if (path >= counts.paths)
        ThrowDamaged("a path of the dictionary leads nowhere");
      if (with_traits) dictionary.AddTraits(path, traits);
      break;
    }
    default:
      ThrowDamaged("a record of the dictionary has no meaning");
  }
  ++counts.records;
}

std::shared_ptr<const Dictionary> DictionaryOfRecords(
    const std::map<std::string, std::string>& records) {
  auto dictionary = std::make_shared<Dictionary>();
  DictionaryCounts counts;
  try {
    for (const auto& [key, record] : records) {
      if (RecordNumber(key) != counts.records + 1) break;
      AddRecord(record, true, *dictionary, counts);
    }
  } catch (const TreeError&) {
    // Documents that need more cannot be read.
  }
  return dictionary;
}

}  // namespace kiv::xdb
