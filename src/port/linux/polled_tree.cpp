#include "port/linux/polled_tree.h"

#include <fcntl.h>

#include <tuple>

namespace kiv::port {

bool FileState::operator==(const FileState& other) const {
  const auto parts = [](const FileState& state) {
    return std::tuple(state.device, state.index, state.size,
                      state.written.tv_sec, state.written.tv_nsec,
                      state.changed.tv_sec, state.changed.tv_nsec);
  };
  return parts(*this) == parts(other);
}

class PolledTree::Visitor final : public TreeVisitor {
 public:
  Visitor(PolledTree& tree, std::size_t key, ChangeQueue& changes)
      : tree_(tree), key_(key), changes_(changes) {}

  bool Enter(int, const std::string&) override { return true; }

  bool File(int folder, const std::string& leaf,
            const std::string& name) override {
    struct stat status;
    if (::fstatat(folder, leaf.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
      return true;
    const FileState state(status);
    const auto [known, is_new] = tree_.files_.try_emplace(name);
    Seen& seen = known->second;
    seen.look = tree_.look_;
    if (is_new || !(seen.state == state)) {
      seen.state = state;
      seen.is_told = tree_.takes_all_as_known_;
    } else if (!seen.is_told) {
      seen.is_told = true;
      changes_.AddFile(key_, name, ChangeRecord::Certainty::Stable);
    }
    return true;
  }

  // Its files are known no more, and new when it can be read again.
  void Unreadable(const std::string&, int) override {}

 private:
  PolledTree& tree_;
  const std::size_t key_;
  ChangeQueue& changes_;
};

void PolledTree::Look(int root, const WalkOptions& options, std::size_t key,
                      ChangeQueue& changes) {
  ++look_;
  Visitor visitor(*this, key, changes);
  WalkTree(root, "", options, visitor);
  takes_all_as_known_ = false;
  std::erase_if(files_,
                [this](const auto& file) { return file.second.look != look_; });
}

}  // namespace kiv::port
