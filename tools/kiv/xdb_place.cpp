#include "xdb_place.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <string_view>

#include "kiv/strings.h"
#include "local_text.h"
#include "secret.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

namespace fs = std::filesystem;

constexpr long kEnvironmentFlags =
    kiv::XDbManager::THREAD | kiv::XDbManager::TRANSACTION;
constexpr long kContainerFlags = kiv::XDbManager::ENCRYPT | kEnvironmentFlags;

}  // namespace

std::string ShownName(const std::string& local) {
  std::string name = local;
  return Utf8(kiv::toGenericPath(name, true));
}

std::string LibraryReason() {
  const std::string text = Utf8(kiv::XDbManager::LastError());
  // In front of it stands the operation, for the log; for an opening the
  // folder, which our caller names, and a code, too.
  std::size_t begin = 0;
  for (const std::string_view mark :
       {"exception: ", "exception : - ",
        "\xE5\xBC\x82\xE5\xB8\xB8: ", " - return "}) {
    const std::size_t found = text.find(mark);
    if (found != std::string::npos)
      begin = std::max(begin, found + mark.size());
  }
  const std::size_t code_end = text.find_first_not_of("0123456789", begin);
  if (begin > 0 && code_end > begin && text.compare(code_end, 2, ": ") == 0)
    begin = code_end + 2;
  return Printable(begin < text.size() ? text.substr(begin) : text);
}

int XdbPlace::Fault(const std::string& text) const {
  std::cerr << "kiv xdb " << command_ << ": " << Printable(text) << '\n';
  return 1;
}

int XdbPlace::LibraryFault(const std::string& what) const {
  return Fault(what + ": " + LibraryReason());
}

bool XdbPlace::LocalName(const std::string& name, std::string& local) const {
  if (ToGb2312(name, local)) return true;
  Fault("'" + name + "'" + kNotLocal);
  return false;
}

bool XdbPlace::HoldsEnvironment() const {
  std::error_code error;
  fs::recursive_directory_iterator entry(
      home, fs::directory_options::skip_permission_denied, error);
  for (const fs::recursive_directory_iterator end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.starts_with("__db.") || name.starts_with("log.0") ||
        entry->path().extension() == ".xdb")
      return true;
  }
  return false;
}

bool XdbPlace::Password(std::string& password, bool is_new) {
  std::string reason;
  bool is_known = true;
  if (!has_password_ && !password_file.empty()) {
    is_known = ReadSecretFile(kPassword, password_file, password_, reason);
  } else if (!has_password_ && asks_password) {
    is_known = AskSecret(kPassword, "Password: ", password_, reason);
    std::string again;
    if (is_known && is_new) {
      is_known = AskSecret(kPassword, "Again: ", again, reason);
      if (is_known && again != password_) {
        is_known = false;
        reason = "the two passwords differ";
      }
    }
  }
  if (!is_known) {
    Fault(reason);
    return false;
  }
  has_password_ = true;
  password = password_;
  return true;
}

kiv::XDbManager* XdbPlace::Open(bool may_create) {
  if (is_open_) return &manager_;
  const bool is_new = !HoldsEnvironment();
  if (is_new && !may_create) {
    Fault("'" + home + "' holds no XML database; kiv xdb create makes one");
    return nullptr;
  }
  std::string local_home;
  std::string password;
  if (!LocalName(home, local_home) || !Password(password, is_new))
    return nullptr;
  is_open_ = manager_.Open(local_home.c_str(), kEnvironmentFlags | extra_flags,
                           password.c_str(), nullptr);
  if (!is_open_) {
    LibraryFault("'" + home + "' cannot be opened");
    return nullptr;
  }
  return &manager_;
}

void XdbPlace::Close() {
  manager_.Close();
  is_open_ = false;
}

bool XdbPlace::OpenContainer(const std::string& name, kiv::XDbContainer& out,
                             bool may_create) {
  kiv::XDbManager* const manager = Open(may_create);
  std::string local;
  if (manager == nullptr || !LocalName(name, local)) return false;
  std::string file;
  if (!kiv::XDbManager::CheckDbName(local.c_str(), file)) {
    Fault("'" + name +
          "' cannot name a container: it is empty, or begins "
          "with 0x");
    return false;
  }
  if (!may_create && !manager->IsExistContainer(local.c_str())) {
    Fault("there is no container '" + name + "' in '" + home + "'");
    return false;
  }
  const long flags =
      kContainerFlags | (may_create ? kiv::XDbManager::CREATE : 0);
  if (manager->OpenContainer(local.c_str(), out, flags)) return true;
  LibraryFault("container '" + name + "' cannot be opened");
  return false;
}

}  // namespace kiv_tool
