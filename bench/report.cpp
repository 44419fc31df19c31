#include "report.h"

#include <cstdio>
#include <fstream>
#include <ostream>

namespace bench {
namespace {

// A list of JSON; `write` writes one.
template <class Items, class Write>
void WriteList(std::ostream& out, const Items& items, const char* between,
               Write write) {
  const char* before = "";
  for (const auto& item : items) {
    out << before;
    write(item);
    before = between;
  }
}

std::string Quoted(const std::string& text) { return '"' + text + '"'; }

void WriteResult(std::ostream& out, const Result& result) {
  out << "{\"name\": " << Quoted(result.name)
      << ", \"unit\": " << Quoted(result.unit) << ", \"ours\": " << result.ours
      << ", \"peer_name\": " << Quoted(result.peer_name)
      << ", \"peer\": " << result.peer << ", \"ratio\": " << result.ratio
      << ", \"target\": " << result.target
      << ", \"met\": " << (result.is_met ? "true" : "false")
      << ", \"size\": " << result.size << ", "
      << (result.curve.empty() ? "\"constant\": " + Quoted(result.constant)
                               : "\"curve\": " + Quoted(result.curve))
      << '}';
}

void WritePlot(std::ostream& out, const Plot& plot) {
  out << "{\"name\": " << Quoted(plot.name)
      << ", \"unit\": " << Quoted(plot.unit)
      << ", \"x_name\": " << Quoted(plot.x_name) << ", \"lines\": [";
  WriteList(out, plot.lines, ", ",
            [&](const std::string& line) { out << Quoted(line); });
  out << "], \"points\": [";
  WriteList(out, plot.points, ", ", [&](const Plot::Point& point) {
    out << '[' << point.x;
    for (const double value : point.values) out << ", " << value;
    out << ']';
  });
  out << "], \"ratios\": [";
  WriteList(out, plot.points, ", ",
            [&](const Plot::Point& point) { out << point.ratio; });
  out << "]}";
}

}  // namespace

void PrintTable(const std::vector<Result>& results) {
  std::printf("%-32s %12s %-12s %12s  %-14s %7s %7s  %s\n", "name", "ours",
              "unit", "peer", "peer name", "ratio", "target", "met");
  for (const Result& result : results)
    std::printf("%-32s %12.4g %-12s %12.4g  %-14s %7.2f %7.2f  %s\n",
                result.name.c_str(), result.ours, result.unit.c_str(),
                result.peer, result.peer_name.c_str(), result.ratio,
                result.target, result.is_met ? "yes" : "NO");
}

void PrintPlots(const std::vector<Plot>& plots) {
  for (const Plot& plot : plots) {
    std::printf("\n%s, %s, by %s:", plot.name.c_str(), plot.unit.c_str(),
                plot.x_name.c_str());
    for (const std::string& line : plot.lines) std::printf(" %s", line.c_str());
    for (const Plot::Point& point : plot.points) {
      std::printf("\n%12.9g", point.x);
      for (const double value : point.values) std::printf(" %12.4g", value);
      if (point.ratio > 0) std::printf(" %12.2f", point.ratio);
    }
    std::printf("\n");
  }
}

void WriteReport(const std::vector<Result>& results,
                 const std::vector<LeftOut>& left_out,
                 const std::string& path) {
  std::ofstream file(path);
  file << "[\n";
  WriteList(file, results, ",\n",
            [&](const Result& result) { WriteResult(file, result); });
  if (!results.empty() && !left_out.empty()) file << ",\n";
  WriteList(file, left_out, ",\n", [&](const LeftOut& one) {
    file << "{\"name\": " << Quoted(one.name)
         << ", \"left_out\": " << Quoted(one.reason) << '}';
  });
  file << "\n]\n";
}

void WritePlots(const std::vector<Plot>& plots, const std::string& path) {
  std::ofstream file(path);
  file.precision(9);
  file << "[\n";
  WriteList(file, plots, ",\n",
            [&](const Plot& plot) { WritePlot(file, plot); });
  file << "\n]\n";
}

}  // namespace bench
