// Usage: kiv_bench [FILTER] [--report FILE]. FILTER is a part of a benchmark's
// name. Exits 1 when a target is missed.
#include "compare.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "kiv/startup.h"
#include "report.h"

namespace bench {
namespace {

// Of the benchmark itself, and of another point of its curve.
constexpr Effort kCompared = {.least = 8, .most = 30, .seconds = 3};
constexpr Effort kPoint = {.least = 3, .most = 10, .seconds = 0.8};
constexpr double kRoundSeconds = 0.1;

struct Figures {
  double ours = 0;  // 0 may be measured where there is a limit
  double peer = 0;
  double ratio = 0;
  bool is_measured = false;
};

struct Benchmark {
  std::string name;
  std::string unit;
  std::string peer_name;
  double target;
  bool has_limit;
  Growth growth;
  std::function<Figures(std::size_t size, const Effort& effort)> measure;
};

// Made on first use: the cases register themselves before main.
std::vector<Benchmark>& Benchmarks() {
  static std::vector<Benchmark> benchmarks;
  return benchmarks;
}

std::vector<LeftOut>& AllLeftOut() {
  static std::vector<LeftOut> left_out;
  return left_out;
}

std::vector<Plot::Point>& OwnPoints() {
  static std::vector<Plot::Point> points;
  return points;
}

std::vector<Plot>& Plots() {
  static std::vector<Plot> plots;
  return plots;
}

const Benchmark* Find(const std::string& name) {
  for (const Benchmark& benchmark : Benchmarks())
    if (benchmark.name == name) return &benchmark;
  return nullptr;
}

class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(),
                     run.error_message.c_str());
        continue;
      }
      iterations = run.iterations;
      seconds = run.real_accumulated_time / static_cast<double>(iterations);
    }
  }

  benchmark::IterationCount iterations = 0;
  double seconds = 0;  // an iteration; 0 when it failed
};

// The first run warms the side up and finds how many iterations fill a round.
class Side {
 public:
  Side(std::string name, const Body& body, std::size_t size)
      : name_(std::move(name)), body_(body), size_(size) {}

  double Seconds() {
    auto* const made = benchmark::RegisterBenchmark(
        name_.c_str(),
        [this](benchmark::State& state) { body_(state, size_); });
    made->UseRealTime();
    if (iterations_ == 0)
      made->MinTime(kRoundSeconds);
    else
      made->Iterations(iterations_);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    benchmark::ClearRegisteredBenchmarks();
    iterations_ = collector.iterations;
    return collector.seconds;
  }

 private:
  const std::string name_;
  const Body& body_;
  const std::size_t size_;
  benchmark::IterationCount iterations_ = 0;
};

Figures FiguresOf(const Rounds& rounds, double amount) {
  if (rounds.ours.empty()) return {};
  std::vector<double> ratios;
  for (std::size_t i = 0; i < rounds.ours.size(); ++i)
    ratios.push_back(rounds.peer[i] / rounds.ours[i]);
  return {amount / Median(rounds.ours), amount / Median(rounds.peer),
          Median(ratios), true};
}

