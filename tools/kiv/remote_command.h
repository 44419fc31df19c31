#ifndef TOOLS_KIV_REMOTE_COMMAND_H_
#define TOOLS_KIV_REMOTE_COMMAND_H_

#include <optional>
#include <string>
#include <vector>

#include "rmt/rmt.h"

// The parts of kiv remote. Each works in bin/ of its service folder and returns
// the program's exit code. Texts are UTF-8, as on the command line.
namespace kiv_tool {

struct RemoteOptions {
  std::string folder = ".";
  std::string service;  // a name of client.xml, or IDENTITY@HOST:PORT
  std::string endpoint;
  std::optional<double> timeout_seconds;

  // call, projects
  std::string operation;
  std::vector<std::string> words;

  // set
  std::optional<std::string> ip;
  std::optional<int> port;
  std::optional<std::string> svc;
  std::optional<std::string> project_key;
  std::string access_code_file;  // absolute
  bool asks_access_code = false;
  std::optional<int> engine_version;
  std::optional<int> document_version;
};

int ListServices(const RemoteOptions& options);
int ShowService(const RemoteOptions& options);
int SetService(const RemoteOptions& options);

int PingService(const RemoteOptions& options);
int TellVersion(const RemoteOptions& options);
int TellSolutions(const RemoteOptions& options);
int TellProjects(const RemoteOptions& options);
int CallService(const RemoteOptions& options);

// The record of options.service; endpoint and time-out, where the command line
// does not say them, are the service's. False when there is none;
// rmt_last_error says why.
bool ReadService(RemoteOptions& options, RemoteServiceInfo& info);

// 1, with the text on standard error.
int RemoteFault(const std::string& text_utf8);
// The library's own text of what failed last.
std::string RemoteReason();

}  // namespace kiv_tool

#endif  // TOOLS_KIV_REMOTE_COMMAND_H_
