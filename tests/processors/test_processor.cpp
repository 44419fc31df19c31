// The processor library of the tests. What its functions receive goes to a sink
// that the test sets.
#include <stdexcept>

namespace {

using Sink = bool (*)(void* receiver, const char* bytes, int length,
                      void* context);

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
