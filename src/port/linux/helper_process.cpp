#include "port/helper_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include "port/file.h"
#include "port/linux/descriptor.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

constexpr int kLinkDescriptor = 3;
// What is longer goes through memory.
constexpr std::size_t kLongestInline = 65'536;
constexpr std::size_t kLongestPacket = 2 * kLongestInline;
// Memory is used again for the next body: fresh pages cost more than the copy.
// After a longer one it is given back.
constexpr std::size_t kMostKept = 16'777'216;

// Where the body is: behind the head, in memory whose descriptor comes with the
// packet, or in that of the packet before.
enum class Place : std::uint32_t { Inline, NewMemory, SameMemory };

struct Frame {
  std::uint32_t head_size;
  Place place;
  std::uint64_t body_size;
};

class LinuxPacket final : public Packet {
 public:
  LinuxPacket() = default;
  ~LinuxPacket() override {
    if (memory_ != nullptr) ::munmap(memory_, frame_.body_size);
  }
  LinuxPacket(const LinuxPacket&) = delete;
  LinuxPacket& operator=(const LinuxPacket&) = delete;

  std::string_view Head() const override {
    return {bytes_.get(), frame_.head_size};
  }
  std::string_view Body() const override {
    if (memory_ != nullptr)
      return {static_cast<const char*>(memory_), frame_.body_size};
    return {bytes_.get() + frame_.head_size, frame_.body_size};
  }

  // False when the other side is gone, or does not speak as we do. `memory` is
  // that of the packet before, and then of this one.
  bool Read(int socket, Descriptor& memory) {
    // The size first: most messages are far from the longest.
    const ssize_t whole =
        Retry([&] { return ::recv(socket, nullptr, 0, MSG_PEEK | MSG_TRUNC); });
    if (whole < static_cast<ssize_t>(sizeof frame_) ||
        whole > static_cast<ssize_t>(kLongestPacket))
      return false;
    const std::size_t room_left =
        static_cast<std::size_t>(whole) - sizeof frame_;
    bytes_ = std::make_unique_for_overwrite<char[]>(room_left);
    std::array<iovec, 2> pieces{iovec{&frame_, sizeof frame_},
                                iovec{bytes_.get(), room_left}};
    alignas(cmsghdr) char room[CMSG_SPACE(sizeof(int))];
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = pieces.size();
    message.msg_control = room;
    message.msg_controllen = sizeof room;
    const ssize_t got =
        Retry([&] { return ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC); });
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
      if (part->cmsg_type != SCM_RIGHTS) continue;
      int fd = -1;
      ::memcpy(&fd, CMSG_DATA(part), sizeof fd);
      memory = Descriptor(fd);
    }
    if (got < static_cast<ssize_t>(sizeof frame_) ||
        (message.msg_flags & MSG_TRUNC) != 0)
      return false;
    const std::size_t size = static_cast<std::size_t>(got) - sizeof frame_;
    if (frame_.place == Place::Inline)
      return frame_.head_size <= size &&
             frame_.body_size == size - frame_.head_size;
    const bool is_mapped = frame_.head_size == size && Map(memory);
    if (frame_.body_size > kMostKept) memory = Descriptor();
    return is_mapped;
  }

 private:
  bool Map(const Descriptor& file) {
    struct stat entry {};
    if (!file.is_open() || frame_.body_size == 0 ||
        ::fstat(file.get(), &entry) != 0 ||
        static_cast<std::uint64_t>(entry.st_size) < frame_.body_size)
      return false;
    // Private: a processor that writes to what it is given changes its own
    // copy.
    void* const memory =
        ::mmap(nullptr, frame_.body_size, PROT_READ | PROT_WRITE, MAP_PRIVATE,
               file.get(), 0);
    if (memory == MAP_FAILED) return false;
    memory_ = memory;
    return true;
  }

  Frame frame_{};
  std::unique_ptr<char[]> bytes_;
  void* memory_ = nullptr;
};

