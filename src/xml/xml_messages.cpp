#include "xml/xml_messages.h"

namespace kiv::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

std::string PlatformIsMissing(const std::string& operation,
                              const std::string& reason) {
  return operation + " 失败：" + reason +
         "。请检查是否正确调用了 kiv::GlobalInit 函数。";
}

std::string NoDocumentContent() {
  return "DomDocument::SaveAs 失败：无法取得文档内容。";
}

std::string DocumentNotWritten(const std::string& path,
                               const std::string& reason) {
  return "DomDocument::SaveAs 失败：为写入而打开文件“" + path + " ”失败。" +
         reason;
}

}  // namespace kiv::message
