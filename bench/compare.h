#ifndef BENCH_COMPARE_H_
#define BENCH_COMPARE_H_

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

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

// For a figure that cannot be measured here: the report says why.
bool LeaveOut(std::string name, std::string reason);

double Median(std::vector<double> values);

// A comparison at several sizes, for what happens as they grow. Both sides take
// turns at each size; the report's growth.json has the medians.
struct Growth {
  std::string name;    // folder/what_by_what
  std::string unit;    // of the figures
  std::string x_name;  // what grows, with its unit
  std::vector<double> sizes;
  // How much of the unit one iteration is worth at a size.
  std::function<double(double size)> amount;
  std::string peer_name;
};

using SizedBody = std::function<void(benchmark::State&, double size)>;

bool CompareGrowth(Growth growth, SizedBody ours, SizedBody peer);

// A plot of growth.json: a line for each of `lines`.
struct Curve {
  struct Point {
    double x;
    std::vector<double> values;  // one a line
  };
  std::string name;  // folder/what
  std::string unit;
  std::string x_name;
  std::vector<std::string> lines;
  std::vector<Point> points;
};

// One that a case has measured by itself.
void AddCurve(Curve curve);

}  // namespace bench

#endif  // BENCH_COMPARE_H_
