#ifndef KIV_MD5_H_
#define KIV_MD5_H_

#include <cstdint>

#include "dm/guid.h"
#include "kiv/export.h"

namespace kiv {

// MD5 (RFC 1321) with two forms of this library's own: a 32-bit fold used as a
// cheap hash, and the digest read as a GUID. A finalised object is spent. An
// object belongs to one thread at a time; the static functions to all.
class KIV_API md5 {
 public:
  md5();

  void update(const unsigned char* input, unsigned long length);
  void finalize();
  // update and finalize in one; always true. A length of 0 is an empty text.
  bool do_string(const char* text, unsigned length);
  // False when the file cannot be opened or read to its end.
  bool do_file(const char* path);

  // 16 bytes, valid after finalize. Borrowed from this object.
  unsigned char* digest();
  // The sum of digest[k] << (15 - k). The bytes overlap, so the value stays
  // below 2^24; stored values depend on it.
  bool digest32(unsigned long& out) const;
  // The digest bytes as they stand, numbers little-endian.
  GUID get_guid() const;
  // Needs room for 37 characters; with less, nothing is written.
  void get_guid_str(char* out, unsigned size) const;

  // A length of 0 is an empty text here, too.
  static bool string_digest32(const char* text, unsigned length,
                              unsigned long& out);
  static bool string_digest128(const char* text, unsigned length, _GUID* out);
  // True even when the buffer is too small and nothing was written: callers
  // test the buffer.
  static bool string_digest128(const char* text, unsigned length, char* out,
                               unsigned size);
  // False when the file cannot be opened or read to its end.
  static bool file_digest32(const char* path, unsigned long& out);
  static bool file_digest128(const char* path, _GUID* out);
  static bool file_digest128(const char* path, char* out, unsigned size);

 protected:
  void init();
  void Transform(const unsigned char* block);

 private:
  std::uint32_t state_[4];
  std::uint32_t count_[2];  // input bits, low word first
  unsigned char buffer_[64];
  unsigned char digest_[16];
};

// The folded digest; a length of 0 means up to the NUL. Logs and throws
// std::runtime_error when it cannot be computed, as for null.
KIV_API unsigned md5_hash_string(const char* text, unsigned length);

}  // namespace kiv

#endif  // KIV_MD5_H_
