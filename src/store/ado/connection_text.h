#ifndef STORE_ADO_CONNECTION_TEXT_H_
#define STORE_ADO_CONNECTION_TEXT_H_

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// OLE DB and ODBC connection texts: pairs of keys and values.
//
//   key = value ; key = value ...
//
// In OLE DB a value may stand in single or double quotes, with the quote
// doubled inside, and a key's "=" doubled; in ODBC a value may stand in braces,
// with "}" doubled inside. Blanks around keys and unquoted values do not count.
// Keys match in either case. All in the local encoding.
namespace kiv::store::ado {

struct TextPair {
  std::string key;
  std::string value;
};

class ConnectionText {
 public:
  // Mixed is OLE DB with braces: the pairs of a provider that hands them on.
  enum class Kind { OleDb, Odbc, Mixed };

  // False for a pair without "=", a key without characters, a quote or brace
  // without its end, anything but ";" behind a quoted value, and a NUL. `out`
  // is touched only by success; `fault` says what is wrong without quoting a
  // value.
  static bool Parse(std::string_view text, Kind kind, ConnectionText& out,
                    std::string& fault);

  const std::vector<TextPair>& pairs() const { return pairs_; }
  // Null when there is none. No key is there twice: in ODBC the first counts,
  // in OLE DB the last, save of Provider, and Parse drops the others, so that a
  // text cannot mean one thing to us and another to a driver.
  const std::string* Find(std::string_view key) const;
  std::string* Find(std::string_view key);
  // Of the first of these names for one thing that is there, else empty.
  std::string FirstOf(std::initializer_list<const char*> keys) const;
  void Add(std::string key, std::string value);
  void AddMissing(std::string_view key, std::string value);
  // Replaces the value or adds the pair.
  void Set(std::string_view key, std::string value);
  void Remove(std::string_view key);

  // As ODBC reads it, in UTF-8: values in braces where they have to be.
  std::string ToOdbc() const;
  // The same for a driver that knows no braces. False when a value has a ";".
  bool ToPlainOdbc(std::string& out_utf8) const;

 private:
  std::vector<TextPair> pairs_;
};

// As any provider or driver says yes.
bool IsYes(std::string_view value);

// The text with *** for every password in it, whatever else is wrong with it:
// values of PWD and of keys that have "password" in them, whether in quotes, in
// braces or bare, also those inside of another value (Extended Properties).
std::string Masked(std::string_view text);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_CONNECTION_TEXT_H_
