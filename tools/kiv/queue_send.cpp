// kiv queue send
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "kiv/mq/msmq_queue.h"
#include "queue_command.h"
#include "queue_text.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using kiv::mq::MsmqQueue;
using kiv::mq::MsmqQueueInfo;
using kiv::mq::QueueInfo;

constexpr char kCommand[] = "send";

// How far a long send is, for who watches it.
class Progress {
 public:
  void Show(unsigned long long sent) {
    const auto now = Clock::now();
    if (!is_watched_ || now < next_) return;
    next_ = now + std::chrono::milliseconds(200);
    std::cerr << "\r\033[K" << sent << " sent" << std::flush;
    is_shown_ = true;
  }
  void Clear() {
    if (is_shown_) std::cerr << "\r\033[K" << std::flush;
    is_shown_ = false;
  }

 private:
  using Clock = std::chrono::steady_clock;
  const bool is_watched_ = isatty(STDERR_FILENO) == 1;
  // What takes no second needs no report.
  Clock::time_point next_ = Clock::now() + std::chrono::seconds(1);
  bool is_shown_ = false;
};

class Sender {
 public:
  Sender(MsmqQueue& queue, const QueueOptions& options)
      : queue_(queue), options_(options), label_(ToLocal(options.label)) {}

  // False, with the reason said, when a message could not be sent.
  bool Send(const std::string& body) {
    std::string converted;
    if (options_.is_gb2312 && !ToGb2312(body, converted))
      return Fail(
          "is no UTF-8 text, or holds a character that GB2312 (code page 936) "
          "lacks");
    if (!queue_.Send(options_.is_gb2312 ? converted : body, label_))
      return Fail(Utf8(queue_.LastError()));
    progress_.Show(++sent_);
    return true;
  }
  // `name` of the source, for people.
  bool SendStream(std::istream& in, const std::string& name) {
    if (options_.by_lines) {
      std::string line;
      while (std::getline(in, line))
        if (!Send(line)) return false;
    } else {
      const std::string body(std::istreambuf_iterator<char>(in), {});
      if (!in.bad() && !Send(body)) return false;
    }
    return !in.bad() || Fail("cannot be read from " + name);
  }
  bool SendFile(const std::string& path) {
    if (path == "-") return SendStream(std::cin, "standard input");
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path))
      return Fail("cannot be read from " + path);
    return SendStream(file, path);
  }

  unsigned long long Sent() const { return sent_; }
  void End() { progress_.Clear(); }

 private:
  bool Fail(const std::string& text) {
    progress_.Clear();
    QueueFault(kCommand, "message " + std::to_string(sent_ + 1) + " " + text +
                             "; sent before it: " + std::to_string(sent_));
    return false;
  }

  MsmqQueue& queue_;
  const QueueOptions& options_;
  const std::string label_;
  Progress progress_;
  unsigned long long sent_ = 0;
};

// A name with a slip of the pen must not swallow messages that nobody will
// read: a queue is made when queue.xml has it, or when it is asked for.
void CreateWhenMeant(const QueueOptions& options) {
  std::string name;
  if (!MsmqQueueInfo::ReadName(ToLocal(options.name).c_str(), name)) return;
  const std::vector<std::string> declared = DeclaredQueues();
  if (options.may_create ||
      std::find(declared.begin(), declared.end(), name) != declared.end())
    MsmqQueueInfo().Create(name.c_str(), nullptr, false);
}

bool SendAll(Sender& sender, const QueueOptions& options) {
  for (const std::string& body : options.bodies)
    if (!sender.Send(body)) return false;
  for (const std::string& file : options.files)
    if (!sender.SendFile(file)) return false;
  if (!options.bodies.empty() || !options.files.empty()) return true;
  if (isatty(STDIN_FILENO) == 1)
    std::cerr << "write the message, and Ctrl-D on a line of its own\n";
  return sender.SendFile("-");
}

}  // namespace

int SendToQueue(const QueueOptions& options) {
  CreateWhenMeant(options);
  const auto queue = OpenNamedQueue(options, QueueInfo::ACCESS_SEND);
  if (queue == nullptr) {
    std::cerr << "kiv queue send: declare the queue in conf/queue.xml, or add "
                 "--create\n";
    return 1;
  }
  Sender sender(*queue, options);
  const bool is_sent = SendAll(sender, options);
  sender.End();
  if (is_sent)
    std::cout << sender.Sent()
              << (sender.Sent() == 1 ? " message sent\n" : " messages sent\n");
  return is_sent ? 0 : 1;
}

}  // namespace kiv_tool
