// Takes a connection text apart with the parser: the protocol, then the keys
// and values behind it, quoted or plain.
//
//   example_parse_connection ["ado://Provider=X;Data Source='a;b'"]
#include <iostream>
#include <string>
#include <vector>

#include "kiv/parser/parser.h"

using kiv::parser::Parser;

namespace {

struct Setting {
  std::string key;
  std::string value;
};

// key "=" value { ";" key "=" value }; a value with ";" in it stands in quotes.
bool ReadSettings(const std::string& text, std::vector<Setting>& out) {
  const char* at = text.data();
  const char* const end = at + text.size();
  unsigned used = 0;
  while (at != end) {
    Setting setting;
    if (!Parser::ParseTo(at, end, '=', setting.key, used)) return false;
    at += used;
    if (at == end) return false;  // a key without "="
    ++at;
    Parser::IgnoreSpaces(at, end, used);
    at += used;
    if (at != end && (*at == '"' || *at == '\'')) {
      const char quote = *at;
      if (!Parser::ParseString(at, end, setting.value, used)) return false;
      at += used;
      Parser::IgnoreNextChar(at, end, quote, used);
    } else {
      Parser::ParseTo(at, end, ';', setting.value, used);
    }
    at += used;
    Parser::IgnoreNextChar(at, end, ';', used);
    at += used;
    out.push_back(setting);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string text =
      argc > 1 ? argv[1]
               : "ado://Provider=SQLite; Data Source='c:\\\\data;1.db'";
  std::string protocol, body;
  unsigned consumed;
  std::vector<Setting> settings;
  if (!Parser::ParseConnectionExpression(text.data(), text.data() + text.size(),
                                         protocol, body, consumed) ||
      !ReadSettings(body, settings)) {
    std::cout << "not a connection text: " << text << '\n';
    return 1;
  }
  std::cout << "protocol: " << protocol << '\n';
  for (const Setting& setting : settings) {
    std::cout << setting.key << ": " << setting.value << '\n';
  }
  if (argc > 1) return 0;
  const bool is_right = protocol == "ado" && settings.size() == 2 &&
                        settings[0].value == "SQLite" &&
                        settings[1].key == "Data Source" &&
                        settings[1].value == "c:\\data;1.db";
  return is_right ? 0 : 1;
}
