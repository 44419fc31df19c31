#ifndef PORT_SYSTEM_H_
#define PORT_SYSTEM_H_

#include <cstddef>
#include <string>

// What the system says of this process and this machine.
namespace kiv::port {

// UuidCreate's source. False when the system gives no randomness.
bool RandomBytes(void* out, std::size_t size_bytes);

// GetModuleFileName of the library itself: the file that `address` lies in, in
// the local encoding. Empty on failure.
std::string ModuleFileName(const void* address);

// gethostname, gethostbyname, inet_ntoa. Empty on any failure.
std::string LocalIpv4();

// Tries the Chinese locales by name and leaves the locale alone when there is
// none.
void SetChineseLocale();

// Runs around every fork of the process, for as long as the process lives:
// `before` in the parent, then `parent` and `child` on the two sides. Once per
// process.
void OnFork(void (*before)(), void (*parent)(), void (*child)());

// Whole seconds; not cut short by a signal.
void SleepSeconds(int seconds);

}  // namespace kiv::port

#endif  // PORT_SYSTEM_H_
