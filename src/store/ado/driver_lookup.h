#ifndef STORE_ADO_DRIVER_LOOKUP_H_
#define STORE_ADO_DRIVER_LOOKUP_H_

#include <string>

#include "store/ado/ado_objects.h"

// ODBC drivers, looked up when a connection is opened: by the name that
// odbcinst.ini has for them, and those we know also by their file where nobody
// registered them.
namespace kiv::store::ado {

struct Driver {
  // For Driver= in a connection text: a registered name, or a path. UTF-8.
  std::string name;
  // The file, as far as it is known.
  std::string library;
  Dialect dialect = Dialect::Generic;
  // It has the W functions. The others get UTF-8: the driver manager would
  // convert by the locale, and lose what that has not.
  bool is_wide = false;
};

// The drivers of the databases that have their own ways in. Throw kFailed with
// the package to install.
Driver SqliteDriver();
Driver AccessDriver();
// Microsoft's when it is installed, else FreeTDS.
Driver SqlServerDriver();

// The driver of a Driver= word. Throws kFailed when there is none.
Driver DriverOfName(const std::string& name);
// The driver of a data source that odbc.ini describes; throws kFailed when it
// describes none.
Driver DriverOfSource(const std::string& source);

// An entry of odbcinst.ini or odbc.ini; empty when there is none.
using ReadSetting = std::string (*)(const std::string& section, const char* key,
                                    const char* file);
// For tests: the settings of this machine are then not asked. Returns who was
// asked before.
ReadSetting ReplaceSettings(ReadSetting settings);

// What a library's file name tells.
Driver DriverOfLibrary(const std::string& name, const std::string& library);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_DRIVER_LOOKUP_H_
