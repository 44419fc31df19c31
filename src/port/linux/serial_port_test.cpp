#include "port/serial_port.h"

#include <asm/termbits.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "port/test_folder.h"
#include "testing/pseudo_terminal.h"

namespace kiv::port {
namespace {

using testing::PseudoTerminal;
using Outcome = SerialPort::Outcome;

std::unique_ptr<SerialPort> OpenOrDie(const std::string& device) {
  std::string reason;
  auto port = SerialPort::Open(device, reason);
  EXPECT_NE(port, nullptr) << reason;
  return port;
}

TEST(SerialDevice, FollowsPathThenVariableThenNumber) {
  ::unsetenv("KIV_COM3");
  EXPECT_EQ(SerialDevice("COM3", 2), "/dev/ttyS2");
  ::setenv("KIV_COM3", "/dev/serial/by-id/scale", 1);
  EXPECT_EQ(SerialDevice("COM3", 2), "/dev/serial/by-id/scale");
  EXPECT_EQ(SerialDevice("/dev/ttyUSB0", -1), "/dev/ttyUSB0");
  ::setenv("KIV_COM3", "", 1);
  EXPECT_EQ(SerialDevice("COM3", 2), "/dev/ttyS2");
  ::unsetenv("KIV_COM3");
  EXPECT_EQ(SerialDevice("gate", -1), "");
}

TEST(SerialPortOpen, RefusesWhatIsNoTerminalWithoutBlocking) {
  const TestFolder folder;
  ASSERT_EQ(::mkfifo("fifo", 0600), 0);
  WriteTestFile("file", "text");
  for (const char* name : {"fifo", "file", "missing", ".", "/dev/null"}) {
    std::string reason;
    EXPECT_EQ(SerialPort::Open(name, reason), nullptr) << name;
    EXPECT_FALSE(reason.empty()) << name;
  }
}

TEST(SerialPortConfigure, SetsAnyRateAndNamesWhatTheDeviceRefuses) {
  PseudoTerminal line;
  const auto port = OpenOrDie(line.Device());
  std::string reason;
  EXPECT_TRUE(port->Configure({123456, 8, 'N', 2}, reason)) << reason;
  termios2 mode{};
  ASSERT_EQ(::ioctl(line.FarEnd(), TCGETS2, &mode), 0);
  EXPECT_EQ(mode.c_ospeed, 123456u);
  EXPECT_NE(mode.c_cflag & CSTOPB, 0u);
  EXPECT_EQ(mode.c_lflag & (ICANON | ECHO | ISIG), 0u);
  EXPECT_EQ(mode.c_iflag & (ICRNL | IXON | ISTRIP), 0u);
  // A pseudo-terminal has eight bits and no parity.
  EXPECT_FALSE(port->Configure({0, 7, 'E', 3}, reason));
  EXPECT_EQ(reason, "BaudRate 0, DataLength 7, Parity E, StopBits 3");
  EXPECT_FALSE(port->Configure({9600, 9, 'x', 0}, reason));
  EXPECT_EQ(reason, "DataLength 9, Parity x, StopBits 0");
}

TEST(SerialPortRead, GivesBytesUntouchedAndTellsHowTheWaitEnded) {
  PseudoTerminal line;
  const auto port = OpenOrDie(line.Device());
  WakeEvent stop;
  char bytes[64];
  std::size_t size = 0;
  EXPECT_EQ(port->Read(bytes, sizeof bytes, 1, stop, size), Outcome::TimedOut);

  // What a terminal would translate or act on.
  const std::string sent("\r\n\x03\x04\x11\x13\x7f\0\xff\xd6\xd0", 11);
  line.Send(sent);
  ASSERT_EQ(port->Read(bytes, sizeof bytes, 5000, stop, size), Outcome::Bytes);
  EXPECT_EQ(std::string(bytes, size), sent);

  std::thread stopper([&stop] { stop.Set(); });
  EXPECT_EQ(port->Read(bytes, sizeof bytes, 60000, stop, size),
            Outcome::Stopped);
  stopper.join();

  const WakeEvent never;
  line.Unplug();
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(port->Read(bytes, sizeof bytes, 60000, never, size),
              Outcome::Unplugged);
}

}  // namespace
}  // namespace kiv::port
