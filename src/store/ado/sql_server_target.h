#ifndef STORE_ADO_SQL_SERVER_TARGET_H_
#define STORE_ADO_SQL_SERVER_TARGET_H_

#include <initializer_list>
#include <string>
#include <string_view>

#include "store/ado/connection_text.h"
#include "store/ado/provider.h"

// Connection texts for SQL Server, and what those for others are made with.
namespace kiv::store::ado {

// The first of several names for one thing that the text has.
std::string FirstOf(const ConnectionText& text,
                    std::initializer_list<const char*> keys);
bool IsYes(const std::string& value);
// Unless the pairs have the key.
void Put(ConnectionText& pairs, std::string_view key, std::string value);
// `server_database` is there before any other.
void SetTexts(ConnectionText pairs, const char* server_database,
              Target& target);

// `address` as OLE DB has it: "tcp:host\instance,port".
void AddServer(const std::string& address, const Driver& driver,
               ConnectionText& pairs);
void CompleteSqlServer(ConnectionText pairs, Target& target);
Target SqlServerTarget(const ConnectionText& text, const std::string& user,
                       const std::string& password);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_SQL_SERVER_TARGET_H_
