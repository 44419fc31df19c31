#include "xdb/tree/dictionary.h"

#include <mutex>

#include "xdb/tree/tree_error.h"

namespace kiv::xdb {
namespace {

// No name contains a NUL.
std::string JoinedKey(std::string_view uri, std::string_view local) {
  std::string key;
  key.reserve(uri.size() + 1 + local.size());
  key.append(uri).append(1, '\0').append(local);
  return key;
}

// A path has fewer than 2^31 parents, and a name 28 bits.
std::uint64_t PathKey(PathId parent, PathKind kind, NameId name) {
  return std::uint64_t{parent} << 32 | std::uint64_t{name} << 2 |
         static_cast<std::uint64_t>(kind);
}

}  // namespace

Dictionary::Dictionary() {
  paths_.Next();
  paths_.Publish();
}

std::optional<NameId> Dictionary::FindName(std::string_view uri,
                                           std::string_view local) const {
  const auto find = [this](std::string_view key) -> std::optional<NameId> {
    const std::shared_lock lock(mutex_);
    const auto found = name_ids_.find(key);
    if (found == name_ids_.end()) return std::nullopt;
    return found->second;
  };
  return uri.empty() ? find(local) : find(JoinedKey(uri, local));
}

std::optional<PathId> Dictionary::FindPath(PathId parent, PathKind kind,
                                           NameId name) const {
  const std::shared_lock lock(mutex_);
  const auto found = path_ids_.find(PathKey(parent, kind, name));
  if (found == path_ids_.end()) return std::nullopt;
  return found->second;
}

NameId Dictionary::AddName(std::string_view prefix, std::string_view uri,
                           std::string_view local) {
  const std::unique_lock lock(mutex_);
  const NameId id = names_.size();
  const auto [found, is_new] = name_ids_.try_emplace(
      uri.empty() ? std::string(local) : JoinedKey(uri, local), id);
  if (!is_new) return found->second;
  if (id == kMostNames) {
    name_ids_.erase(found);
    throw TreeError("there are too many names");
  }
  Name& name = names_.Next();
  name.prefix = prefix;
  name.uri = uri;
  name.local = local;
  names_.Publish();
  return id;
}

PathId Dictionary::AddPath(PathId parent, PathKind kind, NameId name) {
  const std::unique_lock lock(mutex_);
  const PathId id = paths_.size();
  const auto [found, is_new] =
      path_ids_.try_emplace(PathKey(parent, kind, name), id);
  if (!is_new) return found->second;
  Path& path = paths_.Next();
  path.parent = parent;
  path.name = name;
  path.kind = kind;
  const Name& parts = names_[name];
  const std::string written =
      parts.prefix.empty() ? parts.local : parts.prefix + ":" + parts.local;
  if (kind == PathKind::Attribute) {
    path.begin = " " + written + "=\"";
    path.end = "\"";
  } else {
    path.begin = "<" + written;
    path.end = "</" + written + ">";
  }
  paths_.Publish();
  return id;
}

void Dictionary::AddTraits(PathId path, std::uint8_t traits) {
  paths_[path].traits.fetch_or(traits, std::memory_order_relaxed);
}

}  // namespace kiv::xdb
