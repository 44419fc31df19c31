#include "secret.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

namespace kiv_tool {
namespace {

constexpr char kInterrupt = '\x03';

// The terminal without echo, as it was when this ends.
class QuietTerminal {
 public:
  QuietTerminal() : descriptor_(::open("/dev/tty", O_RDWR | O_CLOEXEC)) {
    if (descriptor_ < 0 || ::tcgetattr(descriptor_, &before_) != 0) return;
    termios quiet = before_;
    // Without signals: one that ends us here would leave the terminal mute.
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    quiet.c_lflag |= ICANON;
    quiet.c_iflag |= ICRNL;
    is_quiet_ = ::tcsetattr(descriptor_, TCSAFLUSH, &quiet) == 0;
  }
  ~QuietTerminal() {
    if (is_quiet_) ::tcsetattr(descriptor_, TCSAFLUSH, &before_);
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;

  bool IsQuiet() const { return is_quiet_; }

  void Write(const std::string& text) const {
    // A prompt that cannot be shown is no reason to stop.
    [[maybe_unused]] const ssize_t written =
        ::write(descriptor_, text.data(), text.size());
  }

  // Without its end. False at the end of input.
  bool ReadLine(std::string& line) const {
    char byte = 0;
    for (;;) {
      const ssize_t size = ::read(descriptor_, &byte, 1);
      if (size < 0 && errno == EINTR) continue;
      if (size <= 0) return false;
      if (byte == '\n') return true;
      line += byte;
    }
  }

 private:
  const int descriptor_;
  termios before_{};
  bool is_quiet_ = false;
};

}  // namespace

bool ReadSecretFile(const SecretKind& kind, const std::string& file,
                    std::string& secret, std::string& reason) {
  struct stat state {};
  std::ifstream stream(file);
  std::string line;
  if (::stat(file.c_str(), &state) != 0) {
    reason = file + ": " + std::strerror(errno);
    return false;
  }
  if (!stream || !std::getline(stream, line)) {
    reason = file + " cannot be read, or is empty";
    return false;
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (line.empty()) {
    reason = file + ": its first line, the " + kind.name + ", is empty";
    return false;
  }
  if ((state.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    std::cerr << "kiv: warning: others may read " << file
              << ", which holds the " << kind.name << "; chmod 600 it\n";
  secret = line;
  return true;
}

bool AskSecret(const SecretKind& kind, const std::string& prompt,
               std::string& secret, std::string& reason) {
  const QuietTerminal terminal;
  if (!terminal.IsQuiet()) {
    reason =
        std::string("there is no terminal to ask at; use ") + kind.file_option;
    return false;
  }
  terminal.Write(prompt);
  std::string line;
  const bool is_read = terminal.ReadLine(line);
  terminal.Write("\n");
  if (!is_read || line.find(kInterrupt) != std::string::npos || line.empty()) {
    reason = std::string("no ") + kind.name + " was given";
    return false;
  }
  secret = line;
  return true;
}

}  // namespace kiv_tool
