#include "kiv/nt_service.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <iterator>
#include <optional>
#include <string_view>

#include "kiv/encoding.h"
#include "kiv/file_system.h"
#include "port/file.h"
#include "port/native_path.h"
#include "port/program.h"
#include "port/service_control.h"
#include "port/wake_event.h"
#include "service/log_echo.h"
#include "service/service_setup.h"
#include "util/gb_text.h"
#include "util/log_entry.h"
#include "util/log_messages.h"

namespace kiv {
namespace {

constexpr char kLogFolder[] = "LogFiles/VornService/";
// A service that is looked at shows its log that often.
constexpr int kEchoIntervalMs = 200;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct Switch {
  const char* word;
  NTService::Action action;
};

constexpr Switch kSwitches[] = {
    {"install", NTService::Action::Install},
    {"uninstall", NTService::Action::Uninstall},
    {"start", NTService::Action::Start},
    {"stop", NTService::Action::Stop},
    {"debug", NTService::Action::Debug},
    {"noservice", NTService::Action::NoService},
};

// The word behind "-", "--" or "/"; null when there is none.
const char* SwitchWord(const char* word) {
  if (word[0] == '/') return word + 1;
  if (word[0] != '-') return nullptr;
  return word[1] == '-' ? word + 2 : word + 1;
}

std::string Utf8(const std::string& local) {
  return stringToUtf8(local.c_str(), 0).get();
}

FileSystemPath ProgramFolder() {
  return FileSystemPath(port::LocalPath(port::ProgramPath()),
                        FileSystemPath::native)
      .branch_path();
}

}  // namespace

struct NTService::Impl {
  std::string name;
  std::string description;
  FileSystemPath folder;
  std::vector<std::string> arguments;
  bool is_of_user = false;

  // While it runs.
  std::unique_ptr<port::ServiceControl> control;
  port::WakeEvent stop;
  bool is_stopping = false;
  std::optional<LogEcho> echo;
  Log log;

  const FileSystemPath& Folder() {
    if (folder.empty()) folder = ProgramFolder();
    return folder;
  }

  // Makes the service's folder the current one. False, and said, when that
  // cannot be.
  bool Enter() {
    if (port::SetCurrentDirectoryA(Folder().native_file_string())) return true;
    const std::string reason = port::ErrorText(port::LastError());
    std::cerr << Utf8(name + ": " + folder.string() + ": " + reason) << '\n';
    return false;
  }

  bool Wait(int timeout_ms) {
    if (is_stopping) return true;
    std::string source;
    if (!control->WaitForStop(timeout_ms, stop, source)) return false;
    is_stopping = true;
    control->ReportStopPending();
    Note("is asked to stop by " + source);
    return true;
  }

