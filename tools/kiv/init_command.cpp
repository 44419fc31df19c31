// kiv init: makes a service folder that runs as it stands.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include "command.h"

namespace kiv_tool {
namespace {

namespace fs = std::filesystem;

struct InitialFile {
  const char* path;
  const char* text;
  bool is_program;
};

constexpr InitialFile kFiles[] = {
    {"conf/queue.xml", R"(<?xml version="1.0" encoding="GB2312"?>
<service>
  <queues>
    <!-- A durable queue. "kiv queue send orders TEXT" puts a message in, at any
         time; its processor is given it when the host runs, within the times. -->
    <queue type="msmq" name="orders" reader="serial" interval="0"
           processor="dll://../lib/processor:Take">
      <duration><range from="00:00:00" to="23:59:59"/></duration>
    </queue>
    <!-- A serial port: lines that end with a carriage return.
    <queue type="com" name="COM1" BaudRate="9600"
           processor="dll://../lib/processor:Take"/>
    -->
  </queues>
</service>
)",
     false},
    {"src/processor.cpp",
     R"(// What is done with each message: it is added to ../out/messages.txt, and that
// is seen from bin/, the service's working folder.
#include <cstddef>
#include <cstdio>

// The bytes need not end with a NUL. False: the message could not be handled.
extern "C" __attribute__((visibility("default"))) bool Take(
    const char* bytes, int length, void* /*context*/) {
  std::FILE* const file = std::fopen("../out/messages.txt", "ab");
  if (file == nullptr) return false;
  const std::size_t size = static_cast<std::size_t>(length);
  const bool is_written = std::fwrite(bytes, 1, size, file) == size &&
                          std::fputc('\n', file) != EOF;
  return std::fclose(file) == 0 && is_written;
}
)",
     false},
    {"build.sh", R"sh(#!/bin/sh
# Builds the processor; a host that runs takes it when it is started again.
set -e
cd "$(dirname "$0")"
umask 022
${CXX:-c++} -std=c++20 -O2 -Wall -shared -fPIC -o lib/libprocessor.so src/processor.cpp
)sh",
     true},
};

constexpr const char* kFolders[] = {"bin", "conf", "lib", "out", "src"};

int Fault(const fs::path& path, const std::string& reason) {
  std::cerr << "kiv init: " << path.string() << ": " << reason << '\n';
  return 1;
}

int Init(const fs::path& folder) {
  std::error_code error;
  if (fs::exists(folder, error) && !fs::is_empty(folder, error))
    return Fault(folder, error ? error.message()
                               : "there is something in it already; name a "
                                 "folder that is new or empty");
  for (const char* name : kFolders) {
    fs::create_directories(folder / name, error);
    if (error) return Fault(folder / name, error.message());
    // Nobody else may put a library where the host would load it, whatever the
    // user's mask says.
    fs::permissions(folder / name,
                    fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove, error);
  }
  fs::permissions(folder, fs::perms::group_write | fs::perms::others_write,
                  fs::perm_options::remove, error);
  for (const InitialFile& file : kFiles) {
    std::ofstream stream(folder / file.path, std::ios::binary);
    stream << file.text;
    stream.close();
    if (!stream) return Fault(folder / file.path, std::strerror(errno));
    if (file.is_program)
      fs::permissions(folder / file.path, fs::perms::owner_exec,
                      fs::perm_options::add, error);
  }
  const std::string shown = folder.string();
  std::cout << "a service is in " << shown << "; what now:\n  " << shown
            << "/build.sh                      # builds src/processor.cpp\n"
               "  kiv check-config "
            << shown << "\n  kiv queue send -s " << shown
            << " orders hello\n  kiv host " << shown
            << "                     # until Ctrl-C; out/messages.txt has the "
               "message\n  kiv host "
            << shown << " -install            # or as a service\n";
  return 0;
}

}  // namespace

void AddInit(CLI::App& program, int& exit_code) {
  auto folder = std::make_shared<std::string>();
  CLI::App* const command = program.add_subcommand(
      "init",
      "Makes a service folder with a queue and a processor to begin "
      "with");
  command->add_option("folder", *folder, "A folder that is new or empty")
      ->required();
  command->callback([folder, &exit_code] { exit_code = Init(*folder); });
}

}  // namespace kiv_tool
