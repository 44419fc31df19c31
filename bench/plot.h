#ifndef BENCH_PLOT_H_
#define BENCH_PLOT_H_

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace bench {

// Points in the order of x, both from 0 on.
struct Plot {
  std::string title;
  std::string x_name;
  std::string y_name;
  std::vector<std::pair<double, double>> points;
};

// As a picture in SVG: each point, and the median of those around it as a line.
void WritePlot(const Plot& plot, const std::filesystem::path& file);

}  // namespace bench

#endif  // BENCH_PLOT_H_
