#include "plot.h"

#include <algorithm>
#include <cmath>
#include <fstream>

namespace bench {
namespace {

constexpr double kWidth = 720;
constexpr double kHeight = 360;
constexpr double kLeft = 70;
constexpr double kRight = 20;
constexpr double kTop = 40;
constexpr double kBottom = 50;
// So many on either side of a point count for the line.
constexpr std::size_t kReach = 4;

// 1, 2 or 5 times a power of ten, of which about five reach `most`.
double StepFor(double most) {
  const double rough = most / 5;
  const double power = std::pow(10, std::floor(std::log10(rough)));
  for (const double times : {1, 2, 5})
    if (rough <= times * power) return times * power;
  return 10 * power;
}

struct Axis {
  double step;
  double end;
};

Axis AxisTo(double most) {
  const double step = StepFor(most);
  return {step, step * std::ceil(most / step)};
}

std::string WithCommas(double number) {
  std::string text = std::to_string(std::llround(number));
  for (auto at = static_cast<long>(text.size()) - 3; at > 0; at -= 3)
    text.insert(static_cast<std::size_t>(at), ",");
  return text;
}

double MedianAround(const Plot& plot, std::size_t n) {
  const std::size_t first = n < kReach ? 0 : n - kReach;
  const std::size_t end = std::min(plot.points.size(), n + kReach + 1);
  std::vector<double> values;
  for (std::size_t i = first; i < end; ++i)
    values.push_back(plot.points[i].second);
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

class Picture {
 public:
  Picture(const Plot& plot, const std::filesystem::path& file)
      : plot_(plot), file_(file) {
    double x_most = 1;
    double y_most = 1;
    for (const auto& [x, y] : plot.points) {
      x_most = std::max(x_most, x);
      y_most = std::max(y_most, y);
    }
    x_ = AxisTo(x_most);
    y_ = AxisTo(y_most);
  }

  void Write() {
    file_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 "
          << kWidth << ' ' << kHeight
          << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
          << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    Text(kWidth / 2, 22, "middle", plot_.title);
    Text((kLeft + kWidth - kRight) / 2, kHeight - 10, "middle", plot_.x_name);
    Text(kLeft, kTop - 8, "end", plot_.y_name);
    WriteScales();
    for (const auto& [x, y] : plot_.points)
      file_ << "<circle cx=\"" << AtX(x) << "\" cy=\"" << AtY(y)
            << "\" r=\"1.6\" fill=\"#8ab\"/>\n";
    file_ << "<polyline fill=\"none\" stroke=\"#036\" stroke-width=\"1.5\" "
             "points=\"";
    for (std::size_t i = 0; i < plot_.points.size(); ++i)
      file_ << AtX(plot_.points[i].first) << ',' << AtY(MedianAround(plot_, i))
            << ' ';
    file_ << "\"/>\n</svg>\n";
  }

 private:
  static double Round(double at) { return std::round(at * 10) / 10; }
  double AtX(double x) const {
    return Round(kLeft + x / x_.end * (kWidth - kLeft - kRight));
  }
  double AtY(double y) const {
    return Round(kHeight - kBottom - y / y_.end * (kHeight - kTop - kBottom));
  }

  void Text(double x, double y, const char* anchor, const std::string& text) {
    file_ << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\""
          << anchor << "\">" << text << "</text>\n";
  }
  void Line(double x1, double y1, double x2, double y2) {
    file_ << "<line x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2
          << "\" y2=\"" << y2 << "\" stroke=\"#ccc\"/>\n";
  }
  void WriteScales() {
    for (int n = 0; n * y_.step <= y_.end; ++n) {
      const double at = AtY(n * y_.step);
      Line(kLeft, at, kWidth - kRight, at);
      Text(kLeft - 8, at + 4, "end", WithCommas(n * y_.step));
    }
    for (int n = 0; n * x_.step <= x_.end; ++n) {
      const double at = AtX(n * x_.step);
      Line(at, kHeight - kBottom, at, kHeight - kBottom + 5);
      Text(at, kHeight - kBottom + 18, "middle", WithCommas(n * x_.step));
    }
  }

  const Plot& plot_;
  std::ofstream file_;
  Axis x_;
  Axis y_;
};

}  // namespace

void WritePlot(const Plot& plot, const std::filesystem::path& file) {
  Picture(plot, file).Write();
}

}  // namespace bench
