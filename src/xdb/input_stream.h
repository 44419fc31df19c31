#ifndef XDB_INPUT_STREAM_H_
#define XDB_INPUT_STREAM_H_

#include <memory>
#include <string>

namespace kiv::xdb {

// Where a document's content comes from.
class InputStream {
 public:
  virtual ~InputStream() = default;
  // From the beginning. Throws StoreError, also for more than a document may
  // have.
  virtual std::string ReadAll() const = 0;
};

// A regular file, by its native path. Throws StoreError for what is none.
std::unique_ptr<InputStream> OpenLocalFile(const std::string& native_path);

}  // namespace kiv::xdb

#endif  // XDB_INPUT_STREAM_H_
