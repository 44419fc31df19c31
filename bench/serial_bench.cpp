// A serial line at the full speed of a pseudo-terminal: the reader of a queue
// against a plain read loop with the same framing.
#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "compare.h"
#include "kiv/dom.h"
#include "kiv/mq/com_queue.h"
#include "kiv/mq/com_queue_reader.h"
#include "kiv/mq/queue_config.h"
#include "testing/pseudo_terminal.h"

namespace {

using kiv::testing::PseudoTerminal;

constexpr int kBlocks = 20'000;
constexpr std::string_view kSentence =
    "$GPGGA,092750.000,5321.6802,N,00630.3372,W,1,8,1.03,61.7,M,55.2,M,,*76";

// Counts to kBlocks, over and over.
class BlockCounter final : public kiv::module::Module {
 public:
  bool process_mem(const char* data, int length, void*) override {
    benchmark::DoNotOptimize(data[length > 0 ? length - 1 : 0]);
    if (++count_ % kBlocks == 0) {
      rounds_.fetch_add(1);
      rounds_.notify_one();
    }
    return true;
  }
  int Rounds() const { return rounds_; }
  void WaitBehind(int round) const { rounds_.wait(round); }

 private:
  long count_ = 0;
  std::atomic<int> rounds_{0};
};

// A queue on the line whose processor is the counter.
class LineQueue final : public kiv::mq::QueueConfig {
 public:
  LineQueue(const std::string& device,
            std::shared_ptr<kiv::module::Module> counter) {
    const std::string text =
        "<q type='com' name='" + device + "' processor='none'/>";
    kiv::DomParser parser;
    kiv::DomDocument document;
    kiv::DomElement element;
    parser.parseMem(text.data(), static_cast<unsigned>(text.size()), document);
    document.GetDocumentElement(element);
    Init(element, std::make_shared<kiv::mq::ComQueueReader>(element, this));
    queue_info_ = std::make_shared<kiv::mq::ComQueueInfo>();
    module_ = std::move(counter);
  }
};

void SendRounds(benchmark::State& state, PseudoTerminal& line,
                const BlockCounter& counter, std::size_t block_bytes) {
  std::string block;
  while (block.size() < block_bytes) block += kSentence;
  block.resize(block_bytes);
  std::string stream;
  for (int i = 0; i < kBlocks; ++i) stream += block + "\r\n";
  for (auto _ : state) {
    const int round = counter.Rounds();
    line.Send(stream);
    counter.WaitBehind(round);
  }
}

void Reader(benchmark::State& state, std::size_t block_bytes) {
  PseudoTerminal line;
  const auto counter = std::make_shared<BlockCounter>();
  const auto queue = std::make_shared<LineQueue>(line.Device(), counter);
  queue->GetQueueReader()->Start();
  SendRounds(state, line, *counter, block_bytes);
  queue->Stop();
}

// What one would write for one port and one program.
void ReadLoop(int port, kiv::module::Module& processor) {
  char buffer[8192];
  std::size_t held = 0;
  for (;;) {
    const ssize_t got = ::read(port, buffer + held, sizeof buffer - held);
    if (got <= 0) return;
    const std::size_t end = held + static_cast<std::size_t>(got);
    std::size_t begin = 0;
    std::size_t from = held;
    while (auto* event = static_cast<char*>(
               std::memchr(buffer + from, '\r', end - from))) {
      const std::size_t stop = static_cast<std::size_t>(event - buffer);
      if (buffer[begin] == '\n') ++begin;
      processor.process_mem(buffer + begin, static_cast<int>(stop - begin),
                            nullptr);
      begin = from = stop + 1;
    }
    held = end - begin;
    std::memmove(buffer, buffer + begin, held);
  }
}

void PlainLoop(benchmark::State& state, std::size_t block_bytes) {
  PseudoTerminal line;
  BlockCounter counter;
  const int port = ::open(line.Device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  std::thread reader([&] { ReadLoop(port, counter); });
  SendRounds(state, line, counter, block_bytes);
  line.Unplug();
  reader.join();
  ::close(port);
}

const bool framed_blocks = bench::Compare(
    {"mq/serial_blocks", "blocks/s", bench::Always(kBlocks), "plain read loop",
     0.9},
    bench::Curve{"bytes of a block", kSentence.size(), {10, 300, 1000}}, Reader,
    PlainLoop);

}  // namespace
