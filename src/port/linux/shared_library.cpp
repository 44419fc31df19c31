#include "port/shared_library.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <vector>

#include "kiv/encoding.h"
#include "port/file.h"
#include "port/linux/descriptor.h"
#include "port/linux/module_trust.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

using ElfHeader = ElfW(Ehdr);
using ElfSegment = ElfW(Phdr);

#if defined(__x86_64__)
constexpr unsigned kOwnMachine = EM_X86_64;
#elif defined(__aarch64__)
constexpr unsigned kOwnMachine = EM_AARCH64;
#else
constexpr unsigned kOwnMachine = EM_NONE;  // left to the loader
#endif

std::string LoaderError() {
  const char* text = ::dlerror();
  return text != nullptr ? utf8ToString(text, 0).get() : "unknown error";
}

// False for a file that was broken off: the loader maps what is not there, and
// the process would die of it.
bool IsWhole(const Descriptor& file, const ElfHeader& header,
             std::uint64_t size_bytes) {
  const std::uint64_t table_end =
      header.e_phoff + std::uint64_t{header.e_phnum} * sizeof(ElfSegment);
  if (header.e_phentsize != sizeof(ElfSegment) || table_end < header.e_phoff ||
      table_end > size_bytes)
    return false;
  std::vector<ElfSegment> segments(header.e_phnum);
  const std::size_t table_size = segments.size() * sizeof(ElfSegment);
  const ssize_t got = Retry([&] {
    return ::pread(file.get(), segments.data(), table_size,
                   static_cast<off_t>(header.e_phoff));
  });
  if (got != static_cast<ssize_t>(table_size)) return false;
  return std::all_of(segments.begin(), segments.end(),
                     [size_bytes](const ElfSegment& segment) {
                       const std::uint64_t end =
                           segment.p_offset + segment.p_filesz;
                       return end >= segment.p_offset && end <= size_bytes;
                     });
}

// What the loader would say badly, or not survive. It calls a library for
// another machine a file that is not there.
bool IsLoadable(const std::string& path, std::string& reason) {
  const Descriptor file(Retry(
      [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
  struct stat entry {};
  if (!file.is_open() || ::fstat(file.get(), &entry) != 0) {
    reason = ErrorText(errno);
    return false;
  }
  if (!S_ISREG(entry.st_mode)) {
    reason = "this is no file";
    return false;
  }
  ElfHeader header{};
  const ssize_t got =
      Retry([&] { return ::pread(file.get(), &header, sizeof header, 0); });
  const auto begins_with = [&](const char* magic, std::size_t size) {
    return got >= static_cast<ssize_t>(size) &&
           std::memcmp(header.e_ident, magic, size) == 0;
  };
  if (begins_with("MZ", 2)) {
    reason = "this is a Windows library: build the processor for this system";
    return false;
  }
  if (!begins_with(ELFMAG, SELFMAG)) {
    reason = got > 0 ? "this is no shared library" : "the file is empty";
    return false;
  }
  const bool has_header = got == static_cast<ssize_t>(sizeof header);
  const unsigned char own_class = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
  // The machine stands at the same place in both classes.
  if (has_header &&
      (header.e_ident[EI_CLASS] != own_class ||
       (kOwnMachine != EM_NONE && header.e_machine != kOwnMachine))) {
    reason = "the library is built for another machine (ELF machine " +
             std::to_string(header.e_machine) + ", here " +
             std::to_string(kOwnMachine) + ")";
    return false;
  }
  if (!has_header ||
      !IsWhole(file, header, static_cast<std::uint64_t>(entry.st_size))) {
    reason = "the file is broken off: copy it again";
    return false;
  }
  return true;
}

class LinuxSharedLibrary final : public SharedLibrary {
 public:
  explicit LinuxSharedLibrary(void* handle) : handle_(handle) {}
  ~LinuxSharedLibrary() override { ::dlclose(handle_); }

  void* Symbol(const std::string& name, std::string& reason) override {
    ::dlerror();
    void* symbol = ::dlsym(handle_, name.c_str());
    if (symbol == nullptr) reason = LoaderError();
    return symbol;
  }

 private:
  void* handle_;
};

}  // namespace

std::unique_ptr<SharedLibrary> SharedLibrary::Open(const std::string& path,
                                                   std::string& reason) {
  std::string found;
  switch (FindModule(path, found, reason)) {
    case ModuleLookup::Missing:
      reason = "there is no such file";
      return nullptr;
    case ModuleLookup::Ambiguous:
      return nullptr;
    case ModuleLookup::Found:
      break;
  }
  const std::string file = SystemPath(found);
  char real_path[PATH_MAX];
  if (::realpath(file.c_str(), real_path) == nullptr) {
    reason = ErrorText(errno);
    return nullptr;
  }
  if (!IsTrustedModule(file, reason) || !IsLoadable(real_path, reason))
    return nullptr;
  void* handle = ::dlopen(real_path, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    reason = LoaderError();
    return nullptr;
  }
  return std::make_unique<LinuxSharedLibrary>(handle);
}

}  // namespace kiv::port