  void Write(const std::string& text, const char* category) {
    log.Output(("NTService: '" + Shown(name) + "' " + text).c_str(), "service",
               category, FileSystemPath(), true);
    // A line of these is rare and the last one may be the cause of an end.
    log.LockedFlush();
    if (echo) std::cerr << Utf8(name + ": " + text) << '\n';
  }
  void Note(const std::string& text) { Write(text, message::kInformation); }
  void Fault(const std::string& text) {
    Write(text, message::kError);
    if (!echo) std::cerr << Utf8(name + ": " + text) << '\n';
  }
};

NTService::NTService(const std::string& name, const std::string& description)
    : impl_(std::make_unique<Impl>()) {
  impl_->name = name;
  impl_->description = description;
}

NTService::~NTService() = default;

const std::string& NTService::Name() const { return impl_->name; }

void NTService::SetFolder(const FileSystemPath& folder) {
  impl_->folder = folder;
}

void NTService::SetArguments(const std::vector<std::string>& arguments) {
  impl_->arguments = arguments;
}

void NTService::SetOfUser(bool is_of_user) { impl_->is_of_user = is_of_user; }

bool NTService::ReadSwitch(const char* word, Action& action) {
  const char* const name = word != nullptr ? SwitchWord(word) : nullptr;
  if (name == nullptr) return false;
  for (const Switch& known : kSwitches) {
    if (!EqualIgnoreCase(name, known.word)) continue;
    action = known.action;
    return true;
  }
  return false;
}

int NTService::Main(int argc, const char* const* argv) {
  Action action = Action::Run;
  for (int i = 1; i < argc; ++i) {
    const char* const word = SwitchWord(argv[i]);
    if (word != nullptr && EqualIgnoreCase(word, "user")) {
      SetOfUser(true);
    } else if (!ReadSwitch(argv[i], action)) {
      std::cerr << Utf8(impl_->name) << ": '" << argv[i] << "' is unknown; use";
      for (const Switch& known : kSwitches) std::cerr << " -" << known.word;
      std::cerr << " -user\n";
      return kWrongUsage;
    }
  }
  return Execute(action);
}

int NTService::Execute(Action action) {
  try {
    std::vector<std::string> arguments;
    std::transform(impl_->arguments.begin(), impl_->arguments.end(),
                   std::back_inserter(arguments), Utf8);
    const ServiceSetup setup(Utf8(impl_->name), impl_->is_of_user);
    bool is_done = false;
    switch (action) {
      case Action::Install: {
        // Only a folder that can be entered is one to work in.
        const std::string folder =
            port::SystemPath(impl_->Folder().native_file_string());
        is_done = impl_->Enter() &&
                  setup.Install(Utf8(impl_->description), folder, arguments);
        break;
      }
      case Action::Uninstall:
        is_done = setup.Uninstall();
        break;
      case Action::Start:
        is_done = setup.Start();
        break;
      case Action::Stop:
        is_done = setup.Stop();
        break;
      default:
        return Run(action);
    }
    return is_done ? 0 : kFailed;
  } catch (const std::exception& fault) {
    std::cerr << Utf8(impl_->name) << ": " << fault.what() << '\n';
    return kFailed;
  }
}

int NTService::Run(Action action) {
  if (!impl_->Enter()) return kFailed;
  impl_->control = port::ServiceControl::Take(action == Action::Run);
  if (impl_->control == nullptr) return kFailed;
  impl_->stop.Reset();
  impl_->is_stopping = false;
  impl_->log.Open(FileSystemPath(kLogFolder), true);
  if (action == Action::Debug) impl_->echo.emplace();
  bool is_done = false;
  try {
    is_done = RunSteps();
  } catch (const std::exception& fault) {
    impl_->Fault(std::string("failed: ") + Shown(fault.what()));
  }
  impl_->Note(is_done ? "has ended" : "has ended with a failure");
  Log::Instance().LockedFlush();
  if (impl_->echo) impl_->echo->ShowNew();
  impl_->echo.reset();
  impl_->control.reset();
  return is_done ? 0 : kFailed;
}

bool NTService::RunSteps() {
  impl_->Note("starts in '" + Shown(impl_->Folder().string()) + "'" +
              (impl_->control->IsManaged() ? ", for the service manager" : ""));
  if (!OnStart()) {
    impl_->Fault("could not start; the log in Logfiles/System/ says why");
    return false;
  }
  impl_->control->ReportRunning();
  impl_->Note("runs");
  OnRun();
  impl_->control->ReportStopPending();
  if (OnStop()) return true;
  impl_->Fault(
      "did not end in time; the log in Logfiles/System/ says what of "
      "it");
  return false;
}

void NTService::RequestStop() { impl_->stop.Set(); }

bool NTService::OnStart() { return true; }

void NTService::OnRun() {
  constexpr int kAnyTimeMs = 60'000;
  while (!WaitForStop(kAnyTimeMs)) {
  }
}

bool NTService::OnStop() { return true; }

bool NTService::WaitForStop(int timeout_ms) {
  if (impl_->control == nullptr) return true;
  if (!impl_->echo) return impl_->Wait(timeout_ms);
  for (int left = timeout_ms;; left -= kEchoIntervalMs) {
    impl_->echo->ShowNew();
    if (left <= kEchoIntervalMs) return impl_->Wait(std::max(left, 0));
    if (impl_->Wait(kEchoIntervalMs)) return true;
  }
}

void NTService::ShowStatus(const std::string& text) {
  if (impl_->control != nullptr) impl_->control->ReportText(Utf8(text));
}

Log& NTService::ServiceLog() { return impl_->log; }

}  // namespace kiv
