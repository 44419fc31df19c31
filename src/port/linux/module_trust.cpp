#include "port/linux/module_trust.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <list>
#include <string_view>
#include <utility>

#include "port/file.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

constexpr int kMostLinks = 40;  // as the system's own

// On the way to a file a sticky folder is closed enough: others may add to it,
// but not replace what root or we put there. Beside the file it is not, since
// they could add what a look-up that ignores case finds first.
enum class Sticky { IsEnough, IsNotEnough };

bool IsOurs(const struct stat& entry, std::string& why) {
  if (entry.st_uid == 0 || entry.st_uid == ::geteuid()) return true;
  why = "belongs to user " + std::to_string(entry.st_uid);
  return false;
}

bool IsClosed(const struct stat& entry, Sticky sticky, std::string& why) {
  if (!IsOurs(entry, why)) return false;
  if (sticky == Sticky::IsEnough && (entry.st_mode & S_ISVTX) != 0) return true;
  if ((entry.st_mode & S_IWOTH) != 0) {
    why = "may be written by everybody";
    return false;
  }
  if ((entry.st_mode & S_IWGRP) != 0 && entry.st_gid != 0 &&
      entry.st_gid != ::getegid()) {
    why = "may be written by group " + std::to_string(entry.st_gid);
    return false;
  }
  return true;
}

// Goes the way that the system goes to a file, name by name and link by link:
// who may write to any folder of it could lead it elsewhere.
class Way {
 public:
  explicit Way(std::string& reason) : reason_(reason) {}

  bool IsTrusted(const std::string& path) {
    if (!path.starts_with('/')) {
      char here[PATH_MAX];
      if (::getcwd(here, sizeof here) == nullptr) return Failed();
      Insert(here);
    }
    names_.splice(names_.end(), Names(path));
    if (!CheckFolder(Sticky::IsEnough)) return false;
    while (!names_.empty()) {
      const std::string name = std::move(names_.front());
      names_.pop_front();
      if (!Step(name)) return false;
    }
    return true;
  }

 private:
  static std::list<std::string> Names(std::string_view path) {
    std::list<std::string> names;
    while (!path.empty()) {
      const std::string_view name = path.substr(0, path.find('/'));
      if (!name.empty() && name != ".") names.emplace_back(name);
      path.remove_prefix(std::min(name.size() + 1, path.size()));
    }
    return names;
  }
  void Insert(std::string_view path) {
    names_.splice(names_.begin(), Names(path));
  }

  bool Step(const std::string& name) {
    if (name == "..") {
      // There is no link in folder_, so that its parent is what stands before.
      folder_.erase(std::min(folder_.rfind('/'), folder_.size()));
      return true;
    }
    const std::string path = folder_ + "/" + name;
    struct stat entry {};
    if (::lstat(path.c_str(), &entry) != 0) return Failed();
    if (S_ISDIR(entry.st_mode)) {
      folder_ = path;
      return CheckFolder(Sticky::IsEnough);
    }
    // The file, or the last link to it.
    if (names_.empty() && !CheckFolder(Sticky::IsNotEnough)) return false;
    std::string why;
    if (!S_ISLNK(entry.st_mode))
      return IsClosed(entry, Sticky::IsNotEnough, why) || Refused(path, why);
    return IsOurs(entry, why) ? Follow(path) : Refused(path, why);
  }

  bool Follow(const std::string& link) {
    char target[PATH_MAX];
    const ssize_t size = ::readlink(link.c_str(), target, sizeof target);
    if (size < 0) return Failed();
    if (++links_ > kMostLinks) {
      errno = ELOOP;
      return Failed();
    }
    const std::string_view path(target, static_cast<std::size_t>(size));
    if (path.starts_with('/')) folder_.clear();
    Insert(path);
    return true;
  }

  bool CheckFolder(Sticky sticky) {
    const std::string path = folder_.empty() ? "/" : folder_;
    struct stat entry {};
    std::string why;
    if (::stat(path.c_str(), &entry) != 0) return Failed();
    return IsClosed(entry, sticky, why) || Refused(path, why);
  }

  bool Failed() {
    reason_ = ErrorText(errno);
    return false;
  }
  bool Refused(const std::string& path, const std::string& why) {
    reason_ = "refused, since '" + LocalPath(path) + "' " + why +
              ": take that right away, or set KIV_MODULE_TRUST=any where "
              "anybody may";
    return false;
  }

  std::string& reason_;
  std::string folder_;  // as realpath gives it; "" is the root
  std::list<std::string> names_;
  int links_ = 0;
};

}  // namespace

bool IsTrustedModule(const std::string& path, std::string& reason) {
  const char* trust = std::getenv("KIV_MODULE_TRUST");
  if (trust != nullptr && std::string_view(trust) == "any") return true;
  return Way(reason).IsTrusted(path);
}

}  // namespace kiv::port
