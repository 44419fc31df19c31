#ifndef XDB_CONTAINER_CONTAINER_H_
#define XDB_CONTAINER_CONTAINER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/container/environment.h"

namespace kiv::xdb {

// What is asked of a container when it is opened; the environment must offer
// it.
struct ContainerSwitches {
  bool create = false;  // make it when it is not there
  bool encrypted = false;
  bool thread = false;
  bool transactional = false;
  // Between tries to open a file that another process is making longer; null:
  // 10 ms.
  void (*wait)() = nullptr;
};

// A set of named XML documents in one file. Names and texts are UTF-8; document
// content is bytes in the encoding that its declaration names, and comes back
// in the same encoding where that is UTF-8 or one of the GB family, else in
// UTF-8.
//
// Every operation throws StoreError. Every change is whole or not at all:
// inside the transaction given, else, in a transactional container, in one of
// its own. Threads: all operations, when opened for threads.
class Container {
 public:
  ~Container();
  Container(const Container&) = delete;
  Container& operator=(const Container&) = delete;

  // As it was opened: relative to the environment's home, or absolute.
  const std::string& FileName() const;

  // AlreadyThere when a document has that name. An empty name is refused;
  // GenerateName makes one that no document of this container ever had.
  void Put(const std::string& name, std::string_view content,
           Transaction* transaction);
  std::string GenerateName(Transaction* transaction);
  // NotFound when there is none of that name.
  void Replace(const std::string& name, std::string_view content,
               Transaction* transaction);
  void Rename(const std::string& old_name, const std::string& new_name,
              Transaction* transaction);
  void Delete(const std::string& name, Transaction* transaction);
  std::string Get(const std::string& name, Transaction* transaction) const;
  bool Has(const std::string& name, Transaction* transaction) const;

  // In the order of the names' bytes; ends when `each` answers false. The
  // container may be changed by `each`.
  void EachName(const std::function<bool(const std::string&)>& each,
                Transaction* transaction) const;

  XDbContainerStatistics Statistics() const;

  // Reads everything and compares the index with the documents. Each problem
  // in a line of its own; empty when there is none.
  std::vector<std::string> Verify() const;
  // The documents that can still be read of a damaged file.
  void Salvage(
      const std::function<void(const std::string& name,
                               const std::string& content)>& each) const;

  class Impl;
  explicit Container(std::unique_ptr<Impl> impl);
  Impl& impl() { return *impl_; }

 private:
  std::unique_ptr<Impl> impl_;
};

// Files relative to the environment's home, or absolute; native path text. A
// null environment is a private one: no locks, no transactions, nothing shared.
std::shared_ptr<Container> OpenContainer(
    const std::shared_ptr<Environment>& environment,
    const std::string& file_name, const ContainerSwitches& switches);
void RemoveContainer(const std::shared_ptr<Environment>& environment,
                     const std::string& file_name);
// With `replaces`, a container of the new name goes; where there are
// transactions, only when the old one takes its place.
void RenameContainer(const std::shared_ptr<Environment>& environment,
                     const std::string& old_file, const std::string& new_file,
                     bool replaces = false);

// The documents that can still be read of a file that cannot even be opened, or
// not in an environment. Not for encrypted ones; nobody else has it open.
void SalvageContainerFile(
    const std::string& file_name,
    const std::function<void(const std::string& name,
                             const std::string& content)>& each);

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_CONTAINER_H_
