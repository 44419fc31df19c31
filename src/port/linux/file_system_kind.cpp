#include "port/file_system_kind.h"

#include <fcntl.h>
#include <sys/vfs.h>

#include <cstdint>
#include <fstream>

#include "port/linux/descriptor.h"
#include "port/linux/file_system_magic.h"
#include "port/linux/tree_walk.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

struct NetworkKind {
  std::uint32_t magic;
  const char* name;
};

// FUSE stands here because nobody can tell what a program behind it does.
constexpr NetworkKind kNetworkKinds[] = {
    {0x00006969, "NFS"},    {0x0000517B, "SMB"},    {0xFF534D42, "CIFS"},
    {0xFE534D42, "SMB"},    {0x01021997, "9P"},     {0x5346414F, "AFS"},
    {0x6B414653, "AFS"},    {0x00C36400, "Ceph"},   {0x73757245, "Coda"},
    {0x0000564C, "NCP"},    {0x01161970, "GFS2"},   {0x7461636F, "OCFS2"},
    {0x0BD00BD0, "Lustre"}, {0x786F4256, "vboxsf"}, {0xBACBACBC, "vmhgfs"},
    {0x65735546, "FUSE"},
};

// Counts the folders that it is shown.
class FolderCount final : public TreeVisitor {
 public:
  explicit FolderCount(std::size_t most) : most_(most) {}
  bool Enter(int, const std::string&) override { return ++count_ <= most_; }
  bool File(int, const std::string&, const std::string&) override {
    return count_ <= most_;
  }
  void Unreadable(const std::string&, int) override {}
  std::size_t Count() const { return count_; }

 private:
  const std::size_t most_;
  std::size_t count_ = 0;
};

Descriptor OpenFolder(const std::string& path) {
  return Descriptor(Retry([&] {
    return ::open(SystemPath(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }));
}

}  // namespace

const char* const kWatchLimitFile = "/proc/sys/fs/inotify/max_user_watches";

const char* NetworkName(unsigned long magic) {
  // The field is signed on some machines.
  const auto bits = static_cast<std::uint32_t>(magic);
  for (const NetworkKind& kind : kNetworkKinds)
    if (kind.magic == bits) return kind.name;
  return nullptr;
}

const char* NetworkNameOf(int folder) {
  struct statfs status;
  if (Retry([&] { return ::fstatfs(folder, &status); }) != 0) return nullptr;
  return NetworkName(static_cast<unsigned long>(status.f_type));
}

std::string NetworkFileSystem(const std::string& path) {
  const Descriptor folder = OpenFolder(path);
  const char* const name =
      folder.is_open() ? NetworkNameOf(folder.get()) : nullptr;
  return name != nullptr ? name : "";
}

std::size_t WatchLimit() {
  std::size_t limit = 0;
  std::ifstream(kWatchLimitFile) >> limit;
  return limit;
}

std::size_t CountFolders(const std::string& path, std::size_t most) {
  const Descriptor folder = OpenFolder(path);
  if (!folder.is_open()) return 0;
  FolderCount count(most);
  WalkTree(folder.get(), "", {.subtree = true, .skips_hidden = false}, count);
  return count.Count();
}

}  // namespace kiv::port
