#ifndef XML_DOCUMENT_PATH_H_
#define XML_DOCUMENT_PATH_H_

#include <optional>
#include <string>

namespace kiv {

// The native text of a document's path, which is resolved as toFullPath does.
// Empty, and logged, when that cannot be.
std::optional<std::string> NativeDocumentPath(std::string path);

}  // namespace kiv

#endif  // XML_DOCUMENT_PATH_H_
