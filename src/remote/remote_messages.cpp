#include "remote/remote_messages.h"

namespace kiv::remote::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

std::string ProxyTextFailed(const std::string& reason) {
  return "rmt_get_proxy Failed: 构造代理字符串失败: " + reason;
}

std::string NoAddressNorFile(const std::string& reason) {
  return "rmt_get_proxy Failed: 没指定服务IP，无法装载配置文件: " + reason;
}

// Texts that end in a full stop get the reason without a colon.
std::string ProxyNotMade(const std::string& reason) {
  return "rmt_get_proxy Failed: 无法创建连接到服务器的代理对象。" + reason;
}

std::string VersionsDiffer(const std::string& reason) {
  return "rmt_get_proxy Failed: 客户端版本与服务器端版本不兼容。" + reason;
}

}  // namespace kiv::remote::message
