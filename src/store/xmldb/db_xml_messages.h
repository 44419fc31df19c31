#ifndef STORE_XMLDB_DB_XML_MESSAGES_H_
#define STORE_XMLDB_DB_XML_MESSAGES_H_

#include <string>

// The texts of the XML-database back end that are not ASCII, in the local
// encoding. Values as Shown gives them.
namespace kiv::store::xmldb::message {

std::string NoSuchTable(const std::string& name);
// Begins with the name of another operation; readers of logs know it that way.
std::string TableExists(const std::string& name);
std::string NoColumnInstance(const std::string& name);
std::string NoColumn(const std::string& name_or_position);

}  // namespace kiv::store::xmldb::message

#endif  // STORE_XMLDB_DB_XML_MESSAGES_H_
