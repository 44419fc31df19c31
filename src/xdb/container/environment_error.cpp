#include <db_cxx.h>

#include <cerrno>
#include <utility>

#include "port/file.h"
#include "util/log_entry.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/environment_settings.h"

namespace kiv::xdb {
namespace {

// Berkeley DB tells of an error on the thread that meets it, before the call
// returns; the first sentence names the cause, later ones what followed of it.
thread_local std::string kept_text;

void Keep(const char* text) {
  if (text == nullptr) return;
  constexpr std::size_t kMostBytes = 1000;
  try {
    if (kept_text.size() > kMostBytes) return;
    if (!kept_text.empty()) kept_text += "; ";
    kept_text += text;
  } catch (...) {
    // It is called from C.
  }
}

void KeepFromEnvironment(const DbEnv*, const char*, const char* text) {
  Keep(text);
}

struct Meaning {
  int code;
  Failure failure;
  const char* cure;
};

constexpr Meaning kMeanings[] = {
    {DB_LOCK_DEADLOCK, Failure::Deadlock,
     "abort the transaction and try it again"},
    {DB_LOCK_NOTGRANTED, Failure::BusyTooLong,
     "others held what it needs for too long; abort the transaction and try "
     "it again"},
    {DB_RUNRECOVERY, Failure::NeedsRecovery,
     "close the environment in every program, then open it again"},
    {DB_NOTFOUND, Failure::NotFound, ""},
    {DB_KEYEXIST, Failure::AlreadyThere, ""},
    {DB_OLD_VERSION, Failure::BadFormat,
     "it was written by an older Berkeley DB; load it anew from a dump"},
    {DB_VERIFY_BAD, Failure::BadFormat, "salvage what can be read"},
    {DB_PAGE_NOTFOUND, Failure::BadFormat,
     "a page is missing; salvage what can be read, or restore a backup"},
    {ENOSPC, Failure::OutOfSpace, "make room on the disk"},
    {EDQUOT, Failure::OutOfSpace, "raise the disk quota or make room"},
    {ENOMEM, Failure::OutOfSpace,
     "raise the limits of the environment in its file DB_CONFIG"},
    {DB_VERSION_MISMATCH, Failure::BadFormat,
     "another version of Berkeley DB has it open; close it there"},
    {EACCES, Failure::Other, "give this user the right to it"},
    {EROFS, Failure::ReadOnly, "mount the file system for writing"},
    {ENOENT, Failure::NotFound, ""},
    {EEXIST, Failure::AlreadyThere, ""},
};

// Berkeley DB has one code for most of what it refuses, and a number in front
// of each text.
struct Refusal {
  const char* number;
  Failure failure;
  const char* cure;
};

constexpr Refusal kRefusals[] = {
    {"BDB0172", Failure::WrongPassword, "open it without a password"},
    {"BDB0174", Failure::WrongPassword, "open it with its password"},
    {"BDB0175", Failure::WrongPassword, "open it with its password"},
    {"BDB0178", Failure::WrongPassword, "open it with its password"},
    {"BDB0180", Failure::WrongPassword, "open it with its password"},
    {"BDB0181", Failure::WrongPassword, "open it without a password"},
    {"BDB0195", Failure::WrongPassword, "open it without a password"},
    {"BDB0196", Failure::WrongPassword, "open it with its password"},
    {"BDB1540", Failure::Other,
     "others have it open without transactions, locking or logging: close it "
     "there, or open it in the same way"},
};

const Refusal* FindRefusal(const std::string& said) {
  for (const Refusal& refusal : kRefusals)
    if (said.find(refusal.number) != std::string::npos) return &refusal;
  return nullptr;
}

const Meaning* FindMeaning(int code) {
  for (const Meaning& meaning : kMeanings)
    if (meaning.code == code) return &meaning;
  return nullptr;
}

}  // namespace

void KeepErrorTexts(DbEnv& environment) {
  environment.set_errcall(KeepFromEnvironment);
}
void KeepErrorTexts(Db& database) { database.set_errcall(KeepFromEnvironment); }
void ForgetErrorTexts() { kept_text.clear(); }

StoreError MakeStoreError(int code, const std::string& doing,
                          const std::string& thing) {
  std::string text = "cannot " + doing;
  if (!thing.empty()) text += " '" + Shown(thing) + "'";
  text += ": ";
  text += code > 0 ? port::ErrorText(code) : DbEnv::strerror(code);
  const std::string said = std::exchange(kept_text, {});
  if (!said.empty()) text += " (" + Shown(said) + ")";
  Failure failure = Failure::Other;
  const char* cure = "";
  if (const Refusal* const refusal = FindRefusal(said)) {
    failure = refusal->failure;
    cure = refusal->cure;
  } else if (const Meaning* const meaning = FindMeaning(code)) {
    failure = meaning->failure;
    cure = meaning->cure;
  }
  if (cure[0] != '\0') text += std::string("; ") + cure;
  return StoreError(failure, text, code);
}

}  // namespace kiv::xdb
