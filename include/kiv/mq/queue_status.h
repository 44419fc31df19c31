#ifndef KIV_MQ_QUEUE_STATUS_H_
#define KIV_MQ_QUEUE_STATUS_H_

#include <string>

#include "kiv/date_time.h"
#include "kiv/export.h"

namespace kiv::mq {

enum class QueueState {
  Stopped,
  Starting,
  Reading,
  // Outside every "duration" of the queue.
  OutsideTimes,
  // The port is missing, unplugged or in use by another program; it is tried
  // again until it answers.
  Unplugged,
  // The word "exit" came on the line.
  StoppedByLine,
  // A realtime queue, which no thread of ours reads.
  LeftToHost,
  Failed,
  // A directory whose changes are only looked at.
  Observing,
  // A directory that is looked through from time to time.
  Polling,
  // The directory is not there; it is waited for.
  Gone
};

// As in a table: "reading", "outside its times". Static text.
KIV_API const char* QueueStateText(QueueState state);

// What a queue has done since its configuration was made.
struct QueueStatus {
  QueueState state = QueueState::Stopped;
  unsigned long long messages = 0;
  unsigned long long bytes = 0;
  // Messages whose processor answered false or threw.
  unsigned long long failures = 0;
  // Blocks of a serial line that ended outside its times; not among the
  // messages.
  unsigned long long refused = 0;
  // The missing-value marker until the first message.
  DateTime last_message;
  // In the local encoding; empty while nothing went wrong.
  std::string last_error;
};

}  // namespace kiv::mq

#endif  // KIV_MQ_QUEUE_STATUS_H_
