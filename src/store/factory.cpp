#include "kiv/store/factory.h"

#include "kiv/parser/parser.h"
#include "kiv/store/ado_connection.h"
#include "kiv/store/db_xml.h"
#include "store/ado/connection_text.h"
#include "store/store_messages.h"
#include "util/log_entry.h"

namespace kiv::store {
namespace {

using parser::Parser;

// protocol ":" body; "://" is one separator, as in other expressions of that
// kind.
bool Split(const std::string& connection, std::string& protocol,
           std::string& body) {
  const char* const begin = connection.data();
  const char* const end = begin + connection.size();
  unsigned used = 0;
  if (Parser::ParseConnectionExpression(begin, end, protocol, body, used))
    return true;
  Parser::ParseWord(begin, end, protocol, used);
  const std::size_t separator = used;
  if (protocol.empty() ||
      connection.compare(separator, Parser::KIV_PART_SEP_LEN,
                         Parser::KIV_PART_SEP) != 0)
    return false;
  body = connection.substr(separator + Parser::KIV_PART_SEP_LEN);
  return true;
}

}  // namespace

const char Factory::PROTOCOL_ADO[] = "ado";
const char Factory::PROTOCOL_XMLDB[] = "xmldb";

std::shared_ptr<Connection> Factory::CreateConnection(
    const std::string& connection) {
  std::string protocol;
  std::string body;
  if (connection.empty() || !Split(connection, protocol, body)) return nullptr;
  std::shared_ptr<Connection> made;
  if (protocol == PROTOCOL_ADO)
    made = AdoConnection::CreateConnection(body);
  else if (protocol == PROTOCOL_XMLDB)
    made = std::make_shared<DbXmlConnection>(body);
  if (!made)
    LogError("db",
             message::ConnectionNotCreated(Shown(ado::Masked(connection))));
  return made;
}

}  // namespace kiv::store
