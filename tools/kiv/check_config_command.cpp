// kiv check-config: says for every queue and every watched directory why it
// will or will not work.
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "command.h"
#include "kiv/encoding.h"
#include "kiv/mq/config_check.h"
#include "service_command.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using kiv::mq::ConfigFinding;

std::string SeverityText(ConfigFinding::Severity severity) {
  switch (severity) {
    case ConfigFinding::Severity::Fault:
      return Colored("fault:", Color::Red);
    case ConfigFinding::Severity::Warning:
      return Colored("warning:", Color::Yellow);
    case ConfigFinding::Severity::Good:
      break;
  }
  return Colored("good:", Color::Green);
}

void Print(const std::string& file, const ConfigFinding& finding) {
  std::cout << file;
  if (finding.line > 0) std::cout << ':' << finding.line;
  std::cout << ": " << SeverityText(finding.severity) << ' ';
  if (!finding.queue.empty())
    std::cout << (file.ends_with("fileq.xml") ? "directory " : "queue ")
              << Utf8(finding.queue) << ": ";
  std::cout << Utf8(finding.text) << '\n';
}

using Check = std::vector<ConfigFinding>(const kiv::FileSystemPath& file);

// Whether there is a fault.
bool CheckFile(const std::string& file, Check check) {
  bool has_fault = false;
  for (const ConfigFinding& finding :
       check(kiv::FileSystemPath(kiv::utf8ToString(file.c_str(), 0).get(),
                                 kiv::FileSystemPath::native))) {
    Print(file, finding);
    has_fault |= finding.severity == ConfigFinding::Severity::Fault;
  }
  return has_fault;
}

// A service has queues or directories, or both.
int Run(const ServiceFolder& service) {
  const std::filesystem::path queues = service.conf / "queue.xml";
  const std::filesystem::path directories = service.conf / "fileq.xml";
  const bool has_directories = std::filesystem::exists(directories);
  bool has_fault = false;
  if (!has_directories || std::filesystem::exists(queues))
    has_fault = CheckFile(queues.string(), kiv::mq::CheckConfig);
  if (has_directories)
    has_fault |= CheckFile(directories.string(), kiv::mq::CheckFileQueue);
  return has_fault ? 1 : 0;
}

}  // namespace

void AddCheckConfig(CLI::App& program, int& exit_code) {
  AddServiceCommand(
      program, "check-config",
      "Says for every queue and directory why it will or will not work", Run,
      exit_code);
}

}  // namespace kiv_tool
