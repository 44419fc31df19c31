#include "dm/schema_messages.h"

namespace dm::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

std::string ElementReferenceRefused(const std::string& function) {
  return function + " 不支持 有 ref 属性的 element 标签.";
}

std::string NotAStruct() {
  return "dm::metadata_to_xsd_record 错误，传入对象必须是一个 Struct "
         "的类型对象";
}

std::string DocumentNotCreated() {
  return "dm::metadata_to_xsd_record 错误，创建 Dom 文档失败。";
}

std::string SchemaNotCreated() {
  return "dm::metadata_to_xsd_record 错误，创建 schema 节点失败。";
}

std::string IdNotSet(const std::string& name) {
  return "dm::metadata_to_xsd_record 错误，创建 schema 节点的 id 属性 '" +
         name + "' 失败。";
}

std::string RootElementNotCreated() {
  return "dm::metadata_to_xsd_record 错误，创建 schema 节点的 子节点 "
         "'element' 失败。";
}

std::string ContentNotCreated() {
  return "dm::metadata_to_xsd_record 错误，创建 Dom 文档的内容失败。";
}

std::string FileNotWritten(const std::string& path, const std::string& reason) {
  return "dm::metadata_to_xsd_record 错误，写入文件 '" + path + "' 失败。" +
         reason;
}

std::string ComplexTypeNotCreated() {
  return "dm::struct_to_xsd_record 错误，创建 complexType 节点失败。";
}

std::string SequenceNotCreated() {
  return "dm::struct_to_xsd_record 错误，创建 complexType/sequence 节点失败。";
}

std::string ElementNotCreated() {
  return "dm::struct_to_xsd_record 错误，创建 complexType/sequence/element "
         "节点失败。";
}

// The quotation mark here and in the next text is never closed: operators
// search for these texts as they are.
std::string NameNotSet(const std::string& name) {
  return "dm::struct_to_xsd_record 错误，创建 complexType/sequence/element "
         "节点的name属性= '" +
         name;
}

std::string TypeNotSet(const std::string& type) {
  return "dm::struct_to_xsd_record 错误，创建 complexType/sequence/element "
         "节点的type属性= '" +
         type;
}

std::string TypeHasNoSchemaName(const std::string& field,
                                const std::string& type) {
  return "dm::struct_to_xsd_record 错误，'" + field + "' 字段为 '" + type +
         "'类型，该类型不支持 XmlSchema。";
}

}  // namespace dm::message
