#ifndef STORE_ADO_PROVIDER_H_
#define STORE_ADO_PROVIDER_H_

#include <string>

#include "store/ado/connection_text.h"
#include "store/ado/driver_lookup.h"

namespace kiv::store::ado {

// An OLE DB connection text, translated.
struct Target {
  Driver driver;
  // What the driver manager gets: UTF-8.
  std::string odbc_text;
  // The same for a connection that can make the database, when that is done by
  // a statement; empty for a file.
  std::string server_text;
  // The database that is made: a file's path as the system has it, or a name.
  std::string database;
  bool is_file = false;
  bool is_read_only = false;
  // To be masked where a driver quotes it. Local encoding.
  std::string password;
  int login_timeout_s = 15;
};

enum class OpenMode { Existing, New };

// User and password go before those in the text unless they are empty. Throws
// kInvalidArgument for a text that cannot be read, kFailed where a file or a
// driver is missing. For `New`, a file must not be there yet.
Target TargetOf(const std::string& text, const std::string& user,
                const std::string& password, OpenMode mode);

// Sets the texts and the database of a server's target; `server_database` is
// one that is there before any other.
void SetTexts(ConnectionText pairs, const char* server_database,
              Target& target);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_PROVIDER_H_
