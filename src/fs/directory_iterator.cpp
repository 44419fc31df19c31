#include <iostream>
#include <stdexcept>

#include "kiv/file_system.h"
#include "port/file.h"

namespace kiv {

// Shared by the copies of one iterator. `search` is null at the end.
struct Directory_Iterator::State {
  bool Next() {
    using Step = port::FileSearch::Step;
    const Step step = search->Next(name);
    if (step != Step::Entry) {
      search.reset();
      return step == Step::End;
    }
    // Put behind the folder as it is: the grammar would read a name such as
    // "a:b" as a drive. For the same reason a "/" goes in even behind a ":".
    current.path_.resize(folder_size);
    current.path_ += name;
    return true;
  }

  std::unique_ptr<port::FileSearch> search;
  FileSystemPath current;
  std::size_t folder_size = 0;
  std::string name;
};

Directory_Iterator::Directory_Iterator(const FileSystemPath& directory)
    : state_(std::make_shared<State>()) {
  state_->search = port::FileSearch::Open(directory.native_directory_string());
  state_->current.path_ = directory.path_;
  if (!directory.path_.ends_with('/')) state_->current.path_ += '/';
  state_->folder_size = state_->current.path_.size();
  if (!state_->search || !state_->Next()) {
    std::cerr << "Directory_Iterator constructor Failed\n" << std::flush;
    throw std::runtime_error("dm::Directory_Iterator constructor");
  }
}

const FileSystemPath& Directory_Iterator::operator*() const {
  return state_->current;
}

Directory_Iterator& Directory_Iterator::operator++() {
  if (state_ && state_->search && !state_->Next())
    throw std::runtime_error("dm::FileSystem::Directory_Iterator::operator ++");
  return *this;
}

Directory_Iterator::Previous Directory_Iterator::operator++(int) {
  Previous before(state_ ? state_->current : FileSystemPath());
  ++*this;
  return before;
}

bool Directory_Iterator::operator==(const Directory_Iterator& other) const {
  const bool is_end = !state_ || !state_->search;
  const bool other_is_end = !other.state_ || !other.state_->search;
  return is_end ? other_is_end : state_ == other.state_;
}

}  // namespace kiv