class SocketLink final : public PacketLink {
 public:
  explicit SocketLink(Descriptor socket) : socket_(std::move(socket)) {}

  // The other side receives nothing more; what it sends still arrives.
  void CloseSending() { ::shutdown(socket_.get(), SHUT_WR); }

  bool Send(std::string_view head, std::string_view body) override {
    const bool is_long = body.size() > kLongestInline;
    Frame frame{static_cast<std::uint32_t>(head.size()), Place::Inline,
                body.size()};
    std::array<iovec, 3> pieces{
        iovec{&frame, sizeof frame},
        iovec{const_cast<char*>(head.data()), head.size()},
        iovec{const_cast<char*>(body.data()), body.size()}};
    alignas(cmsghdr) char room[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = is_long ? 2 : 3;
    if (is_long) {
      frame.place =
          sent_memory_.is_open() ? Place::SameMemory : Place::NewMemory;
      if (!PutIntoMemory(body)) return false;
      if (frame.place == Place::NewMemory)
        Attach(sent_memory_.get(), room, message);
    }
    const bool is_sent =
        Retry([&] {
          return ::sendmsg(socket_.get(), &message, MSG_NOSIGNAL);
        }) >= 0;
    if (body.size() > kMostKept) sent_memory_ = Descriptor();
    return is_sent;
  }

  Received Receive(std::unique_ptr<Packet>& packet, int timeout_ms) override {
    if (timeout_ms >= 0 && !HasPacketWithin(timeout_ms))
      return Received::TimedOut;
    auto read = std::make_unique<LinuxPacket>();
    if (!read->Read(socket_.get(), received_memory_)) return Received::Closed;
    packet = std::move(read);
    return Received::Packet;
  }

 private:
  // The packet before was answered: nobody reads what is there any more.
  bool PutIntoMemory(std::string_view body) {
    if (!sent_memory_.is_open())
      sent_memory_ = Descriptor(::memfd_create("kiv-message", MFD_CLOEXEC));
    return sent_memory_.is_open() &&
           ::lseek(sent_memory_.get(), 0, SEEK_SET) == 0 &&
           WriteAll(sent_memory_.get(), body);
  }
  static void Attach(int fd, char (&room)[CMSG_SPACE(sizeof(int))],
                     msghdr& message) {
    message.msg_control = room;
    message.msg_controllen = sizeof room;
    cmsghdr* const part = CMSG_FIRSTHDR(&message);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof(int));
    ::memcpy(CMSG_DATA(part), &fd, sizeof fd);
  }

  bool HasPacketWithin(int timeout_ms) const {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
    pollfd wait{socket_.get(), POLLIN, 0};
    for (;;) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now())
              .count();
      const int ready = ::poll(&wait, 1, static_cast<int>(left > 0 ? left : 0));
      if (ready > 0) return true;
      if (ready == 0) return false;
    }
  }

  const Descriptor socket_;
  Descriptor sent_memory_;
  Descriptor received_memory_;
};

// Without what tells a service how to speak to its manager: the helper is none.
std::vector<char*> HelperEnvironment() {
  std::vector<char*> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text(*variable);
    if (!text.starts_with("NOTIFY_SOCKET=") && !text.starts_with("WATCHDOG_"))
      variables.push_back(*variable);
  }
  variables.push_back(nullptr);
  return variables;
}

// 0, and `process` filled, or the error.
int Spawn(const std::string& file, int link, pid_t& process) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawnattr_init(&attributes);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null",
                                     O_RDONLY, 0);
  // Onto itself, too, this leaves it open in the new program.
  ::posix_spawn_file_actions_adddup2(&actions, link, kLinkDescriptor);
  ::posix_spawn_file_actions_addclosefrom_np(&actions, kLinkDescriptor + 1);
  sigset_t none;
  sigemptyset(&none);
  ::posix_spawnattr_setsigmask(&attributes, &none);
  // Ctrl-C is for the host, which lets its processors finish.
  ::posix_spawnattr_setpgroup(&attributes, 0);
  ::posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  char* const words[] = {const_cast<char*>(file.c_str()), nullptr};
  std::vector<char*> environment = HelperEnvironment();
  const int error = ::posix_spawn(&process, file.c_str(), &actions, &attributes,
                                  words, environment.data());
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&actions);
  return error;
}

