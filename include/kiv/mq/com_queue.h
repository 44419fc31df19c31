#ifndef KIV_MQ_COM_QUEUE_H_
#define KIV_MQ_COM_QUEUE_H_

#include <memory>
#include <string>

#include "kiv/export.h"
#include "kiv/mq/queue.h"

namespace kiv::mq {

class ComLine;
class ComQueueConfig;

// One open serial port, locked against other programs while it lives.
class KIV_API ComWin32 {
 public:
  // Opens COM<port_index + 1> at once: the device that the variable
  // KIV_COM<port_index + 1> names, else /dev/ttyS<port_index>. The sizes are
  // those of the buffers; the two flags are accepted and not consulted.
  ComWin32(int port_index, int input_size, int output_size, int overlapped,
           int events);
  // Opens the port of a queue's name, which may also be a device's path.
  ComWin32(const std::string& name, int input_size, int output_size);
  ~ComWin32();
  ComWin32(const ComWin32&) = delete;
  ComWin32& operator=(const ComWin32&) = delete;

  bool IsOpen() const;
  // Why the port did not open, in the local encoding.
  const std::string& OpenError() const;
  // What was opened or tried, as /dev/ttyS2.
  const std::string& Device() const;
  int PortIndex() const;
  int InputSize() const;
  int OutputSize() const;

  // Baud rate, data bits, parity, stop bits, in this order. False when the port
  // refuses one of them, which `refused` names; the others are in force.
  bool Configure(const ComQueueConfig& config, std::string& refused);

  struct Impl;
  Impl& State() const { return *impl_; }

 private:
  std::unique_ptr<Impl> impl_;
};

// A serial port as a queue of blocks. The port is opened by the first Receive
// and reopened when it comes back; one thread at a time.
class KIV_API ComQueue final : public Queue {
 public:
  explicit ComQueue(const std::string& name);
  ~ComQueue() override;

  // Settings and framing; those of a default configuration until then.
  void Configure(const ComQueueConfig& config);
  // Waits one WaitMilliseconds for a block.
  std::shared_ptr<Message> Receive() override;

  ComLine& Line() const { return *line_; }

 private:
  std::shared_ptr<Message> WaitForBlock();

  std::unique_ptr<ComLine> line_;
};

// The queue kind "com".
class KIV_API ComQueueInfo final : public QueueInfo {
 public:
  // The zero-based index of the port that a name means: COM3 and 3 give 2. -1
  // for a name without a number from 1 on.
  static int PortIndex(const char* name);
  // A name with a port index, or the path of a device.
  static bool IsPortName(const char* name);

  // Whether the port can be opened now.
  bool Create(const char* name, const char* label, bool transactional) override;
  bool Delete(const char* name) override;
  // For every port name, present or not: a port may be plugged in later.
  std::shared_ptr<Queue> Open(const char* name, int access,
                              int share_mode) override;
};

}  // namespace kiv::mq

#endif  // KIV_MQ_COM_QUEUE_H_
