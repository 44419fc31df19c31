#ifndef PORT_PRIVATE_FILE_H_
#define PORT_PRIVATE_FILE_H_

#include <string>

// Files and folders that are nobody's business but ours: CreateFile and
// CreateDirectory with a security descriptor for the owner alone. Paths are
// native text, LastError() of port/file.h has the system's code.
namespace kiv::port {

enum class EntryKind { Missing, File, Directory, Other };

struct EntryState {
  EntryKind kind = EntryKind::Missing;
  // Somebody beside the owner may read or write it.
  bool is_open_to_others = false;
};

// Of a link, the link's own: Other. Other also where the system does not tell.
EntryState GetEntryState(const std::string& path);

// The failure says that something of that name is there.
bool IsAlreadyThere(int error);

// Both refuse what is there already.
bool CreatePrivateDirectory(const std::string& path);
bool CreatePrivateFile(const std::string& path);

// Takes a folder that is there away from everybody but its owner.
bool MakeDirectoryPrivate(const std::string& path);
// The same of a file; one that is private already may be somebody else's.
bool MakeFilePrivate(const std::string& path);

// Whether we may add and remove entries.
bool MayChangeDirectory(const std::string& path);
// What was added, moved or removed in the folder stays so over a power failure.
bool SyncDirectory(const std::string& path);

}  // namespace kiv::port

#endif  // PORT_PRIVATE_FILE_H_
