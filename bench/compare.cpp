// Usage: kiv_bench [FILTER] [--report FILE]. FILTER is a part of a comparison's
// name. Exits 1 when a target is missed.
#include "compare.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <utility>
#include <vector>

#include "kiv/startup.h"

namespace bench {
namespace {

constexpr int kRounds = 7;
constexpr int kGrowthRounds = 3;

struct Pair {
  Comparison comparison;
  Body ours;
  Body peer;
};

struct Growing {
  Growth growth;
  SizedBody ours;
  SizedBody peer;
};

struct Limit {
  std::string name;
  std::string unit;
  double limit;
  std::function<double()> measure;
};

struct Result {
  std::string name;
  std::string unit;
  double ours;
  std::string peer_name;
  double peer;
  double ratio;
  double target;
  bool is_met() const { return ratio >= target; }
};

struct LeftOut {
  std::string name;
  std::string reason;
};

// Made on first use: the cases register themselves before main.
std::vector<Pair>& Pairs() {
  static std::vector<Pair> pairs;
  return pairs;
}

std::vector<Growing>& Growths() {
  static std::vector<Growing> growths;
  return growths;
}

std::vector<Limit>& Limits() {
  static std::vector<Limit> limits;
  return limits;
}

std::vector<LeftOut>& AllLeftOut() {
  static std::vector<LeftOut> left_out;
  return left_out;
}

std::vector<Curve>& Curves() {
  static std::vector<Curve> curves;
  return curves;
}

// Seconds an iteration of every round, by the benchmark's name.
using Seconds = std::map<std::string, std::vector<double>, std::less<>>;

class Collector : public benchmark::BenchmarkReporter {
 public:
  explicit Collector(Seconds& seconds) : seconds_(seconds) {}

  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(),
                     run.error_message.c_str());
        continue;
      }
      seconds_[run.run_name.function_name].push_back(
          run.real_accumulated_time / static_cast<double>(run.iterations));
    }
  }

 private:
  Seconds& seconds_;
};

std::string SideName(const Comparison& comparison, const std::string& side) {
  return comparison.name + '/' + side;
}

void RunSide(const std::string& name, const Body& body, Seconds& seconds) {
  benchmark::RegisterBenchmark(name.c_str(), body)
      ->MinTime(0.15)
      ->UseRealTime();
  Collector collector(seconds);
  benchmark::RunSpecifiedBenchmarks(&collector);
  benchmark::ClearRegisteredBenchmarks();
}

// The two sides in turns, each the first of every other round: a slow spell of
// the machine falls on both, and neither always follows the other.
void RunInTurns(const Pair& pair, int rounds, const std::string& ours,
                const std::string& peer, Seconds& seconds) {
  for (int round = 0; round < rounds; ++round) {
    const bool ours_first = round % 2 == 0;
    if (ours_first) RunSide(ours, pair.ours, seconds);
    RunSide(peer, pair.peer, seconds);
    if (!ours_first) RunSide(ours, pair.ours, seconds);
  }
}

// Nothing where one of the sides failed, which is said already.
std::vector<Curve::Point> PointsOf(const Growing& growing) {
  const auto at = [](const SizedBody& body, double size) {
    return [&body, size](benchmark::State& state) { body(state, size); };
  };
  std::vector<Curve::Point> points;
  for (const double size : growing.growth.sizes) {
    const std::string ours = growing.growth.name + "/ours";
    const std::string peer = growing.growth.name + "/peer";
    Seconds seconds;
    RunInTurns({{}, at(growing.ours, size), at(growing.peer, size)},
               kGrowthRounds, ours, peer, seconds);
    const double ours_seconds = Median(seconds[ours]);
    const double peer_seconds = Median(seconds[peer]);
    if (ours_seconds <= 0 || peer_seconds <= 0) return {};
    const double amount = growing.growth.amount(size);
    points.push_back({size, {amount / ours_seconds, amount / peer_seconds}});
  }
  return points;
}

void RunGrowths(const std::string& filter) {
  for (const Growing& growing : Growths()) {
    const Growth& growth = growing.growth;
    if (growth.name.find(filter) == std::string::npos) continue;
    AddCurve({growth.name,
              growth.unit,
              growth.x_name,
              {"ours", growth.peer_name},
              PointsOf(growing)});
    std::fprintf(stderr, "%s done\n", growth.name.c_str());
  }
}

std::vector<Result> Run(const std::string& filter) {
  const auto is_wanted = [&](const std::string& name) {
    return name.find(filter) != std::string::npos;
  };
  Seconds seconds;
  std::vector<Result> results;
  for (const Pair& pair : Pairs()) {
    if (!is_wanted(pair.comparison.name)) continue;
    const Comparison& comparison = pair.comparison;
    const std::string ours = SideName(comparison, "ours");
    const std::string peer = SideName(comparison, comparison.peer_name);
    RunInTurns(pair, kRounds, ours, peer, seconds);
    const double ours_seconds = Median(seconds[ours]);
    const double peer_seconds = Median(seconds[peer]);
    const bool is_measured = ours_seconds > 0 && peer_seconds > 0;
    results.push_back({comparison.name, comparison.unit,
                       is_measured ? comparison.amount / ours_seconds : 0,
                       comparison.peer_name,
                       is_measured ? comparison.amount / peer_seconds : 0,
                       is_measured ? peer_seconds / ours_seconds : 0,
                       comparison.target});
    std::fprintf(stderr, "%s done\n", comparison.name.c_str());
  }
  for (const Limit& limit : Limits()) {
    if (!is_wanted(limit.name)) continue;
    const double figure = limit.measure();
    results.push_back({limit.name, limit.unit, figure, "limit", limit.limit,
                       figure > 0 ? limit.limit / figure : 0, 1});
    std::fprintf(stderr, "%s done\n", limit.name.c_str());
  }
  return results;
}