class LinuxHelperProcess final : public HelperProcess {
 public:
  LinuxHelperProcess(pid_t process, Descriptor socket)
      : process_(process), link_(std::move(socket)) {}
  ~LinuxHelperProcess() override {
    if (process_ == 0) return;
    link_.CloseSending();
    if (!HasEndedWithin(kPatienceMs)) Kill();
  }
  LinuxHelperProcess(const LinuxHelperProcess&) = delete;
  LinuxHelperProcess& operator=(const LinuxHelperProcess&) = delete;

  PacketLink& Link() override { return link_; }

  std::string End() override {
    // One that crashes closes its link shortly before it has ended.
    if (process_ != 0 && !(IsClosed() && HasEndedWithin(kPatienceMs))) Kill();
    return end_;
  }

 private:
  // A dump of a large process takes its time, and so may an orderly end.
  static constexpr int kPatienceMs = 2000;

  bool HasEndedWithin(int milliseconds) {
    for (int i = 0; i <= milliseconds; ++i) {
      int status = 0;
      const pid_t ended =
          Retry([&] { return ::waitpid(process_, &status, WNOHANG); });
      if (ended != 0) {
        Note(ended, status);
        return true;
      }
      ::usleep(1000);
    }
    return false;
  }
  void Kill() {
    ::kill(process_, SIGKILL);
    int status = 0;
    Note(Retry([&] { return ::waitpid(process_, &status, 0); }), status);
  }
  void Note(pid_t ended, int status) {
    if (ended == process_) end_ = HowItEnded(status);
    process_ = 0;
  }

  bool IsClosed() {
    std::unique_ptr<Packet> ignored;
    return link_.Receive(ignored, 0) == PacketLink::Received::Closed;
  }
  static std::string HowItEnded(int status) {
    if (WIFEXITED(status))
      return "exit code " + std::to_string(WEXITSTATUS(status));
    const char* const name = ::sigdescr_np(WTERMSIG(status));
    return "signal " + std::to_string(WTERMSIG(status)) +
           (name != nullptr ? std::string(" (") + name + ")" : "");
  }

  pid_t process_;
  SocketLink link_;
  std::string end_ = "unknown";
};

}  // namespace

std::unique_ptr<HelperProcess> HelperProcess::Start(const std::string& program,
                                                    std::string& reason) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    reason = ErrorText(errno);
    return nullptr;
  }
  Descriptor ours(ends[0]);
  const Descriptor theirs(ends[1]);
  pid_t process = 0;
  const int error = Spawn(SystemPath(program), theirs.get(), process);
  if (error != 0) {
    reason = program + ": " + ErrorText(error);
    return nullptr;
  }
  return std::make_unique<LinuxHelperProcess>(process, std::move(ours));
}

std::unique_ptr<PacketLink> LinkToParent() {
  int type = 0;
  socklen_t size = sizeof type;
  if (::getsockopt(kLinkDescriptor, SOL_SOCKET, SO_TYPE, &type, &size) != 0 ||
      type != SOCK_SEQPACKET ||
      ::fcntl(kLinkDescriptor, F_SETFD, FD_CLOEXEC) != 0)
    return nullptr;
  std::thread([] {
    pollfd wait{kLinkDescriptor, 0, 0};
    while (::poll(&wait, 1, -1) <= 0 || (wait.revents & POLLHUP) == 0) {
    }
    ::_exit(1);
  }).detach();
  return std::make_unique<SocketLink>(Descriptor(kLinkDescriptor));
}

}  // namespace kiv::port
