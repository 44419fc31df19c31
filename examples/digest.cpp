// MD5 in its three forms: the digest, the short hash and the GUID, of a text
// and of a file. Without an argument the program checks itself on known
// digests, with one it prints the forms of that file; 1 means wrong or not
// readable.
#include <cstdio>
#include <cstring>

#include "kiv/md5.h"

namespace {

bool Print(const char* path) {
  kiv::md5 digest;
  if (!digest.do_file(path)) {
    std::fprintf(stderr, "%s: cannot be read\n", path);
    return false;
  }
  for (int i = 0; i < 16; ++i) std::printf("%02x", digest.digest()[i]);
  unsigned long hash = 0;
  digest.digest32(hash);
  char guid[37];
  digest.get_guid_str(guid, sizeof guid);
  std::printf("  %lu  {%s}  %s\n", hash, guid, path);
  return true;
}

// The same content always has the same identifier.
bool Check() {
  char guid[37];
  kiv::md5::string_digest128("abc", 3, guid, sizeof guid);
  std::printf("abc: %u {%s}\n", kiv::md5_hash_string("abc", 0), guid);
  return kiv::md5_hash_string("abc", 0) == 6478948 &&
         std::strcmp(guid, "98500190-d23c-b04f-d696-3f7d28e17f72") == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const bool done = argc > 1 ? Print(argv[1]) : Check();
  return done ? 0 : 1;
}
