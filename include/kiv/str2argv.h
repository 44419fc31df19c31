#ifndef KIV_STR2ARGV_H_
#define KIV_STR2ARGV_H_

#include "kiv/export.h"

namespace kiv {

// An argument vector cut from a command line, deliberately minimal: every
// single space cuts, doubled spaces give empty entries, and there is no quoting
// and no treatment of tabs. A space in the first position is not counted, so a
// line that begins with one loses its last piece.
class KIV_API Str2Argv {
 public:
  Str2Argv(const char* line = nullptr);
  ~Str2Argv();
  Str2Argv(const Str2Argv&) = delete;
  Str2Argv& operator=(const Str2Argv&) = delete;

  // Drops the earlier vector, then splits. Nothing for null or empty.
  void Init(const char* line);

  int Argc() const { return argc_; }
  // Borrowed: lives until the next Init.
  char** Argv() const { return argv_; }

  // A null line gives 0 and null. The caller hands the result to free_argv.
  static void str_to_argv(const char* line, char*** argv, int* argc);
  static void free_argv(char** argv, int argc);

 private:
  int argc_ = 0;
  char** argv_ = nullptr;
};

}  // namespace kiv

#endif  // KIV_STR2ARGV_H_
