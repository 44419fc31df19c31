#ifndef XDB_TREE_DICTIONARY_H_
#define XDB_TREE_DICTIONARY_H_

#include <atomic>
#include <cstdint>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "xdb/tree/stable_vector.h"

namespace kiv::xdb {

// Names that differ in their prefix only have one id.
using NameId = std::uint32_t;
// A way from the document down by names, as order/lines/line/@no.
using PathId = std::uint32_t;

inline constexpr PathId kDocumentPath = 0;
// Names have 28 bits in a node.
inline constexpr std::uint32_t kMostNames = 1U << 28;

enum class PathKind : std::uint8_t { Document, Element, Attribute };

struct Name {
  std::string prefix;  // the first one met
  std::string uri;
  std::string local;
};

struct Path {
  PathId parent = kDocumentPath;
  NameId name = 0;
  PathKind kind = PathKind::Document;
  // PathTrait bits.
  std::atomic<std::uint8_t> traits = 0;
  // How it begins and ends in a document where it has the name's prefix:
  // "<line" and "</line>", " no=\"" and "\"".
  std::string begin;
  std::string end;
};

// What keeps an index of values from answering for all nodes of a path.
enum PathTrait : std::uint8_t {
  kHasParents = 1,     // some element there has child elements
  kHasLongValues = 2,  // some value there is too long for the index
  kHasSplitText = 4,   // some value there is not that of one text node alone
};

// Names and paths by their id and ids by what they stand for. It only grows:
// an id, and a reference to what it stands for, hold as long as the dictionary.
//
// Threads: any number.
class Dictionary {
 public:
  Dictionary();
  Dictionary(const Dictionary&) = delete;
  Dictionary& operator=(const Dictionary&) = delete;

  std::uint32_t name_count() const { return names_.size(); }
  std::uint32_t path_count() const { return paths_.size(); }

  // The id is one that this dictionary gave.
  const Name& name(NameId id) const { return names_[id]; }
  const Path& path(PathId id) const { return paths_[id]; }
  bool HasPath(std::uint64_t id) const { return id < paths_.size(); }

  std::optional<NameId> FindName(std::string_view uri,
                                 std::string_view local) const;
  std::optional<PathId> FindPath(PathId parent, PathKind kind,
                                 NameId name) const;

  // What is there already keeps its id.
  NameId AddName(std::string_view prefix, std::string_view uri,
                 std::string_view local);
  PathId AddPath(PathId parent, PathKind kind, NameId name);
  void AddTraits(PathId path, std::uint8_t traits);

 private:
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };

  mutable std::shared_mutex mutex_;
  StableVector<Name> names_;
  StableVector<Path> paths_;
  // uri, NUL, local; a name without uri is its local part alone.
  std::unordered_map<std::string, NameId, TextHash, std::equal_to<>> name_ids_;
  std::unordered_map<std::uint64_t, PathId> path_ids_;
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_DICTIONARY_H_
