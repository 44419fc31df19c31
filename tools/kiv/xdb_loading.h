#ifndef TOOLS_KIV_XDB_LOADING_H_
#define TOOLS_KIV_XDB_LOADING_H_

#include <filesystem>
#include <string>
#include <vector>

#include "progress.h"
#include "xdb_command.h"

namespace kiv_tool {

// Puts documents into a container, so many in one transaction: what fails takes
// its batch back and leaves the ones before it. A batch that meets a deadlock
// is made again.
class XdbLoading {
 public:
  XdbLoading(XdbPlace& place, kiv::XDbContainer& container,
             const XdbOptions& options)
      : place_(place), container_(container), options_(options) {}

  // False, and said, when the document, or its batch, cannot be stored. The
  // names are UTF-8; an empty one is replaced by a new one, which is printed.
  bool AddFile(const std::string& name, const std::filesystem::path& file);
  bool AddContent(const std::string& name, const std::string& content,
                  const std::string& source);
  bool Finish();
  unsigned long long Stored() const { return stored_; }

 private:
  struct Item {
    std::string name;  // local
    std::string source;
    std::filesystem::path file;  // read when it is stored, else the content
    std::string content;
  };

  bool Add(Item item);
  bool StoreBatch();
  // Whether the batch is stored, fails for good, or may be made again.
  enum class Attempt { Stored, Failed, InTheWay };
  Attempt TryBatch();
  // What is in the way for the moment is not said.
  Attempt StoreItem(const Item& item, kiv::XDbUpdateContext& context,
                    std::vector<std::string>& generated);
  bool Fail(const std::string& source, const std::string& reason);

  XdbPlace& place_;
  kiv::XDbContainer& container_;
  const XdbOptions& options_;
  Progress progress_{"stored"};
  std::vector<Item> batch_;
  unsigned long long stored_ = 0;
};

}  // namespace kiv_tool

#endif  // TOOLS_KIV_XDB_LOADING_H_
