#include "kiv/str2argv.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace kiv {

Str2Argv::Str2Argv(const char* line) { Init(line); }

Str2Argv::~Str2Argv() { free_argv(argv_, argc_); }

void Str2Argv::Init(const char* line) {
  // Split before the old vector goes: the line may be one of its entries.
  char** argv = nullptr;
  int argc = 0;
  if (line != nullptr && *line != '\0') str_to_argv(line, &argv, &argc);
  free_argv(argv_, argc_);
  argv_ = argv;
  argc_ = argc;
}

void Str2Argv::str_to_argv(const char* line, char*** argv, int* argc) {
  if (argv == nullptr || argc == nullptr) return;
  *argv = nullptr;
  *argc = 0;
  if (line == nullptr) return;

  const std::string_view text = line;
  const std::string_view counted =
      text.substr(std::min<std::size_t>(1, text.size()));
  const auto count = static_cast<std::size_t>(
      1 + std::count(counted.begin(), counted.end(), ' '));

  std::vector<std::unique_ptr<char[]>> entries;
  for (std::size_t start = 0; entries.size() < count;) {
    const std::size_t end = std::min(text.find(' ', start), text.size());
    const std::string_view piece = text.substr(start, end - start);
    auto& entry =
        entries.emplace_back(std::make_unique<char[]>(piece.size() + 1));
    piece.copy(entry.get(), piece.size());
    start = end + 1;
  }
  // A null behind the last entry, as main gets it.
  auto vector = std::make_unique<char*[]>(count + 1);
  for (std::size_t i = 0; i < count; ++i) vector[i] = entries[i].release();
  *argv = vector.release();
  *argc = static_cast<int>(count);
}

void Str2Argv::free_argv(char** argv, int argc) {
  if (argv == nullptr) return;
  for (int i = 0; i < argc; ++i) delete[] argv[i];
  delete[] argv;
}

}  // namespace kiv
