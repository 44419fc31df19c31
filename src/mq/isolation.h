#ifndef MQ_ISOLATION_H_
#define MQ_ISOLATION_H_

#include <memory>
#include <string>

#include "kiv/module/module.h"

namespace kiv {
class DomElement;
}

namespace kiv::module {

// Whether a processor runs in a process of its own, where it can harm nobody.
struct Isolation {
  static constexpr char kAttribute[] = "isolation";  // "process" or "none"
  static constexpr char kTimeLimit[] = "timeLimit";  // seconds
  static constexpr char kProcess[] = "process";
  static constexpr char kNone[] = "none";
  // For what has no attribute.
  static constexpr char kVariable[] = "KIV_PROCESSOR_ISOLATION";
  static constexpr int kDefaultTimeLimit = 300;

  bool is_isolated = false;
  // For one message; 0: none.
  int time_limit_seconds = kDefaultTimeLimit;
};

// What the element of a queue or a directory says, else the environment.
Isolation ReadIsolation(const DomElement& element);

// As Module::create, in a process of its own where that is asked for.
// `queue_text` is the element of the queue, an XML document, when its
// processor's context is a ComQueueConfig; without it the context is a
// FileQueueFile or null.
std::shared_ptr<Module> CreateModule(const std::string& description,
                                     const Isolation& isolation,
                                     const std::string& queue_text);

}  // namespace kiv::module

#endif  // MQ_ISOLATION_H_
