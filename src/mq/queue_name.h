#ifndef MQ_QUEUE_NAME_H_
#define MQ_QUEUE_NAME_H_

#include <string>

namespace kiv::mq {

// The name of a message queue, as a configuration or a caller writes it.
//
// Queues are private ones of this computer: ".\private$\" in front of a name,
// in any case, says no more than that and is dropped, so that both spellings
// mean one queue, and so is "DIRECT=OS:" in front of that. Everything else
// counts, upper and lower case too.
class QueueName {
 public:
  // False, with the reason, for a name that no queue can have: empty, no text
  // in the local encoding, or too long for a file name.
  static bool Read(const std::string& written, QueueName& out,
                   std::string& reason);
  // The name behind a file's; false for a file that holds no queue.
  static bool FromFile(const std::string& file, QueueName& out);

  // In the local encoding.
  const std::string& Text() const { return text_; }
  std::string Utf8() const;
  // With the path in front that such a queue has: .\private$\orders.
  std::string Path() const;
  // In the local encoding, without a folder. Letters, digits, Chinese and
  // "-_.$" stand as they are, save for a dot in front; every other byte is
  // written %XX. So no two names share a file and none leads elsewhere.
  std::string File() const;

 private:
  std::string text_;
};

}  // namespace kiv::mq

#endif  // MQ_QUEUE_NAME_H_
