#ifndef MQ_READER_FAILURE_H_
#define MQ_READER_FAILURE_H_

#include <string>

namespace kiv::mq {

class QueueConfig;

// Logs why a reader's thread ends and shows it on the queue's board, when there
// is one.
void ReaderFailed(const QueueConfig* config, const char* function,
                  const std::string& text);

}  // namespace kiv::mq

#endif  // MQ_READER_FAILURE_H_
