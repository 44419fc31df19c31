#ifndef KIV_STORE_FACTORY_H_
#define KIV_STORE_FACTORY_H_

#include <memory>
#include <string>

#include "kiv/export.h"
#include "kiv/store/connection.h"

namespace kiv::store {

// Makes the connection that a text describes:
//
//   ado:DBMS:TEXT    a database; DBMS is ado, access or mssql, or nothing, and
//                    is then told by the Provider in TEXT
//   xmldb:FOLDER     an XML database
//
// "://" may stand instead of the first ":".
class KIV_API Factory final {
 public:
  static const char PROTOCOL_ADO[4];
  static const char PROTOCOL_XMLDB[6];

  // The connection is closed. Empty, without a message, for a text that has no
  // protocol; else a failure is logged. No message shows a password.
  virtual std::shared_ptr<Connection> CreateConnection(
      const std::string& connection);
};

}  // namespace kiv::store

#endif  // KIV_STORE_FACTORY_H_
