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
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include "kiv/encoding.h"
#include "kiv/startup.h"

namespace {

constexpr auto kReaderPatience = std::chrono::seconds(20);

class Line {
 public:
  explicit Line(std::string link) : link_(std::move(link)) {}
  ~Line() { Unplug(); }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  bool Plug() {
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
      return false;
    }
    termios settings{};
    tcgetattr(master_, &settings);
    cfmakeraw(&settings);
    tcsetattr(master_, TCSANOW, &settings);
    // A terminal that nobody has opened yet does not look unplugged; opening
    // and closing it once makes the reader's arrival visible.
    const int device = open(ptsname(master_), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (device >= 0) close(device);
    const std::string fresh = link_ + ".new";
    std::error_code error;
    std::filesystem::remove(fresh, error);
    std::filesystem::create_symlink(ptsname(master_), fresh, error);
    std::filesystem::rename(fresh, link_, error);
    return !error;
  }

  void Unplug() {
    if (master_ < 0) return;
    std::error_code error;
    std::filesystem::remove(link_, error);
    close(master_);
    master_ = -1;
  }

  // Until somebody has opened the device.
  bool WaitForReader() const {
    const auto deadline = std::chrono::steady_clock::now() + kReaderPatience;
    while (std::chrono::steady_clock::now() < deadline) {
      pollfd state{master_, POLLOUT, 0};
      if (poll(&state, 1, 0) >= 0 && (state.revents & POLLHUP) == 0) {
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }

  bool Send(const std::string& bytes) const {
    return write(master_, bytes.data(), bytes.size()) ==
           static_cast<ssize_t>(bytes.size());
  }

 private:
  std::string link_;
  int master_ = -1;
};

using Lines = std::map<std::string, Line>;

bool Perform(Line& line, const std::string& verb, const std::string& text) {
  if (verb == "unplug") {
    line.Unplug();
    return true;
  }
  if (verb == "plug") return line.Plug() && line.WaitForReader();
  return line.Send(std::string(kiv::utf8ToString(text.c_str(), 0).get()) +
                   '\r');
}

bool Play(const char* path, Lines& lines) {
  std::ifstream recording(path);
  if (!recording) {
    std::cerr << "serial_feeder: cannot read " << path << '\n';
    return false;
  }
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
      std::cerr << "serial_feeder: cannot play: " << entry << '\n';
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(wait_ms));
    if (!Perform(line->second, verb, text)) {
      std::cerr << "serial_feeder: failed: " << entry << '\n';
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Lines lines;
  for (int i = 2; i < argc; ++i) {
    const std::string pair = argv[i];
    const std::size_t equals = pair.find('=');
    if (equals == pair.npos) continue;
    const auto added =
        lines.try_emplace(pair.substr(0, equals), pair.substr(equals + 1));
    if (!added.first->second.Plug()) {
      std::cerr << "serial_feeder: no pseudo-terminal for " << pair << '\n';
      return 1;
    }
  }
  if (lines.empty()) {
    std::cerr << "usage: serial_feeder RECORDING PORT=LINK...\n";
    return 2;
  }
  kiv::GlobalInit();
  bool is_played = true;
  for (auto& [port, line] : lines) is_played = line.WaitForReader();
  is_played = is_played && Play(argv[1], lines);
  // What was sent last is read before the line goes away.
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  kiv::GlobalUninit();
  return is_played ? 0 : 1;
}
