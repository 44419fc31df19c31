#include "xdb/atomic_value.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

namespace kiv::xdb {
namespace {

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class StringValue final : public QueryValue {
 public:
  explicit StringValue(std::string value) : value_(std::move(value)) {}
  Kind kind() const override { return Kind::String; }
  std::string AsString() const override { return value_; }
  double AsNumber() const override { return NumberOfText(value_); }
  bool AsBoolean() const override { return !value_.empty(); }
  bool Equals(const QueryValue& other) const override {
    return other.kind() == Kind::String && other.AsString() == value_;
  }

 private:
  const std::string value_;
};

class NumberValue final : public QueryValue {
 public:
  explicit NumberValue(double value) : value_(value) {}
  Kind kind() const override { return Kind::Number; }
  std::string AsString() const override { return NumberText(value_); }
  double AsNumber() const override { return value_; }
  bool AsBoolean() const override { return value_ != 0 && !std::isnan(value_); }
  bool Equals(const QueryValue& other) const override {
    return other.kind() == Kind::Number && other.AsNumber() == value_;
  }

 private:
  const double value_;
};

class BooleanValue final : public QueryValue {
 public:
  explicit BooleanValue(bool value) : value_(value) {}
  Kind kind() const override { return Kind::Boolean; }
  std::string AsString() const override { return value_ ? "true" : "false"; }
  double AsNumber() const override { return value_ ? 1 : 0; }
  bool AsBoolean() const override { return value_; }
  bool Equals(const QueryValue& other) const override {
    return other.kind() == Kind::Boolean && other.AsBoolean() == value_;
  }

 private:
  const bool value_;
};

class NullValue final : public QueryValue {
 public:
  Kind kind() const override { return Kind::Null; }
  std::string AsString() const override { return ""; }
  double AsNumber() const override { return 0; }
  bool AsBoolean() const override { return false; }
  bool Equals(const QueryValue& other) const override {
    return other.kind() == Kind::Null;
  }
};

std::string Written(double value, std::chars_format format) {
  // The longest is the smallest in fixed form: a sign, "0.", zeros and digits.
  char digits[64];
  const auto end =
      std::to_chars(digits, digits + sizeof digits, value, format).ptr;
  return {digits, end};
}

std::string_view WithoutBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

}  // namespace

std::string NumberText(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "INF" : "-INF";
  const double size = std::fabs(value);
  if (size == 0 || (size >= 1e-6 && size < 1e6))
    return Written(value, std::chars_format::fixed);
  // 1e+06 is written 1.0E6.
  std::string text = Written(value, std::chars_format::scientific);
  const std::size_t e = text.find('e');
  const int exponent = std::stoi(text.substr(e + 1));
  std::string mantissa = text.substr(0, e);
  if (mantissa.find('.') == std::string::npos) mantissa += ".0";
  return mantissa + "E" + std::to_string(exponent);
}

double NumberOfText(const std::string& text) {
  std::string_view digits = WithoutBlanks(text);
  if (digits == "INF") return kInfinity;
  if (digits == "-INF") return -kInfinity;
  if (!digits.empty() && digits.front() == '+') {
    digits.remove_prefix(1);
    if (!digits.empty() && digits.front() == '-') return kNotANumber;
  }
  // It would take "inf" and "nan" of any case, too.
  if (digits.find_first_not_of("0123456789.eE+-") != std::string_view::npos)
    return kNotANumber;
  double value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value);
  if (stop != end || error == std::errc::invalid_argument) return kNotANumber;
  if (error == std::errc::result_out_of_range) {
    const bool is_small = digits.find("e-") != std::string_view::npos ||
                          digits.find("E-") != std::string_view::npos;
    const double magnitude = is_small ? 0.0 : kInfinity;
    return digits.front() == '-' ? -magnitude : magnitude;
  }
  return value;
}

std::shared_ptr<const QueryValue> MakeString(std::string value) {
  return std::make_shared<StringValue>(std::move(value));
}
std::shared_ptr<const QueryValue> MakeNumber(double value) {
  return std::make_shared<NumberValue>(value);
}
std::shared_ptr<const QueryValue> MakeBoolean(bool value) {
  return std::make_shared<BooleanValue>(value);
}
std::shared_ptr<const QueryValue> MakeNull() {
  return std::make_shared<NullValue>();
}

}  // namespace kiv::xdb
