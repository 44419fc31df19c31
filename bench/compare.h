#ifndef BENCH_COMPARE_H_
#define BENCH_COMPARE_H_

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>
#include <variant>
#include <vector>

// Comparisons of ours with a peer in one run, and figures that must stay below
// a limit. Each says what its figures may grow with: the same run measures it
// at other sizes too, as a curve. Each size has a process of its own, so that
// the state of the allocator, say, is not what another one has left.
//
// For registration before main: static const bool registered = Compare(...).
namespace bench {

// At several sizes, one of which the benchmark itself is measured at.
struct Curve {
  std::string by;  // what grows, with its unit
  std::size_t compared;
  std::vector<std::size_t> others;
};
// The benchmark is one more point of another one's curve.
struct OnCurveOf {
  std::string name;
  std::size_t compared;
};
// The benchmark adds the points, by AddPoint.
struct OwnCurve {
  std::string unit;
  std::string by;
};
// Why nothing grows.
struct Constant {
  std::string reason;
};
using Growth = std::variant<Curve, OnCurveOf, OwnCurve, Constant>;

// How much of its unit a benchmark does in one go, at a size.
using Amount = std::function<double(std::size_t size)>;
inline double One(std::size_t) { return 1; }
inline double Size(std::size_t size) { return static_cast<double>(size); }
inline double Megabytes(std::size_t bytes) { return Size(bytes) / 1e6; }
inline Amount Always(double amount) {
  return [amount](std::size_t) { return amount; };
}

struct Comparison {
  std::string name;  // folder/what, as "util/md5"
  std::string unit;  // of the figures, which are amounts a second: "MB/s"
  Amount amount;     // of one iteration
  std::string peer_name;
  double target;  // how many times the peer's figure, at least
};

using Body = std::function<void(benchmark::State&, std::size_t size)>;

bool Compare(Comparison comparison, Growth growth, const Body& ours,
             const Body& peer);

// Seconds of the two sides, round by round.
struct Rounds {
  std::vector<double> ours;
  std::vector<double> peer;
};
// Rounds go on from the least to the most while there is time.
struct Effort {
  int least;
  int most;
  double seconds;
};
// Each side is the first of every other round, so that neither always follows
// the other. A step says how many seconds it took, 0 when it failed: there are
// no rounds then.
Rounds TakeTurns(const Effort& effort, const std::function<double()>& ours,
                 const std::function<double()>& peer);

// For sides that are no loop of the benchmark library.
bool CompareRounds(
    Comparison comparison, Growth growth,
    std::function<Rounds(std::size_t size, const Effort& effort)> measure);

struct Limit {
  std::string name;
  std::string unit;
  double most;
};

// Reported with the limit as the peer and limit / figure as the ratio.
bool StayBelow(Limit limit, Growth growth,
               std::function<double(std::size_t size)> measure);

// For an OwnCurve.
void AddPoint(double x, double ours);

// For a figure that cannot be measured here: the report says why.
bool LeaveOut(std::string name, std::string reason);

double Median(std::vector<double> values);

}  // namespace bench

#endif  // BENCH_COMPARE_H_
