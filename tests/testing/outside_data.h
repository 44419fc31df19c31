#ifndef TESTING_OUTSIDE_DATA_H_
#define TESTING_OUTSIDE_DATA_H_

#include <zlib.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace kiv::testing {

// Foreign data that is no part of the project: in the folder KIV_DATA, else in
// shared/data beside the checkout.
inline std::filesystem::path OutsideData() {
  if (const char* const set = std::getenv("KIV_DATA")) return set;
  return std::filesystem::path(KIV_CHECKOUT).parent_path() / "shared" / "data";
}

// A file, unpacked when it is packed.
inline std::string ReadPacked(const std::filesystem::path& path) {
  const gzFile file = gzopen(path.c_str(), "rb");
  if (file == nullptr)
    throw std::runtime_error(path.string() + " cannot be opened");
  std::string content;
  char block[1 << 16];
  int count;
  while ((count = gzread(file, block, sizeof block)) > 0)
    content.append(block, static_cast<std::size_t>(count));
  gzclose(file);
  if (count < 0) throw std::runtime_error(path.string() + " is damaged");
  return content;
}

}  // namespace kiv::testing

#endif  // TESTING_OUTSIDE_DATA_H_
