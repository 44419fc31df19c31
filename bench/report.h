#ifndef BENCH_REPORT_H_
#define BENCH_REPORT_H_

#include <cstddef>
#include <string>
#include <vector>

// What a run measured, as a table for people and as JSON for the page.
namespace bench {

struct Result {
  std::string name;
  std::string unit;
  std::string peer_name;
  double ours = 0;
  double peer = 0;
  double ratio = 0;  // 0: there is none
  double target = 1;
  bool is_whole = true;  // each size of the curve was measured
  bool is_met = false;
  // One of the two: the benchmark that has its curve, why there is none.
  std::string curve;
  std::string constant;
  std::size_t size = 0;  // that these figures are of; 0: of none
};

struct LeftOut {
  std::string name;
  std::string reason;
};

struct Plot {
  struct Point {
    double x;
    std::vector<double> values;  // one a line
    double ratio;                // 0: there is none
  };
  std::string name;  // of its benchmark
  std::string unit;
  std::string x_name;
  std::vector<std::string> lines;
  std::vector<Point> points;
};

void PrintTable(const std::vector<Result>& results);
void PrintPlots(const std::vector<Plot>& plots);

// Names, units and reasons are this program's own and need no escaping.
void WriteReport(const std::vector<Result>& results,
                 const std::vector<LeftOut>& left_out, const std::string& path);
void WritePlots(const std::vector<Plot>& plots, const std::string& path);

}  // namespace bench

#endif  // BENCH_REPORT_H_
