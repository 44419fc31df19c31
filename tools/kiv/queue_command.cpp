// kiv queue: sends to and looks into the durable queues of a service.
#include "queue_command.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "command.h"
#include "kiv/dom.h"
#include "kiv/encoding.h"
#include "kiv/log.h"
#include "kiv/mq/factory.h"
#include "local_text.h"
#include "service_command.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using Command = int (*)(const QueueOptions& options);

int RunInService(const CLI::App& command, const QueueOptions& options,
                 Command run) {
  std::string reason;
  if (!EnterServiceFolder(options.service, reason))
    return QueueFault(command.get_name().c_str(), reason);
  const int exit_code = run(options);
  kiv::Log::Instance().Flush();
  return exit_code;
}

class QueueCommands {
 public:
  QueueCommands(CLI::App& group, int& exit_code)
      : group_(group), exit_code_(exit_code) {}

  CLI::App* Add(const char* name, const char* description, Command run) {
    CLI::App* const command = group_.add_subcommand(name, description);
    command
        ->add_option("-s,--service", options_->service,
                     "The service folder (bin/ beside conf/), or its bin/")
        ->capture_default_str();
    command->callback(
        [options = options_, command, run, this_code = &exit_code_] {
          // Before the folder changes.
          for (std::string& file : options->files)
            if (file != "-") file = std::filesystem::absolute(file).string();
          *this_code = RunInService(*command, *options, run);
        });
    return command;
  }
  void AddName(CLI::App* command) {
    command->add_option("name", options_->name, "The queue's name")->required();
  }
  QueueOptions& Options() { return *options_; }

 private:
  CLI::App& group_;
  int& exit_code_;
  // One for all: a program runs one of them.
  std::shared_ptr<QueueOptions> options_ = std::make_shared<QueueOptions>();
};

void AddSend(QueueCommands& commands) {
  CLI::App* const send = commands.Add(
      "send", "Sends messages; done means that they survive any crash",
      SendToQueue);
  QueueOptions& options = commands.Options();
  commands.AddName(send);
  send->add_option("body", options.bodies,
                   "A message each; without one, and without --file, standard "
                   "input is the message");
  send->add_option("-f,--file", options.files,
                   "A message from a file, - for standard input; may be "
                   "repeated")
      ->expected(1)
      ->take_all();
  send->add_flag("-l,--lines", options.by_lines,
                 "Every line of the files, or of standard input, is a message");
  send->add_option("--label", options.label, "The label of every message");
  send->add_flag("--gb2312", options.is_gb2312,
                 "The bodies are UTF-8 text and are sent in GB2312 (code page "
                 "936), which processors expect; else bytes as they are");
  send->add_flag("--create", options.may_create,
                 "Create the queue when it is missing, even if queue.xml does "
                 "not declare it");
  send->footer(
      "An empty file, or standard input that ends at once as /dev/null does, "
      "is "
      "an\nempty message, with --lines none. Standard input that is closed is "
      "an "
      "error.");
}

void AddReading(QueueCommands& commands, CLI::App* command) {
  QueueOptions& options = commands.Options();
  commands.AddName(command);
  command->add_flag("--gb2312", options.is_gb2312,
                    "Show bodies in GB2312 (code page 936) as UTF-8; else "
                    "bytes as they are");
  command->add_flag("-i,--info", options.shows_details,
                    "Tell id, time sent, label and size on standard error");
}

void AddPeek(QueueCommands& commands) {
  AddReading(commands,
             commands.Add("peek", "Prints the first message and leaves it",
                          PeekQueue));
}

void AddReceive(QueueCommands& commands) {
  CLI::App* const receive = commands.Add(
      "receive", "Prints the first message and takes it off the queue",
      ReceiveFromQueue);
  QueueOptions& options = commands.Options();
  AddReading(commands, receive);
  auto* const count =
      receive
          ->add_option("-n,--count", options.count,
                       "So many messages; fewer are an empty queue")
          ->check(CLI::PositiveNumber)
          ->capture_default_str();
  receive->add_flag("--all", options.takes_all, "All that are there")
      ->excludes(count);
  receive->add_flag("-l,--lines", options.by_lines,
                    "A line feed behind every body");
  receive->footer(
      "On an empty queue it ends with 1, with --all with 0. What cannot be "
      "written\ngoes back to the end of the queue.");
}

void AddPurge(QueueCommands& commands) {
  CLI::App* const purge = commands.Add(
      "purge", "Removes every message of a queue, once you agree", PurgeQueue);
  commands.AddName(purge);
  purge->add_flag("-y,--yes", commands.Options().is_confirmed,
                  "Do not ask; needed without a terminal");
}

}  // namespace

int QueueFault(const char* command, const std::string& text_utf8) {
  std::cerr << "kiv queue " << command << ": " << text_utf8 << '\n';
  return 1;
}

std::vector<std::string> DeclaredQueues() {
  std::vector<std::string> names;
  kiv::DomParser parser;
  kiv::DomDocument document;
  kiv::DomElement root;
  kiv::DomElement queues;
  kiv::DomNodeList2 elements;
  if (!std::filesystem::is_regular_file("../conf/queue.xml") ||
      !parser.parseURI("../conf/queue.xml", document) ||
      !document.GetDocumentElement(root) ||
      !root.GetFirstChildElement("queues", queues) ||
      !queues.ChildElementList(elements))
    return names;
  for (unsigned i = 0; i < elements.GetLength(); ++i) {
    kiv::DomElement element;
    std::string name;
    if (elements.item(i, element) &&
        element.Attribute("type") == kiv::mq::Factory::T_MSMQ &&
        kiv::mq::MsmqQueueInfo::ReadName(element.Attribute("name").c_str(),
                                         name))
      names.push_back(name);
  }
  return names;
}

std::shared_ptr<kiv::mq::MsmqQueue> OpenNamedQueue(const QueueOptions& options,
                                                   int access) {
  kiv::mq::MsmqQueueInfo queues;
  auto queue = queues.OpenQueue(ToLocal(options.name).c_str(), access);
  if (queue == nullptr)
    std::cerr << "kiv queue: queue " << options.name
              << (queues.Place().empty() ? "" : " in ") << Utf8(queues.Place())
              << ": " << Utf8(queues.LastError()) << '\n';
  return queue;
}

void AddQueue(CLI::App& program, int& exit_code) {
  CLI::App* const group = program.add_subcommand(
      "queue", "Sends to, receives from and looks into durable queues");
  group->require_subcommand(1);
  group->footer(
      "Queues lie in queues/ of the service, or on the broker that "
      "KIV_MSMQ_URL names.\nkiv queue COMMAND --help tells more of a command.");
  const auto commands = std::make_shared<QueueCommands>(*group, exit_code);
  AddSend(*commands);
  AddPeek(*commands);
  AddReceive(*commands);
  commands->Add("list", "Says what lies in every queue, and since when",
                ListQueues);
  AddPurge(*commands);
}

}  // namespace kiv_tool
