// Connection texts: what is read is written and read again the same, and no
// password survives masking.
//
// Input: one byte for the kind of text, then the text.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "store/ado/connection_text.h"
#include "util/cp936.h"
#include "util/gb_text.h"

namespace {

using kiv::store::ado::ConnectionText;
using kiv::store::ado::Masked;

void Expect(bool holds) {
  if (!holds) std::abort();
}

bool IsOfPassword(std::string key) {
  kiv::LowerAscii(key);
  return key.find("password") != std::string::npos || key.ends_with("pwd");
}

void CheckMasked(const std::string& text, const ConnectionText& read) {
  const std::string masked = Masked(text);
  Expect(Masked(masked).size() <= masked.size() + 3 * text.size());
  // A value that is nowhere else in the text is not in the masked one.
  for (const auto& pair : read.pairs()) {
    if (!IsOfPassword(pair.key) || pair.value.size() < 4) continue;
    const std::size_t first = text.find(pair.value);
    if (first != std::string::npos &&
        text.find(pair.value, first + 1) == std::string::npos)
      Expect(masked.find(pair.value) == std::string::npos);
  }
}

void CheckOdbc(const ConnectionText& read) {
  const std::string written = read.ToOdbc();
  ConnectionText again;
  std::string fault;
  Expect(ConnectionText::Parse(kiv::Utf8ToCp936(written),
                               ConnectionText::Kind::Odbc, again, fault) ||
         // A key may have what only OLE DB allows in it.
         std::any_of(
             read.pairs().begin(), read.pairs().end(), [](const auto& pair) {
               return pair.key.find_first_of("=;{}") != std::string::npos ||
                      !kiv::IsCp936(pair.key + pair.value);
             }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0 || size > 4096) return 0;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  const auto kind = static_cast<ConnectionText::Kind>(data[0] % 3);
  ConnectionText read;
  std::string fault;
  if (ConnectionText::Parse(text, kind, read, fault)) {
    Expect(fault.empty());
    CheckMasked(text, read);
    CheckOdbc(read);
  } else {
    Expect(!fault.empty() && read.pairs().empty());
    Masked(text);
  }
  return 0;
}
