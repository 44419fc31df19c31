// kiv queue send
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "kiv/mq/msmq_queue.h"
#include "local_text.h"
#include "progress.h"
#include "queue_command.h"
#include "standard_streams.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using kiv::mq::MsmqQueue;
using kiv::mq::MsmqQueueInfo;
using kiv::mq::QueueInfo;

constexpr char kCommand[] = "send";

// One line after the other, without their ends.
class Line {
 public:
  Line() = default;
  ~Line() { std::free(start_); }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  // False at the end, and when it cannot be read: half a line is none.
  bool Read(std::FILE* in) {
    const ssize_t length = ::getline(&start_, &room_, in);
    if (length < 0 || std::ferror(in) != 0) return false;
    text_.assign(start_, static_cast<std::size_t>(length));
    if (text_.back() == '\n') text_.pop_back();
    return true;
  }
  const std::string& Text() const { return text_; }

 private:
  char* start_ = nullptr;
  std::size_t room_ = 0;
  std::string text_;
};

class Sender {
 public:
  Sender(MsmqQueue& queue, const QueueOptions& options)
      : queue_(queue), options_(options), label_(ToLocal(options.label)) {}

  // False, with the reason said, when a message could not be sent.
  bool Send(const std::string& body) {
    std::string converted;
    if (options_.is_gb2312 && !ToGb2312(body, converted))
      return Fail(kNotLocal);
    if (!queue_.Send(options_.is_gb2312 ? converted : body, label_))
      return Fail(" " + Utf8(queue_.LastError()));
    progress_.Show(++sent_);
    return true;
  }
  // `name` of the source, for people.
  bool SendStream(std::FILE* in, const std::string& name) {
    if (options_.by_lines) {
      Line line;
      while (line.Read(in))
        if (!Send(line.Text())) return false;
    } else {
      std::string body;
      char piece[1 << 16];
      while (const std::size_t size = std::fread(piece, 1, sizeof piece, in))
        body.append(piece, size);
      if (std::ferror(in) == 0 && !Send(body)) return false;
    }
    return std::ferror(in) == 0 || Fail(" cannot be read from " + name);
  }
  bool SendFile(const std::string& path) {
    if (path == "-")
      return HasStandardInput() ? SendStream(stdin, "standard input")
                                : Fail(
                                      " cannot be read: standard input is "
                                      "closed");
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(path.c_str(), "rb"), std::fclose);
    return file == nullptr ? Fail(" cannot be read from " + path)
                           : SendStream(file.get(), path);
  }

  unsigned long long Sent() const { return sent_; }
  void End() { progress_.Clear(); }

 private:
  bool Fail(const std::string& text) {
    progress_.Clear();
    QueueFault(kCommand, "message " + std::to_string(sent_ + 1) + text +
                             "; sent before it: " + std::to_string(sent_));
    return false;
  }

  MsmqQueue& queue_;
  const QueueOptions& options_;
  const std::string label_;
  Progress progress_{"sent"};
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
  if (is_sent) std::cout << Counted(sender.Sent(), "message") << " sent\n";
  return is_sent ? 0 : 1;
}

}  // namespace kiv_tool
