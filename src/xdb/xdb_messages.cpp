#include "xdb/xdb_messages.h"

namespace kiv::xdb::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

std::string BadContainerName(const std::string& operation,
                             const std::string& argument,
                             const std::string& name) {
  return "XDbManager::" + operation + " 无效的 " + argument + ":" + name;
}

std::string FolderNotMade(const std::string& path) {
  return "XDbManager::ConstructEnv failed: 创建目录失败：" + path;
}

std::string TryingRepair(const std::string& home, const std::string& text) {
  return "XDbManager::ConstructEnv DbException: '" + home + "' - " + text +
         ". 试图修复...";
}

std::string RepairFailed(const std::string& home, const std::string& text) {
  return "XDbManager::ConstructEnv DbException: 试图修复'" + home +
         "'时异常： " + text;
}

std::string TryingRepairAgain(const std::string& home,
                              const std::string& text) {
  return "XDbManager::ConstructEnv DbException: '" + home + "' - " + text +
         ". 再次试图修复...";
}

std::string RepairFailedAgain(const std::string& home,
                              const std::string& text) {
  return "XDbManager::ConstructEnv DbException: 再次试图修复'" + home +
         "'时异常： " + text;
}

std::string GetDocumentException() {
  return "XDbContainer::GetDocument 异常: ";
}

std::string GetFileNameException() {
  return "XDbContainer::GetFileName 异常: ";
}

std::string NoContextToPut() {
  return "XDbContainer::PutDocument : 无法创建更新上下文对象。";
}

std::string NoContextToDelete() {
  return "XDbContainer::del : 无法创建更新上下文对象。";
}

std::string NoContextToUpdate() {
  return "XDbContainer::update : 无法创建更新上下文对象。";
}

std::string NoContent() {
  return "XDbDocument::setContent 失败：无法取得文档内容。";
}

}  // namespace kiv::xdb::message
