#ifndef PORT_LINUX_CLAIM_FOLDERS_H_
#define PORT_LINUX_CLAIM_FOLDERS_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "port/file_claims.h"
#include "port/linux/descriptor.h"

namespace kiv::port {

// mkdir with exactly that mode. An existing folder, not a link to one, will do.
// False with errno.
bool MakeFolder(int parent, const char* name, mode_t mode);
// The folders above `name`, as far as they are missing.
bool MakeFoldersAbove(int root, const std::string& name, mode_t mode);

// Renames, never over another file: EEXIST. On file systems that cannot promise
// that, the name is looked for first. `to_name` lies below `to`, where folders
// that are missing are made.
bool MoveInto(int from, const std::string& from_leaf, int to,
              const std::string& to_name, mode_t folder_mode);

// Removes the folder `name` below `parent` and those in it as far as no file is
// in them.
void RemoveEmptyFolders(int parent, const std::string& name);

// The folder of one process below .processing, and the lock that tells that the
// process lives.
class RunFolder {
 public:
  RunFolder() = default;
  RunFolder(RunFolder&&) = default;
  RunFolder& operator=(RunFolder&&) = default;

  static RunFolder Make(int processing, mode_t mode, std::string& reason);
  // One that exists. Not open when the process lives.
  static RunFolder TakeOver(int processing, const std::string& name);
  static bool IsRunName(const std::string& name);

  bool IsOpen() const { return lock_.is_open(); }
  const std::string& Name() const { return name_; }
  // Where files lie that were taken for the n-th time; made when missing.
  int Attempt(int number, mode_t mode);
  // Whether what was made so far is where it was made.
  bool IsInPlace(int processing, int number) const;
  // The files in it.
  std::vector<Leftover> Files() const;
  // With all that is empty in it; with the lock when nothing else is left.
  void RemoveEmpty(int processing);
  // What is empty below the attempts.
  void Tidy();

 private:
  std::string name_;
  Descriptor folder_;
  Descriptor lock_;
  std::vector<Descriptor> attempts_;
};

}  // namespace kiv::port

#endif  // PORT_LINUX_CLAIM_FOLDERS_H_
