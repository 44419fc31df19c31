#ifndef BENCH_SHARE_OUT_H_
#define BENCH_SHARE_OUT_H_

#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

namespace bench {

// Does `work` pieces in equal shares, on this thread where there is one share.
inline void ShareOut(int work, std::size_t threads,
                     const std::function<void(int)>& body) {
  if (threads == 1) return body(work);
  std::vector<std::thread> running;
  for (std::size_t i = 0; i < threads; ++i)
    running.emplace_back(body, work / static_cast<int>(threads));
  for (std::thread& thread : running) thread.join();
}

}  // namespace bench

#endif  // BENCH_SHARE_OUT_H_
