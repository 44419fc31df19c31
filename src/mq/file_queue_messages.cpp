#include "mq/file_queue_messages.h"

namespace kiv::msgq::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

std::string SettingsNotLoaded() {
  return "GetSettings 失败: 装载设置信息失败。";
}

std::string SettingsNotFound(const std::string& path) {
  return "LoadSettings 失败: 对 '" + path + "' 没找到。";
}

std::string SettingsNotParsed(const std::string& path) {
  return "LoadSettings 失败: 装载 '" + path + "' 失败。";
}

std::string NoRoot(const std::string& path) {
  return "LoadSettings 失败: '" + path + "' 文档中没找到根对象。";
}

std::string NoDirectories(const std::string& path) {
  return "LoadSettings 失败: '" + path + "' 文档中没找到 directories 结点。";
}

std::string DirectoriesNotLoaded(const std::string& path) {
  return "LoadSettings 失败: '" + path +
         "' 文档的 directories 节点调用 LoadDirectories 失败。";
}

std::string DirectoryNotFetched(unsigned index) {
  return "LoadDirectories 失败: 装载根对象的第 " + std::to_string(index) +
         " 个 directory 子节点失败。";
}

std::string DirectoryNotLoaded(unsigned index) {
  return "LoadDirectories 失败: LoadDirectory 第 " + std::to_string(index) +
         " 个 directory 子节点失败。";
}

std::string NoPath() { return "LoadDirectory 失败: path 没找到。"; }

std::string BadPath() {
  return "LoadDirectory 失败: path 节点的文本节点必须是一个有效的路径。";
}

std::string PathNotAbsolute(const std::string& path) {
  return "LoadDirectory 失败: "
         "path 节点的文本节点必须是一个有效的路径，将其转成绝对路径时出错。" +
         path;
}

std::string PathNotCreated(const std::string& path) {
  return "LoadDirectory 失败: '" + path + "' 目录无法创建。";
}

std::string BadName() { return "LoadDirectory 失败: name 属性无效。"; }

std::string NoProcessor() { return "LoadDirectory 失败: processor 没找到。"; }

std::string BadProcessorText() {
  return "LoadDirectory 失败: "
         "processor 节点的文本节点必须是一个有效的处理器描述。";
}

std::string DirectoryNotAdded(const std::string& path) {
  return "LoadDirectory 失败: AddDir '" + path + "' 失败。";
}

std::string TooManyDirectories(unsigned most) {
  return "AddDir Failed: 超出最大允许的目录数 " + std::to_string(most);
}

std::string BadProcessor(const std::string& description) {
  return "AddDir Failed: 无效的处理器描述：'" + description + "'";
}

std::string WorkerStarted() { return "消息队列监视线程已经启动。"; }

}  // namespace kiv::msgq::message
