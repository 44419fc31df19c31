#ifndef PORT_LINUX_TREE_WALK_H_
#define PORT_LINUX_TREE_WALK_H_

#include <string>
#include <string_view>

#include "port/linux/descriptor.h"

namespace kiv::port {

// Opens the folder `name` in another, not one that a link of that name leads
// to.
Descriptor OpenFolderAt(int parent, const std::string& name);

// Opens the folder `name` below `root`, "" for itself, one name after the other
// and following no link: whoever may write in the tree cannot lead us out of
// it.
Descriptor OpenBelow(int root, std::string_view name);

// The folder part of "a/b/c" and its last name.
std::string_view FolderOf(std::string_view name);
std::string_view LeafOf(std::string_view name);
// Both may be empty.
std::string JoinNames(std::string_view folder, std::string_view leaf);

struct WalkOptions {
  bool subtree = true;
  bool skips_hidden = false;
};

class TreeVisitor {
 public:
  virtual ~TreeVisitor() = default;
  // Before the folder's entries are read; the walk's own is the first. False
  // leaves it out. `name` is relative to the root.
  virtual bool Enter(int folder, const std::string& name) = 0;
  // Whatever is no folder. False ends the walk.
  virtual bool File(int folder, const std::string& leaf,
                    const std::string& name) = 0;
  virtual void Unreadable(const std::string& name, int error) = 0;
};

// Shows the folder `name` below `root` and what lies in it. Entries that are
// gone meanwhile are passed over.
void WalkTree(int root, const std::string& name, const WalkOptions& options,
              TreeVisitor& visitor);

}  // namespace kiv::port

#endif  // PORT_LINUX_TREE_WALK_H_
