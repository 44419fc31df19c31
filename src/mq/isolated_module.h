#ifndef MQ_ISOLATED_MODULE_H_
#define MQ_ISOLATED_MODULE_H_

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "kiv/module/module.h"
#include "mq/isolation.h"
#include "port/helper_process.h"

namespace kiv::module {

// A processor function in a helper process of its own. When the process ends,
// or does not answer in time, the message counts as failed and another process
// is started, after a pause that grows with every failure in a row.
class IsolatedModule final : public Module {
 public:
  // `file` and `function` as for DllFileModule.
  IsolatedModule(const std::string& file, const std::string& function,
                 const Isolation& isolation, const std::string& queue_text);

  bool process_mem(const char* data, int length, void* context) override;

 private:
  using Clock = std::chrono::steady_clock;

  bool Start();
  // False when there is none.
  bool TakeAnswer(bool& answer);
  // Ends the process, if there is one, and has the next start wait.
  void Drop(const std::string& fault);

  const std::string file_;
  const std::string function_;
  const Isolation isolation_;
  const std::string queue_text_;

  std::mutex mutex_;
  std::unique_ptr<port::HelperProcess> helper_;
  Clock::time_point next_start_{};
  Clock::duration pause_{};
};

}  // namespace kiv::module

#endif  // MQ_ISOLATED_MODULE_H_
