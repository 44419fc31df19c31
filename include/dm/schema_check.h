#ifndef DM_SCHEMA_CHECK_H_
#define DM_SCHEMA_CHECK_H_

#include <string>
#include <vector>

#include "kiv/export.h"

namespace dm {

// What became of one declaration of a schema. Texts are English, in the local
// encoding.
struct SchemaFinding {
  // NotTried: a declaration of a group before this one's was refused. Fault:
  // the file as a whole could not be read.
  enum class Outcome { Declared, Refused, NotTried, Fault };
  Outcome outcome = Outcome::Declared;
  // Of the file, from 1; 0 where there is none.
  unsigned line = 0;
  // "simpleType", "complexType" or "element"; "" of a fault.
  std::string construct;
  std::string name;
  // Why it was refused; what was declared.
  std::string text;
};

// Declares the types of a schema file without replacing any, as
// dm_o_declare_from_uri does, and tells of every declaration in the order in
// which they are tried.
KIV_API std::vector<SchemaFinding> CheckSchema(const char* path);

}  // namespace dm

#endif  // DM_SCHEMA_CHECK_H_
