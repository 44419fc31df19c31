#include "xdb/container/document_record.h"

#include "xdb/tree/varint.h"

namespace kiv::xdb {

void AppendRecordHead(std::string& out, DocumentId id, std::uint64_t version) {
  AppendVarint(out, id);
  // Most documents are never replaced, and the first version is the id.
  AppendVarint(out, version - id);
}

DocumentRecord ReadRecord(std::string_view bytes) {
  StoredBytes stored(bytes);
  DocumentRecord record;
  record.id = stored.Varint();
  record.version = record.id + stored.Varint();
  record.tree = stored.Rest();
  return record;
}

}  // namespace kiv::xdb
