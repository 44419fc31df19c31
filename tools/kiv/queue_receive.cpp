// kiv queue peek, kiv queue receive
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <utility>

#include "kiv/date_time.h"
#include "kiv/mq/msmq_queue.h"
#include "local_text.h"
#include "queue_command.h"
#include "queue_time.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using kiv::mq::MsmqMessage;
using kiv::mq::MsmqQueue;
using kiv::mq::QueueInfo;

void TellDetails(MsmqMessage& message, const std::string& body) {
  std::string label;
  const bool has_label = message.GetLabel(label);
  std::cerr << "id " << (message.Id().empty() ? "-" : ForTerminal(message.Id()))
            << "  sent " << TimeText(message.SentTime()) << "  bytes "
            << body.size() << "  label "
            << (has_label && !label.empty() ? ForTerminal(Utf8(label)) : "-")
            << '\n';
}

// False when standard output does not take it.
bool Write(const QueueOptions& options, std::string text) {
  if (IsTerminal()) text = ForTerminal(text);
  if (IsTerminal() || options.by_lines) text += '\n';
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
         std::fflush(stdout) == 0;
}

enum class Shown {
  Whole,
  Unread,       // it has no body that could be read
  Unconverted,  // no GB2312: written as it is
  Unwritten     // standard output does not take it
};

Shown Show(const QueueOptions& options, MsmqMessage& message) {
  std::string body;
  if (!message.GetBody(body)) return Shown::Unread;
  if (options.shows_details) TellDetails(message, body);
  const bool is_fit = !options.is_gb2312 || FromGb2312(body, body);
  if (!Write(options, std::move(body))) return Shown::Unwritten;
  return is_fit ? Shown::Whole : Shown::Unconverted;
}

constexpr char kUnconverted[] =
    "the body is not GB2312 (code page 936) alone and was written as it is";

int EmptyQueue(const char* command, const QueueOptions& options) {
  return QueueFault(command, "queue " + options.name + " is empty");
}

// In the working directory, under a name that is free; empty where that fails.
std::string KeepAsFile(const std::string& body) {
  for (int number = 1; number <= 1000; ++number) {
    std::string name = "kiv-receive-" + std::to_string(number) + ".body";
    std::FILE* const file = std::fopen(name.c_str(), "wbx");
    if (file == nullptr) {
      if (errno == EEXIST) continue;
      return "";
    }
    std::error_code ignored;
    std::filesystem::permissions(name,
                                 std::filesystem::perms::owner_read |
                                     std::filesystem::perms::owner_write,
                                 ignored);
    const bool is_written =
        std::fwrite(body.data(), 1, body.size(), file) == body.size();
    if (std::fclose(file) == 0 && is_written) return name;
    std::remove(name.c_str());
    return "";
  }
  return "";
}

// The message is off the queue by now, and standard output does not take it.
// The queue takes it back unless the broker is gone, or another program sent
// more than we send.
int PutBack(const QueueOptions& options, MsmqMessage& message) {
  std::string body;
  std::string label;
  message.GetBody(body);
  message.GetLabel(label);
  const auto queue = OpenNamedQueue(options, QueueInfo::ACCESS_SEND);
  const bool is_back = queue != nullptr && queue->Send(body, label);
  if (is_back)
    return QueueFault("receive",
                      "the message could not be written and is back at the end "
                      "of the queue");
  const std::string kept = KeepAsFile(body);
  return QueueFault(
      "receive",
      "the message could not be written and the queue does not take it back; " +
          (kept.empty() ? "it is lost" : "its body is in " + kept));
}

int ReceiveOne(const QueueOptions& options, MsmqQueue& queue, bool& is_empty) {
  const auto message = queue.ReceiveMessage();
  is_empty = message == nullptr && queue.LastError().empty();
  if (is_empty) return 0;
  if (message == nullptr) return QueueFault("receive", Utf8(queue.LastError()));
  switch (Show(options, *message)) {
    case Shown::Whole:
      return 0;
    case Shown::Unread:
      return QueueFault("receive", "a body could not be read");
    case Shown::Unconverted:
      return QueueFault("receive", kUnconverted);
    case Shown::Unwritten:
      break;
  }
  return PutBack(options, *message);
}

}  // namespace

int PeekQueue(const QueueOptions& options) {
  const auto queue = OpenNamedQueue(options, QueueInfo::ACCESS_PEEK);
  if (queue == nullptr) return 1;
  const auto message = queue->Peek();
  if (message == nullptr)
    return queue->LastError().empty()
               ? EmptyQueue("peek", options)
               : QueueFault("peek", Utf8(queue->LastError()));
  switch (Show(options, *message)) {
    case Shown::Whole:
      return 0;
    case Shown::Unread:
      return QueueFault("peek", "the body cannot be read");
    case Shown::Unconverted:
      return QueueFault("peek", kUnconverted);
    case Shown::Unwritten:
      break;
  }
  return QueueFault("peek", "the message could not be written");
}

int ReceiveFromQueue(const QueueOptions& options) {
  // A reader that goes away must not end us with a message in hand.
  std::signal(SIGPIPE, SIG_IGN);
  const auto queue = OpenNamedQueue(options, QueueInfo::ACCESS_RECEIVE);
  if (queue == nullptr) return 1;
  for (int taken = 0; options.takes_all || taken < options.count; ++taken) {
    bool is_empty = false;
    if (const int fault = ReceiveOne(options, *queue, is_empty)) return fault;
    if (is_empty) return options.takes_all ? 0 : EmptyQueue("receive", options);
  }
  return 0;
}

}  // namespace kiv_tool
