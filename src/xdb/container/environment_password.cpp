#include "xdb/container/environment_password.h"

#include <db_cxx.h>

#include <cerrno>

#include "port/file.h"
#include "port/native_path.h"
#include "port/private_file.h"
#include "util/log_entry.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/store_error.h"

namespace kiv::xdb {
namespace {

using Cipher = LifeTable::Facts::Cipher;

// An empty database, encrypted with the password of the environment: whoever
// can open it has the right one. The password itself is kept nowhere.
constexpr char kKeyFile[] = "\\environment.key";

[[noreturn]] void Refuse(const std::string& home, int code, const char* what) {
  throw StoreError(Failure::WrongPassword,
                   "cannot open the environment '" + Shown(home) + "': " + what,
                   code);
}

int OpenKey(const std::string& path, const std::string& password,
            u_int32_t flags) {
  Db key(nullptr, DB_CXX_NO_EXCEPTIONS);
  KeepErrorTexts(key);
  constexpr u_int32_t kSmallestPage = 512;
  int code = key.set_encrypt(password.c_str(), DB_ENCRYPT_AES);
  if (code == 0) code = key.set_pagesize(kSmallestPage);
  if (code == 0)
    code = key.open(nullptr, port::SystemPath(path).c_str(), nullptr, DB_BTREE,
                    flags, 0600);
  const int closed = key.close(0);
  return code != 0 ? code : closed;
}

// Under another name first: half a key would lock everybody out.
void MakeKey(const std::string& home, const std::string& password) {
  const std::string path = home + kKeyFile;
  const std::string draft = path + ".new";
  port::DeleteFileA(draft);
  // Of an opening that came no further than here.
  port::DeleteFileA(path);
  CheckCode(OpenKey(draft, password, DB_CREATE | DB_EXCL), "make", draft);
  if (!port::MoveFileA(draft, path))
    throw MakeStoreError(port::LastError(), "make", path);
  port::SyncDirectory(home);
}

Cipher FindOut(const LogFiles& logs, const std::string& home) {
  if (logs.kind == LogKind::Plain) return Cipher::None;
  if (logs.kind == LogKind::Encrypted) return Cipher::Aes;
  return ContainerCipher(home);
}

}  // namespace

void RequirePassword(const std::string& home, const LogFiles& logs,
                     const std::string& password, LifeTable::Facts& facts) {
  if (facts.cipher == Cipher::Unknown) facts.cipher = FindOut(logs, home);
  if (facts.cipher == Cipher::Unknown) {
    facts.cipher = password.empty() ? Cipher::None : Cipher::Aes;
    if (!password.empty()) MakeKey(home, password);
  }
  if (facts.cipher == Cipher::None) {
    if (!password.empty())
      Refuse(home, EINVAL,
             "it is not encrypted, and a password was given; open it without "
             "one, or dump its containers and load them into a new encrypted "
             "environment");
    return;
  }
  if (password.empty())
    Refuse(home, EINVAL,
           "it is encrypted, and no password was given; open it with its "
           "password");
  const std::string path = home + kKeyFile;
  // Without it the log files and the containers tell, when they are read.
  if (port::GetEntryState(path).kind == port::EntryKind::Missing) return;
  const int code = OpenKey(path, password, DB_RDONLY);
  if (code == 0) return;
  const StoreError error = MakeStoreError(code, "open", path);
  // What is read with the wrong key looks damaged.
  const bool looks_damaged =
      std::string(error.what()).find("BDB0210") != std::string::npos;
  if (error.failure() != Failure::WrongPassword && !looks_damaged) throw error;
  Refuse(home, EPERM, "the password is wrong");
}

}  // namespace kiv::xdb
