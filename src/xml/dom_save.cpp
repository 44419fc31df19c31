#include "xml/dom_save.h"

#include "kiv/file_system.h"
#include "kiv/parser/parser.h"
#include "kiv/strings.h"
#include "port/file.h"
#include "util/log_entry.h"
#include "xml/dom_content.h"
#include "xml/xml_messages.h"

namespace kiv {
namespace {

constexpr const char* kSavedEncoding = "GB2312";
constexpr const char* kSource = "Xml";
// Tools that watch the log tell the two failures apart by their source.
constexpr const char* kOpenSource = "Tarnwick";
constexpr int kSavedMode = 0644;

}  // namespace

bool SaveDocument(const DomDocument& document, const char* path,
                  int new_file_mode) {
  if (path == nullptr) return false;
  DomDocumentContent content;
  if (!document.GetDocumentContent(content, kSavedEncoding)) {
    LogError(kSource, message::NoDocumentContent());
    return false;
  }

  std::string full_path = path;
  if (!toFullPath(full_path)) return false;
  toGenericPath(full_path, true);
  const FileSystemPath target(full_path, FileSystemPath::native);
  // A folder that cannot be made shows itself in the next step.
  FileSystem::create_directories(target.branch_path());
  if (port::ReplaceFileText(target.native_file_string(),
                            ContentAccess::Text(content), new_file_mode))
    return true;
  const int error = port::LastError();
  LogError(kOpenSource, message::DocumentNotWritten(Shown(full_path),
                                                    port::ErrorText(error)));
  return false;
}

bool DomDocument::SaveAs(const char* path) const {
  return SaveDocument(*this, path, kSavedMode);
}

}  // namespace kiv
