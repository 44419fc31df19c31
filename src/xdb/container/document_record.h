#ifndef XDB_CONTAINER_DOCUMENT_RECORD_H_
#define XDB_CONTAINER_DOCUMENT_RECORD_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "xdb/container/index_key.h"

namespace kiv::xdb {

// What lies under a document's name: its id, the version that no other content
// of any document has, the tree.
struct DocumentRecord {
  // Of the two numbers.
  static constexpr std::size_t kHeadBytes = 20;

  DocumentId id = 0;
  std::uint64_t version = 0;
  std::string_view tree;  // all of it only when all of the record was read
};

void AppendRecordHead(std::string& out, DocumentId id, std::uint64_t version);
// Throws TreeError.
DocumentRecord ReadRecord(std::string_view bytes);

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_DOCUMENT_RECORD_H_
