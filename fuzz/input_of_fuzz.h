#ifndef FUZZ_INPUT_OF_FUZZ_H_
#define FUZZ_INPUT_OF_FUZZ_H_

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "kiv/log.h"
#include "kiv/startup.h"

// What every target is made of. It is one source of this name space, includes
// this once and defines Run.
namespace kiv::fuzz {

// With the bytes in a block of exactly their size: one too far is seen.
void Run(std::string_view input);

inline void Expect(bool holds) {
  if (!holds) std::abort();
}

// The next byte of an input that has one.
inline unsigned char TakeByte(std::string_view& input) {
  const char byte = input.front();
  input.remove_prefix(1);
  return static_cast<unsigned char>(byte);
}

// The library, with a log that is thrown away from time to time: what is
// refused fills it.
class Session {
 public:
  // Before each input.
  static void Next() {
    static Session session;
    if (session.inputs_++ % 4096 != 0) return;
    session.RemoveLog();
    Log::Instance().Open(FileSystemPath(session.folder_.string()), true);
  }

 private:
  Session() { GlobalInit(); }
  ~Session() { RemoveLog(); }
  void RemoveLog() const {
    Log::Instance().Close();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() /
      ("kiv_fuzz_" + std::to_string(::getpid()));
  unsigned inputs_ = 0;
};

}  // namespace kiv::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  const std::unique_ptr<char[]> block(new char[size]);
  std::copy_n(bytes, size, block.get());
  kiv::fuzz::Run({block.get(), size});
  return 0;
}

#endif  // FUZZ_INPUT_OF_FUZZ_H_
