// kiv queue peek, kiv queue receive
#include <csignal>
#include <cstdio>
#include <iostream>
#include <string>

#include "kiv/date_time.h"
#include "kiv/mq/msmq_queue.h"
#include "queue_command.h"
#include "queue_text.h"
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
bool Write(const QueueOptions& options, const std::string& body) {
  std::string text = options.is_gb2312 ? FromGb2312(body) : body;
  if (IsTerminal()) text = ForTerminal(text);
  if (IsTerminal() || options.by_lines) text += '\n';
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
         std::fflush(stdout) == 0;
}

bool Show(const QueueOptions& options, MsmqMessage& message, bool& is_read) {
  std::string body;
  is_read = message.GetBody(body);
  if (!is_read) return true;
  if (options.shows_details) TellDetails(message, body);
  return Write(options, body);
}

int EmptyQueue(const char* command, const QueueOptions& options) {
  return QueueFault(command, "queue " + options.name + " is empty");
}

// The message is off the queue by now, and standard output does not take it.
int PutBack(const QueueOptions& options, MsmqMessage& message) {
  std::string body;
  std::string label;
  message.GetBody(body);
  message.GetLabel(label);
  const auto queue = OpenNamedQueue(options, QueueInfo::ACCESS_SEND);
  const bool is_back = queue != nullptr && queue->Send(body, label);
  return QueueFault("receive",
                    is_back ? "the message could not be written and is back at "
                              "the end of the queue"
                            : "the message could not be written and is lost");
}

int ReceiveOne(const QueueOptions& options, MsmqQueue& queue, bool& is_empty) {
  const auto message = queue.ReceiveMessage();
  is_empty = message == nullptr && queue.LastError().empty();
  if (is_empty) return 0;
  if (message == nullptr) return QueueFault("receive", Utf8(queue.LastError()));
  bool is_read = false;
  if (!Show(options, *message, is_read)) return PutBack(options, *message);
  return is_read ? 0 : QueueFault("receive", "a body could not be read");
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
  bool is_read = false;
  if (!Show(options, *message, is_read))
    return QueueFault("peek", "the message could not be written");
  return is_read ? 0 : QueueFault("peek", "the body cannot be read");
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
