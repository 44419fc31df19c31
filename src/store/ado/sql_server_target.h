#ifndef STORE_ADO_SQL_SERVER_TARGET_H_
#define STORE_ADO_SQL_SERVER_TARGET_H_

#include <string>

#include "store/ado/connection_text.h"
#include "store/ado/provider.h"

// Connection texts for SQL Server.
namespace kiv::store::ado {

// `address` as OLE DB has it: "tcp:host\instance,port".
void AddServer(const std::string& address, const Driver& driver,
               ConnectionText& pairs);
void CompleteSqlServer(ConnectionText pairs, Target& target);
Target SqlServerTarget(const ConnectionText& text, const std::string& user,
                       const std::string& password);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_SQL_SERVER_TARGET_H_
