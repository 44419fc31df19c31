#include "service_command.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace kiv_tool {

std::optional<ServiceFolder> EnterServiceFolder(const std::string& folder,
                                                std::string& reason) {
  auto service = FindServiceFolder(folder, reason);
  if (!service) return std::nullopt;
  std::error_code error;
  std::filesystem::current_path(service->bin, error);
  if (!error) return service;
  reason = service->bin.string() + ": " + error.message();
  return std::nullopt;
}

void AddServiceCommand(CLI::App& program, const char* name,
                       const char* description,
                       int (*run)(const ServiceFolder& service),
                       int& exit_code) {
  auto folder = std::make_shared<std::string>(".");
  CLI::App* command = program.add_subcommand(name, description);
  command
      ->add_option("folder", *folder,
                   "The service folder (bin/ beside conf/), or its bin/")
      ->capture_default_str();
  command->callback([folder, command, run, &exit_code] {
    std::string reason;
    const auto service = EnterServiceFolder(*folder, reason);
    if (service) {
      exit_code = run(*service);
      return;
    }
    std::cerr << "kiv " << command->get_name() << ": " << reason << '\n';
    exit_code = 1;
  });
}

}  // namespace kiv_tool
