#ifndef TESTING_EVENTUALLY_H_
#define TESTING_EVENTUALLY_H_

#include <chrono>
#include <thread>

namespace kiv::testing {

// Whether the condition comes true before the time is over.
template <class Condition>
bool Eventually(Condition condition,
                std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace kiv::testing

#endif  // TESTING_EVENTUALLY_H_
