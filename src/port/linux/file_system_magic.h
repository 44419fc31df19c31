#ifndef PORT_LINUX_FILE_SYSTEM_MAGIC_H_
#define PORT_LINUX_FILE_SYSTEM_MAGIC_H_

namespace kiv::port {

// The name of a file system that other machines, or programs behind the
// kernel's back, change too. Null for all others. `magic` as statfs gives it.
const char* NetworkName(unsigned long magic);
// Of an open folder.
const char* NetworkNameOf(int folder);

}  // namespace kiv::port

#endif  // PORT_LINUX_FILE_SYSTEM_MAGIC_H_
