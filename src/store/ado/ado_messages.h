#ifndef STORE_ADO_ADO_MESSAGES_H_
#define STORE_ADO_ADO_MESSAGES_H_

#include <string>

// The texts of the ADO back end that are not ASCII, in the local encoding.
// Values as Shown gives them, texts of connections without passwords.
namespace kiv::store::ado::message {

// Of AdoConnection::CreateConnection.
std::string EmptyBody();
std::string NoDbmsWord(const std::string& body);
// `number` 2 to 5, and 99 for a dbms that there is none of.
std::string BadBody(const std::string& body, int number);
std::string UnknownStore(const std::string& ado_string);

// Of AdoConnection::ParseDbms.
std::string NoProvider(const std::string& ado_string);
std::string BlanksBehindProvider(const std::string& ado_string);
std::string EndBehindProvider(const std::string& ado_string);
std::string BadQuoteBehindProvider(const std::string& ado_string);
std::string BadValueBehindProvider(const std::string& ado_string);
std::string IsOdbcProvider(const std::string& ado_string);

// Of CreateColumn.
std::string AccessLengthNegative(const std::string& type);
std::string AccessInt64(const std::string& name);
std::string MsSqlTextLength(const std::string& name);
std::string MsSqlBinaryLength(const std::string& name);

// Of AdoTable::OpenRecordset.
std::string NotLoaded();

}  // namespace kiv::store::ado::message

#endif  // STORE_ADO_ADO_MESSAGES_H_
