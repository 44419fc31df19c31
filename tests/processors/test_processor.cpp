// The processor library of the tests. What its functions receive goes to a sink
// that the test sets.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

// One line of the journal that KIV_TEST_JOURNAL names; there whatever becomes
// of the process.
void Write(const std::string& line) {
  const int journal = ::open(std::getenv("KIV_TEST_JOURNAL"),
                             O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (journal < 0 || ::write(journal, line.data(), line.size()) !=
                         static_cast<ssize_t>(line.size()))
    std::abort();
  ::close(journal);
}

using Sink = bool (*)(void* receiver, const char* bytes, int length,
                      void* context);

// What a processor has to do at its end.
struct Farewell {
  std::string text;
  ~Farewell() {
    if (!text.empty()) Write(text);
  }
};
Farewell g_farewell;

Sink g_sink = nullptr;
void* g_receiver = nullptr;

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED void SetSink(Sink sink, void* receiver) {
  g_sink = sink;
  g_receiver = receiver;
}

EXPORTED bool Record(const char* bytes, int length, void* context) {
  return g_sink != nullptr && g_sink(g_receiver, bytes, length, context);
}

EXPORTED bool Throw(const char*, int, void*) {
  throw std::runtime_error("out of paper");
}

EXPORTED bool ThrowNumber(const char*, int, void*) { throw 42; }

// For a host in a process of its own: what it is given, begun and ended. A
// message that begins with "hang" is never ended.
EXPORTED bool Journal(const char* bytes, int length, void*) {
  const std::string message(bytes, static_cast<std::size_t>(length));
  Write("begin " + message + '\n');
  if (message.starts_with("hang"))
    for (;;) ::sleep(60);
  ::usleep(300);
  Write("end " + message + '\n');
  return true;
}

// For a processor in a process of its own: does what the message says, and
// writes down what it was given and by whom. The rest it answers with true.
EXPORTED bool Obey(const char* bytes, int length, void* context) {
  const std::string message(bytes, static_cast<std::size_t>(length));
  const std::string process = std::to_string(::getpid()) + ' ';
  const std::string shown = length < 100 ? message
                                         : std::to_string(length) + ' ' +
                                               message.front() + message.back();
  Write(process + shown + (context != nullptr ? " with context\n" : "\n"));
  if (message == "abort") std::abort();
  if (message == "exit") ::_exit(3);
  if (message == "throw") throw std::runtime_error("out of paper");
  if (message == "refuse") return false;
  if (message == "farewell")
    g_farewell.text = process + message + " at the end\n";
  while (message == "hang") ::sleep(60);
  return true;
}
