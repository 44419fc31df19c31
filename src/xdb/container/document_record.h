#ifndef XDB_CONTAINER_DOCUMENT_RECORD_H_
#define XDB_CONTAINER_DOCUMENT_RECORD_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "xdb/container/index_key.h"

namespace kiv::xdb {

// What lies under a document's name: its id, the version that no other content
// of any document has, a checksum, the tree.
struct DocumentRecord {
  DocumentId id = 0;
  std::uint64_t version = 0;
  std::uint32_t checksum = 0;
  std::string_view tree;

  // Throws TreeError when the tree is not what was stored.
  void Check() const;
};

std::string MakeRecord(DocumentId id, std::uint64_t version,
                       std::string_view tree);

// Throw TreeError. Of the head alone only the beginning of the record need be
// there.
DocumentRecord ReadRecordHead(std::string_view bytes);
DocumentRecord ReadRecord(std::string_view bytes);

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_DOCUMENT_RECORD_H_
