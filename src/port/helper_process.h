#ifndef PORT_HELPER_PROCESS_H_
#define PORT_HELPER_PROCESS_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

// A process of one's own for what may crash: CreateProcess with a message pipe.
namespace kiv::port {

// What one Send gave: two texts.
class Packet {
 public:
  virtual ~Packet() = default;
  virtual std::string_view Head() const = 0;
  virtual std::string_view Body() const = 0;
};

// One end of the line between the two. One thread at a time.
class PacketLink {
 public:
  virtual ~PacketLink() = default;
  // The head is short. A body of more than some kilobytes is put into memory
  // that both sides see, and copied once. False when nobody is there any more.
  virtual bool Send(std::string_view head, std::string_view body) = 0;
  enum class Received { Packet, Closed, TimedOut };
  // Without limit for a negative time.
  virtual Received Receive(std::unique_ptr<Packet>& packet, int timeout_ms) = 0;
};

// The parent's side.
class HelperProcess {
 public:
  // Runs the program, a native path, with nothing of ours open but standard
  // output and error, in a process group of its own. Null on failure; `reason`
  // then says why.
  static std::unique_ptr<HelperProcess> Start(const std::string& program,
                                              std::string& reason);
  // Ends it by force.
  virtual ~HelperProcess() = default;

  virtual PacketLink& Link() = 0;
  // Of one that has closed its link, or is to end now: how it ended, as "signal
  // 11 (Segmentation fault)".
  virtual std::string End() = 0;
};

// The helper's side: the link to the process that started it. From now on this
// process ends when that one does, whatever it is doing. Null where nobody
// started it so.
std::unique_ptr<PacketLink> LinkToParent();

}  // namespace kiv::port

#endif  // PORT_HELPER_PROCESS_H_
