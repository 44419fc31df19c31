// Connection texts: what is read is written and read again the same, and no
// password survives masking. And what a factory is handed.
//
// Input: one byte for the kind of text, then the text.
#include <algorithm>
#include <string>

#include "input_of_fuzz.h"
#include "kiv/store/factory.h"
#include "store/ado/connection_text.h"
#include "util/cp936.h"
#include "util/gb_text.h"

namespace kiv::fuzz {

using store::ado::ConnectionText;
using store::ado::Masked;

bool IsOfPassword(std::string key) {
  LowerAscii(key);
  return key.find("password") != std::string::npos || key.ends_with("pwd");
}

void CheckMasked(const std::string& text, const ConnectionText& read) {
  const std::string masked = Masked(text);
  Expect(Masked(masked).size() <= masked.size() + 3 * text.size());
  // A value that is nowhere else in the text is not in the masked one.
  for (const auto& pair : read.pairs()) {
    const std::size_t first = text.find(pair.value);
    if (IsOfPassword(pair.key) && pair.value.size() >= 4 &&
        first != std::string::npos &&
        text.find(pair.value, first + 1) == std::string::npos)
      Expect(masked.find(pair.value) == std::string::npos);
  }
}

void CheckOdbc(const ConnectionText& read) {
  ConnectionText again;
  std::string fault;
  // A key may have what only OLE DB allows in it.
  const auto is_odd = [](const auto& pair) {
    return pair.key.find_first_of("=;{}") != std::string::npos ||
           !IsCp936(pair.key + pair.value);
  };
  Expect(ConnectionText::Parse(Utf8ToCp936(read.ToOdbc()),
                               ConnectionText::Kind::Odbc, again, fault) ||
         std::any_of(read.pairs().begin(), read.pairs().end(), is_odd));
}

void CheckFactory(const std::string& text) {
  Session::Next();
  const bool is_made =
      store::Factory().CreateConnection("ado:" + text) != nullptr;
  // There is a word for the kind of database, and something behind it.
  const std::size_t end = text.find(':');
  Expect(!is_made || (end != std::string::npos && end + 1 < text.size()));
  store::Factory().CreateConnection(text);
}

void Run(std::string_view input) {
  if (input.empty() || input.size() > 4096) return;
  const int kind = TakeByte(input) % 4;
  const std::string text(input);
  if (kind == 3) return CheckFactory(text);
  ConnectionText read;
  std::string fault;
  if (ConnectionText::Parse(text, static_cast<ConnectionText::Kind>(kind), read,
                            fault)) {
    Expect(fault.empty());
    CheckMasked(text, read);
    CheckOdbc(read);
  } else {
    Expect(!fault.empty() && read.pairs().empty());
    Masked(text);
  }
}

}  // namespace kiv::fuzz
