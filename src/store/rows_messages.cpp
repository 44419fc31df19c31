#include "store/rows_messages.h"

namespace kiv::store::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

std::string RowsFailed(const std::string& operation, const std::string& subject,
                       const std::string& why) {
  return operation + (subject.empty() ? "" : "( '" + subject + "' )") +
         " Failed: " + why;
}

std::string NoDatabase() { return "不是已打开的 ado 连接。"; }

std::string DatesCut(const std::string& table, std::size_t count) {
  return "Rows::Insert( '" + table + "' ): " + std::to_string(count) +
         " 个日期时间值只能保存到微秒，其余位数被截去。";
}

}  // namespace kiv::store::message
