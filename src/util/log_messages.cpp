#include "util/log_messages.h"

namespace kiv::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

const char kError[] = "错误";
const char kFatal[] = "严重错误";
const char kWarning[] = "警告";
const char kSevereWarning[] = "严重警告";
const char kInformation[] = "信息";

const char kCppException[] = " C++ 异常：";
const char kHresultError[] = "HRESULT 错误: ";

std::string EntriesLost(const std::string& path, unsigned long long lost) {
  return "Log::Output 失败: 日志文件 '" + path + "' 曾无法写入，丢失 " +
         std::to_string(lost) + " 条记录，请检查磁盘空间和目录权限。";
}

}  // namespace kiv::message
