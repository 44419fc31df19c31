#include "xml/document_path.h"

#include "kiv/parser/parser.h"
#include "kiv/strings.h"

namespace kiv {

std::optional<std::string> NativeDocumentPath(std::string path) {
  if (!toFullPath(path)) return std::nullopt;
  toOsPath(path, true);
  return path;
}

}  // namespace kiv
