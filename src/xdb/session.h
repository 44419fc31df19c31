#ifndef XDB_SESSION_H_
#define XDB_SESSION_H_

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "xdb/container/container.h"
#include "xdb/container/environment.h"
#include "xdb/query_engine.h"

namespace kiv::xdb {

// What a manager is while it is open. Containers and results share it, and so
// keep the environment open until the last of them is gone.
class Session {
 public:
  Session(std::shared_ptr<Environment> environment, bool may_read_files,
          bool opens_containers)
      : environment_(std::move(environment)),
        engine_(MakeQueryEngine()),
        may_read_files_(may_read_files),
        opens_containers_(opens_containers) {}

  // Null for a private session.
  const std::shared_ptr<Environment>& environment() const {
    return environment_;
  }
  QueryEngine& engine() const { return *engine_; }

  // Queries may read files beside the containers.
  bool MayReadFiles() const { return may_read_files_; }
  // Queries may open containers that nobody has opened.
  bool OpensContainers() const { return opens_containers_; }

  // Queries find a container for as long as somebody has it open. Any thread.
  void AddContainer(const std::shared_ptr<Container>& container);
  // By its file, as Container::FileName has it; opened for queries, and kept,
  // where they may. Null when there is none. Throws StoreError.
  std::shared_ptr<Container> FindContainer(const std::string& file);
  // Closes what was opened for queries, before the file goes or is renamed.
  void ReleaseContainer(const std::string& file);

 private:
  std::shared_ptr<Container> FindOpened(const std::string& file);

  std::shared_ptr<Environment> environment_;
  const std::shared_ptr<QueryEngine> engine_;
  const bool may_read_files_;
  const bool opens_containers_;
  std::mutex mutex_;
  std::vector<std::weak_ptr<Container>> opened_;
  // Opened for queries.
  std::map<std::string, std::shared_ptr<Container>> own_;
};

// What a container's handle is a copy of.
struct OpenedContainer {
  std::shared_ptr<Session> session;
  std::shared_ptr<Container> container;
  bool is_transactional = false;
};

}  // namespace kiv::xdb

#endif  // XDB_SESSION_H_
