// Plays a recording into pseudo-terminals that stand for serial ports.
//
// serial_feeder RECORDING PORT=LINK...: every PORT of the recording gets a
// pseudo-terminal, and LINK becomes a symbolic link to its device. A line of
// the recording is "<milliseconds to wait> <verb> <port> [text]":
//   good, broken, late, exit   send the text and a carriage return
//   unplug                     the line goes away
//   plug                       it comes back, under another device
// good, broken, late and exit are all the same to the line; they tell who reads
// the recording what to expect. Text is UTF-8 and goes out in GB2312.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "kiv/encoding.h"
#include "kiv/startup.h"
#include "testing/pseudo_terminal.h"

namespace {

using kiv::testing::PseudoTerminal;

constexpr auto kReaderPatience = std::chrono::seconds(20);

class Line {
 public:
  explicit Line(std::string link) : link_(std::move(link)) {}

  void Plug() {
    terminal_ = std::make_unique<PseudoTerminal>();
    // A terminal that nobody has opened yet does not look unplugged; opening
    // and closing it once makes the reader's arrival visible.
    const int device =
        open(terminal_->Device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (device >= 0) close(device);
    kiv::testing::LinkTo(link_, terminal_->Device());
  }

  void Unplug() {
    std::filesystem::remove(link_);
    terminal_.reset();
  }

  // Until somebody has opened the device.
  void WaitForReader() const {
    const auto deadline = std::chrono::steady_clock::now() + kReaderPatience;
    while (std::chrono::steady_clock::now() < deadline) {
      pollfd state{terminal_->FarEnd(), POLLOUT, 0};
      if (poll(&state, 1, 0) >= 0 && (state.revents & POLLHUP) == 0) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    throw std::runtime_error("nobody reads " + link_);
  }

  void Send(const std::string& utf8) const {
    terminal_->Send(std::string(kiv::utf8ToString(utf8.c_str(), 0).get()) +
                    '\r');
  }

 private:
  std::string link_;
  std::unique_ptr<PseudoTerminal> terminal_;
};

using Lines = std::map<std::string, Line>;

void Perform(Line& line, const std::string& verb, const std::string& text) {
  if (verb == "unplug") {
    line.Unplug();
  } else if (verb == "plug") {
    line.Plug();
    line.WaitForReader();
  } else {
    line.Send(text);
  }
}

void Play(const char* path, Lines& lines) {
  std::ifstream recording(path);
  if (!recording) throw std::runtime_error(std::string("cannot read ") + path);
  std::string entry;
  while (std::getline(recording, entry)) {
    if (entry.empty() || entry[0] == '#') continue;
    std::istringstream words(entry);
    int wait_ms = 0;
    std::string verb;
    std::string port;
    std::string text;
    words >> wait_ms >> verb >> port >> std::ws;
    std::getline(words, text);
    const auto line = lines.find(port);
    if (!words.eof() || line == lines.end()) {
      throw std::runtime_error("cannot play: " + entry);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(wait_ms));
    Perform(line->second, verb, text);
  }
}

int Run(int argc, char** argv) {
  Lines lines;
  for (int i = 2; i < argc; ++i) {
    const std::string pair = argv[i];
    const std::size_t equals = pair.find('=');
    if (equals == pair.npos) continue;
    const auto added =
        lines.try_emplace(pair.substr(0, equals), pair.substr(equals + 1));
    added.first->second.Plug();
  }
  if (lines.empty()) {
    std::cerr << "usage: serial_feeder RECORDING PORT=LINK...\n";
    return 2;
  }
  for (auto& [port, line] : lines) line.WaitForReader();
  Play(argv[1], lines);
  // What was sent last is read before the line goes away.
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  kiv::GlobalInit();
  int exit_code = 1;
  try {
    exit_code = Run(argc, argv);
  } catch (const std::exception& fault) {
    std::cerr << "serial_feeder: " << fault.what() << '\n';
  }
  kiv::GlobalUninit();
  return exit_code;
}