// From the process of a benchmark; closed by its end.
class Pipe {
 public:
  Pipe() {
    if (pipe2(ends_, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  }
  ~Pipe() {
    close(ends_[0]);
    CloseIn();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void CloseIn() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }
  template <class T>
  void Write(const T& value) {
    if (write(ends_[1], &value, sizeof value) !=
        static_cast<ssize_t>(sizeof value))
      throw std::runtime_error("the figures were not told");
  }
  template <class T>
  bool Read(T& value) {
    return read(ends_[0], &value, sizeof value) ==
           static_cast<ssize_t>(sizeof value);
  }

 private:
  int ends_[2];
};

// In a process of its own. OwnPoints has its points.
Figures Measure(const Benchmark& benchmark, std::size_t size,
                const Effort& effort) {
  Pipe pipe;
  const pid_t child = fork();
  if (child == 0) {
    kiv::GlobalInit();
    pipe.Write(benchmark.measure(size, effort));
    for (const Plot::Point& point : OwnPoints()) {
      pipe.Write(point.x);
      pipe.Write(point.values.front());
    }
    kiv::GlobalUninit();
    std::exit(0);
  }
  pipe.CloseIn();
  Figures figures;
  if (!pipe.Read(figures)) figures = {};
  OwnPoints().clear();
  for (double x = 0, ours = 0; pipe.Read(x) && pipe.Read(ours);)
    AddPoint(x, ours);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) figures = {};
  return figures;
}

Plot& PlotOf(const Benchmark& benchmark, const std::string& by) {
  std::vector<Plot>& plots = Plots();
  for (Plot& plot : plots)
    if (plot.name == benchmark.name) return plot;
  Plot made{benchmark.name, benchmark.unit, by, {"ours"}, {}};
  if (!benchmark.has_limit) made.lines.push_back(benchmark.peer_name);
  return plots.emplace_back(std::move(made));
}

// Nothing where one of the sides failed, which is said already.
void AddTo(Plot& plot, std::size_t size, const Figures& figures) {
  if (!figures.is_measured) return;
  Plot::Point point{Size(size), {figures.ours}, 0};
  if (plot.lines.size() > 1) {
    point.values.push_back(figures.peer);
    point.ratio = figures.ratio;
  }
  const auto after =
      std::find_if(plot.points.begin(), plot.points.end(),
                   [&](const Plot::Point& other) { return other.x > point.x; });
  plot.points.insert(after, std::move(point));
}

// Measures what the growth says, and names in the result where it is to be
// seen. Gives the figures at the size that is compared.
class Grower {
 public:
  Grower(const Benchmark& benchmark, Result& result)
      : benchmark_(benchmark), result_(result) {}

  Figures operator()(const Curve& curve) {
    const Figures compared = Measure(benchmark_, curve.compared, kCompared);
    result_.curve = benchmark_.name;
    result_.size = curve.compared;
    Plot& plot = PlotOf(benchmark_, curve.by);
    AddTo(plot, curve.compared, compared);
    for (const std::size_t size : curve.others) {
      const Figures figures = Measure(benchmark_, size, kPoint);
      result_.is_whole = result_.is_whole && figures.is_measured;
      AddTo(plot, size, figures);
    }
    return compared;
  }
  Figures operator()(const OnCurveOf& other) {
    const Benchmark& owner = *Find(other.name);
    const Figures compared = Measure(benchmark_, other.compared, kCompared);
    result_.curve = owner.name;
    result_.size = other.compared;
    AddTo(PlotOf(owner, std::get<Curve>(owner.growth).by), other.compared,
          compared);
    return compared;
  }
  Figures operator()(const OwnCurve& curve) {
    const Figures compared = Measure(benchmark_, 0, kCompared);
    result_.curve = benchmark_.name;
    Plot& plot = PlotOf(benchmark_, curve.by);
    plot.unit = curve.unit;
    plot.points = OwnPoints();
    return compared;
  }
  Figures operator()(const Constant& constant) {
    result_.constant = constant.reason;
    return Measure(benchmark_, 0, kCompared);
  }

