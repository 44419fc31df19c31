#ifndef XQUERY_CASES_WORKERS_H_
#define XQUERY_CASES_WORKERS_H_

#include <chrono>
#include <cstddef>
#include <functional>

#include "judge.h"

namespace xquery_cases {

struct WorkerSettings {
  std::size_t count = 1;
  std::chrono::milliseconds limit{5000};  // for each case
};

// Judges case 0 to count - 1 in processes of their own, so that one that
// crashes or does not end is a failure of that case only. `judge` is called
// there, `done` here, once for each case and in any order.
void JudgeAll(std::size_t count, const WorkerSettings& settings,
              const std::function<Verdict(std::size_t)>& judge,
              const std::function<void(std::size_t, const Verdict&)>& done);

}  // namespace xquery_cases

#endif  // XQUERY_CASES_WORKERS_H_
