// Any bytes as digits: what is accepted must come back, and nothing may be read
// or written outside.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "kiv/hex.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  // Copies of the exact size, so that the sanitizer sees every overrun.
  const std::vector<char> text(bytes, bytes + size);
  const auto length = static_cast<unsigned>(size);
  std::vector<unsigned char> raw(size / 2);
  std::string decoded;
  const bool is_hex = kiv::hexToString(text.data(), length, decoded);
  if (kiv::hexToBytes(text.data(), length, raw.data(), length / 2) != is_hex)
    std::abort();
  if (is_hex && decoded != std::string(raw.begin(), raw.end())) std::abort();

  std::string encoded;
  kiv::bytesToHex(bytes, length, encoded);
  if (size == 0) return 0;
  std::vector<char> digits(2 * size + 1);
  if (!kiv::bytesToHex(bytes, length, digits.data(), 2 * length + 1, true) ||
      encoded != digits.data())
    std::abort();
  std::string back;
  if (!kiv::hexToString(encoded.data(), 2 * length, back) ||
      back != std::string(bytes, bytes + size))
    std::abort();
  return 0;
}
