#include <cstring>
#include <stdexcept>
#include <string>

#include "kiv/md5.h"
#include "util/log_entry.h"

// The digests in one call.
namespace kiv {
namespace {

std::string HashFailed(const std::string& text) {
  return "md5_hash_string '" + text + "'failed: encoding user message failed";
}

}  // namespace

bool md5::string_digest32(const char* text, unsigned length,
                          unsigned long& out) {
  md5 digest;
  return digest.do_string(text, length) && digest.digest32(out);
}

bool md5::string_digest128(const char* text, unsigned length, _GUID* out) {
  if (!out) return false;
  md5 digest;
  digest.do_string(text, length);
  *out = digest.get_guid();
  return true;
}

bool md5::string_digest128(const char* text, unsigned length, char* out,
                           unsigned size) {
  md5 digest;
  digest.do_string(text, length);
  digest.get_guid_str(out, size);
  return true;
}

bool md5::file_digest32(const char* path, unsigned long& out) {
  md5 digest;
  return digest.do_file(path) && digest.digest32(out);
}

bool md5::file_digest128(const char* path, _GUID* out) {
  if (!out) return false;
  md5 digest;
  if (!digest.do_file(path)) return false;
  *out = digest.get_guid();
  return true;
}

bool md5::file_digest128(const char* path, char* out, unsigned size) {
  md5 digest;
  if (!digest.do_file(path)) return false;
  digest.get_guid_str(out, size);
  return true;
}

unsigned md5_hash_string(const char* text, unsigned length) {
  if (text && length == 0) length = static_cast<unsigned>(std::strlen(text));
  unsigned long fold = 0;
  if (!text || !md5::string_digest32(text, length, fold)) {
    const std::string value = text ? std::string(text, length) : std::string();
    LogError("sharelib::util", HashFailed(Shown(value)));
    throw std::runtime_error(HashFailed(value));
  }
  return static_cast<unsigned>(fold);
}

}  // namespace kiv
