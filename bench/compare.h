#ifndef BENCH_COMPARE_H_
#define BENCH_COMPARE_H_

#include <benchmark/benchmark.h>

#include <filesystem>
#include <functional>
#include <string>

// A comparison of ours with a peer, both measured in one run: the two sides
// take turns, as benchmarks <name>/ours and <name>/<peer>, and the medians are
// compared.
namespace bench {

using Body = std::function<void(benchmark::State&)>;

struct Comparison {
  std::string name;  // folder/what, as "util/md5"
  std::string unit;  // of the reported figures, as "MB/s"
  // How much of the unit one iteration is worth: figures are
  // amount / seconds an iteration.
  double amount = 1;
  std::string peer_name;
  double target = 1;  // ours / peer, at least
};

// For registration before main: static const bool registered = Compare(...).
bool Compare(Comparison comparison, Body ours, Body peer);

// A figure that must stay below a limit, measured once by `measure`. Reported
// with the limit as the peer and limit / figure as the ratio.
bool StayBelow(std::string name, std::string unit, double limit,
               std::function<double()> measure);

// Where a case leaves what else it has to show: beside the report.
std::filesystem::path OutputFolder();

}  // namespace bench

#endif  // BENCH_COMPARE_H_
