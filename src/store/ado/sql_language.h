#ifndef STORE_ADO_SQL_LANGUAGE_H_
#define STORE_ADO_SQL_LANGUAGE_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/ado/ado_objects.h"

namespace kiv::store::ado {

// How one database wants to be spoken to. Texts in UTF-8.
class SqlLanguage {
 public:
  explicit SqlLanguage(Dialect dialect) : dialect_(dialect) {}
  virtual ~SqlLanguage() = default;

  Dialect dialect() const { return dialect_; }
  // The driver's own quote character, and what takes the meaning from "_" and
  // "%" in patterns; empty when there is none.
  void SetMarks(std::string quote, std::string escape) {
    quote_ = std::move(quote);
    escape_ = std::move(escape);
  }

  std::string Quoted(std::string_view name) const;
  // For the name arguments of catalog functions, which are patterns: finds the
  // name, and others that are as long.
  std::string Pattern(std::string_view name) const;
  // Whether the database takes both for one name.
  bool IsSameName(std::string_view a, std::string_view b) const;

  // What the driver says of its types: ODBC's number, the name, and what
  // stands behind it in parentheses.
  struct TypeName {
    int type;
    std::string name;
    std::string parameters;
  };
  virtual const std::vector<TypeName>& TypeNames() = 0;

 private:
  Dialect dialect_;
  std::string quote_;
  std::string escape_;
};

}  // namespace kiv::store::ado

#endif  // STORE_ADO_SQL_LANGUAGE_H_
