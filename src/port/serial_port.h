#ifndef PORT_SERIAL_PORT_H_
#define PORT_SERIAL_PORT_H_

#include <cstddef>
#include <memory>
#include <string>

#include "port/wake_event.h"

namespace kiv::port {

struct SerialSettings {
  int baud_rate = 19200;
  int data_bits = 8;
  char parity = 'N';  // E, M, N, O, S
  int stop_bits = 1;
};

// The device that a queue's name means: a name that begins with "/" literally,
// else COM<n> through the variable KIV_COM<n>, else /dev/ttyS<n-1>. A negative
// index gives "".
std::string SerialDevice(const std::string& name, int port_index);

// The same text for every name of one device: its node, a second node, links to
// them. A device that is not there is its name.
std::string SerialIdentity(const std::string& device);

// One open port, used by one thread. CreateFile on a COM device and its
// overlapped reads; a raw, locked tty on Linux.
class SerialPort {
 public:
  // Null on failure, with the reason in the local encoding: missing, not
  // accessible, no serial device, or in use by another program.
  static std::unique_ptr<SerialPort> Open(const std::string& device,
                                          std::string& reason);
  virtual ~SerialPort() = default;

  // False when the device refuses one of them; `reason` names it. The others
  // are in force all the same.
  virtual bool Configure(const SerialSettings& settings,
                         std::string& reason) = 0;

  // Waits until bytes came, `stop` is set or the time is over, then reads what
  // is there. Unplugged: the line is gone, and the port of no more use.
  enum class Outcome { Bytes, TimedOut, Stopped, Unplugged };
  virtual Outcome Read(char* out, std::size_t room, int timeout_ms,
                       const WakeEvent& stop, std::size_t& size) = 0;
};

}  // namespace kiv::port

#endif  // PORT_SERIAL_PORT_H_
