// Any bytes as digits: what is accepted must come back, and nothing may be read
// or written outside.
#include <string>
#include <vector>

#include "input_of_fuzz.h"
#include "kiv/hex.h"

namespace kiv::fuzz {

void Run(std::string_view input) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(input.data());
  const auto size = static_cast<unsigned>(input.size());
  // Of the exact size, so that the sanitizer sees every overrun.
  std::vector<unsigned char> raw(size / 2);
  std::string decoded;
  const bool is_hex = hexToString(input.data(), size, decoded);
  Expect(hexToBytes(input.data(), size, raw.data(), size / 2) == is_hex);
  Expect(!is_hex || decoded == std::string(raw.begin(), raw.end()));
  if (size == 0) return;

  std::string encoded;
  bytesToHex(bytes, size, encoded);
  std::vector<char> digits(2 * size + 1);
  Expect(bytesToHex(bytes, size, digits.data(), 2 * size + 1, true) &&
         encoded == digits.data());
  std::string back;
  Expect(hexToString(encoded.data(), 2 * size, back) && back == input);
}

}  // namespace kiv::fuzz
