#include "store/store_messages.h"

namespace kiv::store::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

namespace {

std::string AboutField(std::size_t field, const std::string& rest) {
  return "Table::CreateColumns Failed: 第" + std::to_string(field) + rest;
}

std::string Begin(const std::string& class_name, const std::string& operation) {
  return class_name + "::" + operation + " Failed: ";
}

}  // namespace

std::string ConnectionNotCreated(const std::string& connection) {
  return "Factory::CreateConnection( '" + connection + "' ) 失败。";
}

std::string FieldTypeMissing(std::size_t field) {
  return AboutField(field, "个字段类型为空。");
}

std::string FieldNameMissing(std::size_t field) {
  return AboutField(field, "个字段无法取得其名称。");
}

std::string FieldTypeIsNoValue(std::size_t field, const std::string& type) {
  return AboutField(field, "个字段类型不是值类型：" + type);
}

std::string FieldNotCreated(std::size_t field, const std::string& name) {
  return AboutField(field, "个字段创建失败：" + name);
}

std::string EmptyName(const std::string& class_name,
                      const std::string& operation) {
  return Begin(class_name, operation) + "name 不能为空。";
}

std::string NoTableInstance(const std::string& class_name,
                            const std::string& operation,
                            const std::string& name) {
  return Begin(class_name, operation) + "CreateTableInstance for '" + name +
         "')失败。";
}

std::string CallFailed(const std::string& class_name,
                       const std::string& operation, const std::string& call,
                       const std::string& name) {
  return Begin(class_name, operation) + "o->" + call + "('" + name + "')失败。";
}

std::string ColumnTypeEmpty(const std::string& class_name,
                            const std::string& name) {
  return class_name + "::CreateColumn( '" + name +
         "' ) 失败，type 必须是一个有效值";
}

std::string ColumnTypeIsNoValue(const std::string& class_name,
                                const std::string& name,
                                const std::string& type) {
  return class_name + "::CreateColumn( '" + name +
         "' ) 失败，type 必须是一个值类型，而传入的类型为：" + type;
}

std::string ColumnLengthNegative(const std::string& class_name,
                                 const std::string& type, long length) {
  return Begin(class_name, "CreateColumn") + "无效的数据类型: '" + type +
         "' 长度，不能为负数(" + std::to_string(length) + ")";
}

std::string ColumnTypeNotHandled(const std::string& class_name,
                                 const std::string& type) {
  return class_name + "::CreateColumn: 没有处理 '" + type + "'的能力";
}

}  // namespace kiv::store::message