 private:
  const Benchmark& benchmark_;
  Result& result_;
};

Result Run(const Benchmark& benchmark) {
  Result result;
  result.name = benchmark.name;
  result.unit = benchmark.unit;
  result.peer_name = benchmark.peer_name;
  result.target = benchmark.target;
  const Figures figures =
      std::visit(Grower(benchmark, result), benchmark.growth);
  result.ours = figures.ours;
  result.peer = figures.peer;
  result.ratio = figures.ratio;
  result.is_met = result.is_whole && figures.is_measured &&
                  (benchmark.has_limit ? figures.ours <= figures.peer
                                       : figures.ratio >= benchmark.target);
  return result;
}

// Throws for a growth that would show nothing.
void Check(const Benchmark& benchmark) {
  const auto require = [&](bool holds) {
    if (!holds)
      throw std::logic_error(benchmark.name +
                             " says neither what it grows with nor why not");
  };
  if (const auto* const curve = std::get_if<Curve>(&benchmark.growth))
    require(!curve->by.empty() && curve->others.size() >= 2);
  if (const auto* const other = std::get_if<OnCurveOf>(&benchmark.growth)) {
    const Benchmark* const owner = Find(other->name);
    require(owner != nullptr && std::holds_alternative<Curve>(owner->growth));
  }
  if (const auto* const own = std::get_if<OwnCurve>(&benchmark.growth))
    require(!own->by.empty());
  if (const auto* const constant = std::get_if<Constant>(&benchmark.growth))
    require(!constant->reason.empty());
}

void Register(Comparison comparison, bool has_limit, Growth growth,
              std::function<Figures(std::size_t, const Effort&)> measure) {
  Benchmarks().push_back({std::move(comparison.name),
                          std::move(comparison.unit),
                          std::move(comparison.peer_name), comparison.target,
                          has_limit, std::move(growth), std::move(measure)});
}

int Main(const std::string& filter, const std::string& report) {
  const auto is_wanted = [&](const auto& one) {
    return one.name.find(filter) != std::string::npos;
  };
  for (const Benchmark& benchmark : Benchmarks()) Check(benchmark);
  std::vector<Result> results;
  for (const Benchmark& benchmark : Benchmarks()) {
    if (!is_wanted(benchmark)) continue;
    results.push_back(Run(benchmark));
    std::fprintf(stderr, "%s done\n", benchmark.name.c_str());
  }
  std::vector<LeftOut> left_out;
  std::copy_if(AllLeftOut().begin(), AllLeftOut().end(),
               std::back_inserter(left_out), is_wanted);

  PrintTable(results);
  PrintPlots(Plots());
  if (!report.empty()) {
    WriteReport(results, left_out, report);
    WritePlots(Plots(),
               std::filesystem::path(report).parent_path() / "growth.json");
  }
  if (results.empty() && left_out.empty()) {
    std::fprintf(stderr, "no benchmark is called so: %s\n", filter.c_str());
    return 1;
  }
  const bool all_met =
      std::all_of(results.begin(), results.end(),
                  [](const Result& result) { return result.is_met; }) &&
      std::none_of(Plots().begin(), Plots().end(),
                   [](const Plot& plot) { return plot.points.empty(); });
  return all_met ? 0 : 1;
}

}  // namespace

Rounds TakeTurns(const Effort& effort, const std::function<double()>& ours,
                 const std::function<double()>& peer) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::duration<double>(effort.seconds);
  Rounds rounds;
  for (int round = 0;
       round < effort.least || (round < effort.most && Clock::now() < end);
       ++round) {
    const bool is_ours_first = round % 2 == 0;
    const double first = is_ours_first ? ours() : peer();
    const double second = is_ours_first ? peer() : ours();
    if (first <= 0 || second <= 0) return {};
    rounds.ours.push_back(is_ours_first ? first : second);
    rounds.peer.push_back(is_ours_first ? second : first);
  }
  return rounds;
}

bool CompareRounds(
    Comparison comparison, Growth growth,
    std::function<Rounds(std::size_t size, const Effort& effort)> measure) {
  const Amount amount = comparison.amount;
  Register(std::move(comparison), false, std::move(growth),
           [amount, measure = std::move(measure)](std::size_t size,
                                                  const Effort& effort) {
             return FiguresOf(measure(size, effort), amount(size));
           });
  return true;
}

bool Compare(Comparison comparison, Growth growth, const Body& ours,
             const Body& peer) {
  const std::string name = comparison.name + '/';
  const std::string peer_name = comparison.peer_name;
  return CompareRounds(
      std::move(comparison), std::move(growth),
      [=](std::size_t size, const Effort& effort) -> Rounds {
        Side our_side(name + "ours", ours, size);
        Side peer_side(name + peer_name, peer, size);
        if (our_side.Seconds() <= 0 || peer_side.Seconds() <= 0) return {};
        return TakeTurns(
            effort, [&] { return our_side.Seconds(); },
            [&] { return peer_side.Seconds(); });
      });
}

bool StayBelow(Limit limit, Growth growth,
               std::function<double(std::size_t size)> measure) {
  const double most = limit.most;
  Register({std::move(limit.name), std::move(limit.unit), One, "limit", 1},
           true, std::move(growth),
           [most, measure = std::move(measure)](std::size_t size,
                                                const Effort&) -> Figures {
             const double figure = measure(size);
             return {figure, most, figure > 0 ? most / figure : 0, true};
           });
  return true;
}

void AddPoint(double x, double ours) { OwnPoints().push_back({x, {ours}, 0}); }

bool LeaveOut(std::string name, std::string reason) {
  AllLeftOut().push_back({std::move(name), std::move(reason)});
  return true;
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 != 0 ? values[middle]
                                : (values[middle - 1] + values[middle]) / 2;
}

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
  try {
    return bench::Main(filter, report);
  } catch (const std::exception& fault) {
    std::fprintf(stderr, "kiv_bench: %s\n", fault.what());
    return 1;
  }
}
