// kiv queue list, kiv queue purge
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "kiv/date_time.h"
#include "kiv/mq/msmq_queue.h"
#include "local_text.h"
#include "queue_command.h"
#include "queue_time.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using kiv::mq::MsmqQueueInfo;
using kiv::mq::QueueInfo;

bool Has(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// One row of the list. False when the queue does not answer.
bool AddRow(MsmqQueueInfo& queues, const std::string& name,
            std::vector<std::vector<Cell>>& rows) {
  const std::string shown = ForTerminal(Utf8(name));
  const auto queue = queues.OpenQueue(name.c_str(), QueueInfo::ACCESS_PEEK);
  unsigned long long messages = 0;
  kiv::DateTime oldest;
  if (queue != nullptr && queue->Count(messages, oldest)) {
    rows.push_back({{shown},
                    {std::to_string(messages), Color::Plain, true},
                    {TimeText(oldest)},
                    {""}});
    return true;
  }
  const std::string reason =
      queue == nullptr ? queues.LastError() : queue->LastError();
  rows.push_back({{shown},
                  {"-", Color::Plain, true},
                  {"-"},
                  {ForTerminal(Utf8(reason)), Color::Red}});
  return false;
}

}  // namespace

int ListQueues(const QueueOptions& /*options*/) {
  MsmqQueueInfo queues;
  std::vector<std::string> there;
  if (!queues.List(there)) return QueueFault("list", Utf8(queues.LastError()));
  const std::string place = queues.Place();
  // A folder tells all its queues, a broker none: there the file names them.
  const bool is_folder = place.starts_with('/');
  std::vector<std::string> names = there;
  for (const std::string& name : DeclaredQueues())
    if (!Has(names, name)) names.push_back(name);
  bool is_good = true;
  std::vector<std::vector<Cell>> rows;
  for (const std::string& name : names) {
    if (is_folder && !Has(there, name))
      rows.push_back({{ForTerminal(Utf8(name))},
                      {"0", Color::Plain, true},
                      {"-"},
                      {"not created yet", Color::Dim}});
    else
      is_good = AddRow(queues, name, rows) && is_good;
  }
  std::cout << "queues in " << Utf8(place) << '\n';
  if (!is_folder)
    std::cout << "a broker does not tell its queues: those of conf/queue.xml "
                 "are shown\n";
  std::cout << Table({"queue", "messages", "oldest", "remark"}, rows);
  return is_good ? 0 : 1;
}

int PurgeQueue(const QueueOptions& options) {
  const auto queue = OpenNamedQueue(options, QueueInfo::ACCESS_RECEIVE);
  if (queue == nullptr) return 1;
  unsigned long long messages = 0;
  kiv::DateTime oldest;
  if (!queue->Count(messages, oldest))
    return QueueFault("purge", Utf8(queue->LastError()));
  // An empty one is nothing to ask about, where there is somebody to ask.
  const bool is_confirmed =
      options.is_confirmed || (messages == 0 && isatty(STDIN_FILENO) == 1);
  const int refused = Confirm("queue purge",
                              "Remove " + Counted(messages, "message") +
                                  " of queue " + options.name + "?",
                              is_confirmed);
  if (refused != 0) return refused;
  unsigned long long removed = 0;
  if (!queue->Purge(removed))
    return QueueFault("purge", Utf8(queue->LastError()));
  std::cout << Counted(removed, "message") << " removed\n";
  return 0;
}

}  // namespace kiv_tool