std::vector<LeftOut> LeftOutBy(const std::string& filter) {
  std::vector<LeftOut> wanted;
  for (const LeftOut& one : AllLeftOut())
    if (one.name.find(filter) != std::string::npos) wanted.push_back(one);
  return wanted;
}

void PrintTable(const std::vector<Result>& results) {
  std::printf("%-32s %12s %-12s %12s  %-14s %7s %7s  %s\n", "name", "ours",
              "unit", "peer", "peer name", "ratio", "target", "met");
  for (const Result& result : results) {
    std::printf("%-32s %12.4g %-12s %12.4g  %-14s %7.2f %7.2f  %s\n",
                result.name.c_str(), result.ours, result.unit.c_str(),
                result.peer, result.peer_name.c_str(), result.ratio,
                result.target, result.is_met() ? "yes" : "NO");
  }
}

// Names, units and peers are this program's own and need no escaping.
void WriteReport(const std::vector<Result>& results,
                 const std::vector<LeftOut>& left_out,
                 const std::string& path) {
  std::ofstream file(path);
  file << '[';
  const char* between = "\n";
  for (const Result& result : results) {
    file << between << "  {\"name\": \"" << result.name << "\", \"unit\": \""
         << result.unit << "\", \"ours\": " << result.ours
         << ", \"peer_name\": \"" << result.peer_name
         << "\", \"peer\": " << result.peer << ", \"ratio\": " << result.ratio
         << ", \"target\": " << result.target
         << ", \"met\": " << (result.is_met() ? "true" : "false") << '}';
    between = ",\n";
  }
  for (const LeftOut& one : left_out) {
    file << between << "  {\"name\": \"" << one.name << "\", \"left_out\": \""
         << one.reason << "\"}";
    between = ",\n";
  }
  file << "\n]\n";
}

// A list of JSON; `write` writes one.
template <class Items, class Write>
void WriteList(std::ostream& out, const Items& items, Write write) {
  const char* between = "";
  for (const auto& item : items) {
    out << between;
    write(item);
    between = ", ";
  }
}

void WriteCurves(const std::vector<Curve>& curves,
                 const std::filesystem::path& path) {
  std::ofstream file(path);
  const auto write_text = [&](const std::string& text) {
    file << '"' << text << '"';
  };
  const auto write_number = [&](double number) { file << number; };
  file << "[";
  WriteList(file, curves, [&](const Curve& curve) {
    file << "\n  {\"name\": \"" << curve.name << "\", \"unit\": \""
         << curve.unit << "\", \"x_name\": \"" << curve.x_name
         << "\", \"lines\": [";
    WriteList(file, curve.lines, write_text);
    file << "], \"points\": [";
    WriteList(file, curve.points, [&](const Curve::Point& point) {
      file << '[' << point.x << ", ";
      WriteList(file, point.values, write_number);
      file << ']';
    });
    file << "]}";
  });
  file << "\n]\n";
}

void PrintCurves(const std::vector<Curve>& curves) {
  for (const Curve& curve : curves) {
    std::printf("\n%s, %s, by %s:", curve.name.c_str(), curve.unit.c_str(),
                curve.x_name.c_str());
    for (const std::string& line : curve.lines)
      std::printf(" %s", line.c_str());
    for (const Curve::Point& point : curve.points) {
      std::printf("\n%12.7g", point.x);
      for (const double value : point.values) std::printf(" %12.4g", value);
    }
    std::printf("\n");
  }
}

}  // namespace

bool Compare(Comparison comparison, Body ours, Body peer) {
  Pairs().push_back({std::move(comparison), std::move(ours), std::move(peer)});
  return true;
}

bool CompareGrowth(Growth growth, SizedBody ours, SizedBody peer) {
  Growths().push_back({std::move(growth), std::move(ours), std::move(peer)});
  return true;
}

bool StayBelow(std::string name, std::string unit, double limit,
               std::function<double()> measure) {
  Limits().push_back(
      {std::move(name), std::move(unit), limit, std::move(measure)});
  return true;
}

bool LeaveOut(std::string name, std::string reason) {
  AllLeftOut().push_back({std::move(name), std::move(reason)});
  return true;
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void AddCurve(Curve curve) { Curves().push_back(std::move(curve)); }

}  // namespace bench

int main(int argc, char** argv) {
  std::string filter;
  std::string report;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--report") == 0 && i + 1 < argc) {
      report = std::filesystem::absolute(argv[++i]);
    } else {
      filter = argv[i];
    }
  }
  char* options[] = {argv[0], nullptr};
  int option_count = 1;
  benchmark::Initialize(&option_count, options);

  kiv::GlobalInit();
  const std::vector<bench::Result> results = bench::Run(filter);
  bench::RunGrowths(filter);
  kiv::GlobalUninit();
  const std::vector<bench::Curve>& curves = bench::Curves();

  bench::PrintTable(results);
  bench::PrintCurves(curves);
  if (!report.empty()) {
    bench::WriteReport(results, bench::LeftOutBy(filter), report);
    bench::WriteCurves(
        curves, std::filesystem::path(report).parent_path() / "growth.json");
  }
  if (results.empty() && curves.empty() && bench::LeftOutBy(filter).empty()) {
    std::fprintf(stderr, "no comparison is called so: %s\n", filter.c_str());
    return 1;
  }
  const bool all_met =
      std::all_of(
          results.begin(), results.end(),
          [](const bench::Result& result) { return result.is_met(); }) &&
      std::none_of(curves.begin(), curves.end(), [](const bench::Curve& curve) {
        return curve.points.empty();
      });
  return all_met ? 0 : 1;
}
