#include "xdb/atomic_value.h"

#include <cmath>
#include <limits>

#include "xdb/xquery/values/lexical.h"

namespace kiv::xdb {
namespace {

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

}  // namespace

std::string NumberText(double value) {
  std::string text;
  xq::AppendDouble(value, text);
  return text;
}

double NumberOfText(const std::string& text) {
  double value;
  return xq::ParseDouble(xq::TrimSpace(text), value)
             ? value
             : std::numeric_limits<double>::quiet_NaN();
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

}  // namespace kiv::xdb
