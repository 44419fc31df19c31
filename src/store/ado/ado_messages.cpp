#include "store/ado/ado_messages.h"

namespace kiv::store::ado::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

namespace {

std::string AboutBody(const std::string& body, const std::string& rest) {
  return "AdoConnection::CreateConnection Failed: 分析 '" + body + "' " + rest;
}

std::string ParsingFailed(const std::string& ado_string,
                          const std::string& rest) {
  return "AdoConnection::ParseDbms('" + ado_string + "') " + rest;
}

}  // namespace

std::string EmptyBody() {
  return "AdoConnection::CreateConnection Failed: 连接串不允许为空";
}

std::string NoDbmsWord(const std::string& body) {
  return AboutBody(body, "dbms 错误");
}

std::string BadBody(const std::string& body, int number) {
  return AboutBody(body, "错误" + std::to_string(number));
}

std::string UnknownStore(const std::string& ado_string) {
  return "AdoConnection::CreateConnection Failed: 分析'" + ado_string +
         "' 错误，无法取得存储标识";
}

std::string NoProvider(const std::string& ado_string) {
  return ParsingFailed(ado_string, "失败，没找到 Provider 关键字。");
}

std::string BlanksBehindProvider(const std::string& ado_string) {
  return ParsingFailed(ado_string, "失败，忽略 Provider= 后的空格时失败。");
}

std::string EndBehindProvider(const std::string& ado_string) {
  return ParsingFailed(ado_string, "失败， Provider= 后的意外结尾。");
}

std::string BadQuoteBehindProvider(const std::string& ado_string) {
  return ParsingFailed(
      ado_string,
      "失败， 在 Provider= 后试图分析一个带定界符的字符串过程失败。");
}

std::string BadValueBehindProvider(const std::string& ado_string) {
  return ParsingFailed(ado_string,
                       "失败， 在 Provider= 后试图分析到;过程失败。");
}

std::string IsOdbcProvider(const std::string& ado_string) {
  return ParsingFailed(ado_string,
                       "使用OLE DB Provider for ODBC "
                       "Drivers，有可能在执行的过程中有问题。");
}

std::string AccessLengthNegative(const std::string& type) {
  return "AccessAdoTable::CreateColumn Failed: 无效的数据类型: '" + type +
         "' 长度，不能为负数。";
}

std::string AccessInt64(const std::string& name) {
  return "AccessAdoTable::CreateColumn: '" + name +
         "' 字段使用64位整型，而 Access 不支持 64 位，用 32 位整型代替，"
         "对该字段做 64 位整型数值操作将会产生数据溢出！";
}

std::string MsSqlTextLength(const std::string& name) {
  return "MsSqlAdoTable::CreateColumn Failed: '" + name +
         "' 长度必须在1至4000之间，实现使用宽字符。";
}

std::string MsSqlBinaryLength(const std::string& name) {
  return "MsSqlAdoTable::CreateColumn Failed: '" + name +
         "' 长度必须在1至8000之间";
}

std::string NotLoaded() {
  return "AdoTable::OpenRecordset Failed: Kernal call LoadTable() 失败。";
}

}  // namespace kiv::store::ado::message
