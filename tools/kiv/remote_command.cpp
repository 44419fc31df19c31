// kiv remote: looks at, sets and calls the remote services of a program.
#include "remote_command.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "command.h"
#include "kiv/log.h"
#include "service_command.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using Command = int (*)(const RemoteOptions& options);

class RemoteCommands {
 public:
  RemoteCommands(CLI::App& group, int& exit_code)
      : group_(group), exit_code_(exit_code) {}

  CLI::App* Add(const char* name, const char* description, Command run) {
    CLI::App* const command = group_.add_subcommand(name, description);
    command
        ->add_option("-s,--service", options_->folder,
                     "The service folder (bin/ beside conf/), or its bin/")
        ->capture_default_str();
    command->callback([options = options_, run, code = &exit_code_] {
      // Before the folder changes.
      std::string& file = options->access_code_file;
      if (!file.empty()) file = std::filesystem::absolute(file).string();
      std::string reason;
      *code = EnterServiceFolder(options->folder, reason) ? run(*options)
                                                          : RemoteFault(reason);
      kiv::Log::Instance().Flush();
    });
    return command;
  }
  // One that speaks to a service.
  CLI::App* AddCall(const char* name, const char* description, Command run) {
    CLI::App* const command = Add(name, description, run);
    command
        ->add_option("service", options_->service,
                     "A service of conf/client.xml, or IDENTITY@HOST:PORT")
        ->required();
    command->add_option("-e,--endpoint", options_->endpoint,
                        "The kind of endpoint, such as tcp or ssl");
    command
        ->add_option("-t,--timeout", options_->timeout_seconds,
                     "Seconds to wait for an answer; 10 if nobody says "
                     "otherwise")
        ->check(CLI::Range(0.001, 86'400.0));
    return command;
  }
  RemoteOptions& Options() { return *options_; }

 private:
  CLI::App& group_;
  int& exit_code_;
  // One for all: a program runs one of them.
  std::shared_ptr<RemoteOptions> options_ = std::make_shared<RemoteOptions>();
};

void AddSet(RemoteCommands& commands) {
  CLI::App* const set = commands.Add(
      "set", "Adds a service to conf/client.xml, or changes it", SetService);
  RemoteOptions& options = commands.Options();
  set->add_option("name", options.service, "The service's name")->required();
  set->add_option("--ip", options.ip, "Its host, by name or address");
  set->add_option("--port", options.port, "Its port")
      ->check(CLI::Range(0, 65'535));
  set->add_option("--svc", options.svc, "Its identity");
  set->add_option("--project-key", options.project_key, "The project");
  auto* const file =
      set->add_option("--access-code-file", options.access_code_file,
                      "The access code is the first line of this file");
  set->add_flag("-a,--access-code", options.asks_access_code,
                "Ask for the access code at the terminal")
      ->excludes(file);
  set->add_option("--engine-version", options.engine_version,
                  "The version that the server must be compatible with")
      ->check(CLI::NonNegativeNumber);
  set->add_option("--document-version", options.document_version,
                  "The version of documents")
      ->check(CLI::NonNegativeNumber);
  set->footer(
      "What is not said stays as it was. The file then belongs to its owner "
      "alone,\nbecause it holds access codes.");
}

void AddCallCommand(RemoteCommands& commands) {
  CLI::App* const call = commands.AddCall(
      "call", "Calls any operation and prints what comes back", CallService);
  RemoteOptions& options = commands.Options();
  call->add_option("operation", options.operation,
                   "Its name, in the case of the interface")
      ->required();
  call->add_option("argument", options.words, "Its parameters, in order");
  call->footer(
      "Operations: shutdown, MaxMessageSize, SendCommand COMMAND, "
      "GetVersionInfo,\nIsVersionCompatible MAJOR MINOR REVISION, GetProjectID "
      "PROJECT, GetProjectId2\nPROJECT, GetProjectId3 SOLUTION PROJECT, "
      "ReloadConfig, GetSolutions,\nGetProjects SOLUTION. It ends with 1 when "
      "the service answers false.");
}

}  // namespace

int RemoteFault(const std::string& text_utf8) {
  std::cerr << "kiv remote: " << Printable(text_utf8) << '\n';
  return 1;
}

std::string RemoteReason() { return Utf8(rmt_last_error()); }

void AddRemote(CLI::App& program, int& exit_code) {
  CLI::App* const group = program.add_subcommand(
      "remote", "Looks at, sets and calls remote services");
  group->require_subcommand(1);
  group->footer(
      "Services are those of conf/client.xml of the service folder.\n"
      "kiv remote COMMAND --help tells more of a command.");
  RemoteCommands commands(*group, exit_code);
  commands.Add("list", "The services of conf/client.xml", ListServices);
  commands
      .Add("show", "One of them; its access code is not shown", ShowService)
      ->add_option("name", commands.Options().service, "The service's name")
      ->required();
  AddSet(commands);
  commands.AddCall("ping", "Says whether a service answers, and how soon",
                   PingService);
  commands.AddCall("version", "Says what the service says of itself",
                   TellVersion);
  commands.AddCall("solutions", "The service's solutions, one a line",
                   TellSolutions);
  commands
      .AddCall("projects", "The projects of a solution, one a line",
               TellProjects)
      ->add_option("solution", commands.Options().words, "The solution")
      ->required()
      ->expected(1);
  AddCallCommand(commands);
}

}  // namespace kiv_tool
