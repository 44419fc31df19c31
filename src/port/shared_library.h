#ifndef PORT_SHARED_LIBRARY_H_
#define PORT_SHARED_LIBRARY_H_

#include <memory>
#include <string>

namespace kiv::port {

// Looks up the file that a module path written on Windows means. Native text.
// Name by name, ignoring ASCII case; an exact match wins. The last name may
// also lack its "lib" prefix, and ".dll" stands for ".so". Two candidates are
// refused, and both are named in `reason`.
enum class ModuleLookup { Found, Missing, Ambiguous };
ModuleLookup FindModule(const std::string& path, std::string& found,
                        std::string& reason);

// LoadLibrary and GetProcAddress. Closed when the last holder lets go.
class SharedLibrary {
 public:
  // Null on failure; `reason` then says why, in the local encoding. A file that
  // others may write, or could replace in a folder on the way to it, is refused
  // before it is opened, unless KIV_MODULE_TRUST=any.
  static std::unique_ptr<SharedLibrary> Open(const std::string& path,
                                             std::string& reason);
  virtual ~SharedLibrary() = default;
  // Null when there is none of that name.
  virtual void* Symbol(const std::string& name, std::string& reason) = 0;
};

}  // namespace kiv::port

#endif  // PORT_SHARED_LIBRARY_H_
