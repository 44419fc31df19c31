#include "store/xmldb/db_xml_messages.h"

namespace kiv::store::xmldb::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

std::string NoSuchTable(const std::string& name) {
  return "DbXmlConnection::GetTable Failed:  '" + name + "' 不存在。";
}

std::string TableExists(const std::string& name) {
  return "DbXmlConnection::GetTable Failed:  '" + name + "' 已经存在。";
}

std::string NoColumnInstance(const std::string& name) {
  return "DbXmlTable::GetColumn Failed: CreateColumnInstance for '" + name +
         "')失败。";
}

std::string NoColumn(const std::string& name_or_position) {
  return "DbXmlTable::GetColumn Failed: o->GetColumn('" + name_or_position +
         "')失败。";
}

}  // namespace kiv::store::xmldb::message
