#include "xdb/xquery/values/cast_rules.h"

#include <iterator>

namespace kiv::xdb::xq {
namespace {

// The types below which all others lie, in the order of the columns.
constexpr Type kColumns[] = {
    Type::UntypedAtomic,
    Type::String,
    Type::Float,
    Type::Double,
    Type::Decimal,
    Type::Integer,
    Type::Duration,
    Type::YearMonthDuration,
    Type::DayTimeDuration,
    Type::DateTime,
    Type::Time,
    Type::Date,
    Type::GYearMonth,
    Type::GYear,
    Type::GMonthDay,
    Type::GDay,
    Type::GMonth,
    Type::Boolean,
    Type::Base64Binary,
    Type::HexBinary,
    Type::AnyUri,
    Type::QName,
    Type::Notation,
};

// Y always, M for some values, - never.
struct MatrixRow {
  Type from;
  const char* rules;
};
constexpr MatrixRow kMatrix[] = {
    // uA  flt     dur     dT          gMD     boo   aURI
    //   str dbl dec   yMD     tim  gYM    gDay  b64    QN
    //             int     dTD   dat  gYr     gMon  hxB    NOT
    {Type::UntypedAtomic, "YYMMMMMMMMMMMMMMMMMMM--"},
    {Type::String, "YYMMMMMMMMMMMMMMMMMMM--"},
    {Type::Float, "YYYYMM-----------Y-----"},
    {Type::Double, "YYYYMM-----------Y-----"},
    {Type::Decimal, "YYYYYY-----------Y-----"},
    {Type::Integer, "YYYYYY-----------Y-----"},
    {Type::Duration, "YY----YYY--------------"},
    {Type::YearMonthDuration, "YY----YYY--------------"},
    {Type::DayTimeDuration, "YY----YYY--------------"},
    {Type::DateTime, "YY-------YYYYYYYY------"},
    {Type::Time, "YY--------Y------------"},
    {Type::Date, "YY-------Y-YYYYYY------"},
    {Type::GYearMonth, "YY----------Y----------"},
    {Type::GYear, "YY-----------Y---------"},
    {Type::GMonthDay, "YY------------Y--------"},
    {Type::GDay, "YY-------------Y-------"},
    {Type::GMonth, "YY--------------Y------"},
    {Type::Boolean, "YYYYYY-----------Y-----"},
    {Type::Base64Binary, "YY----------------YY---"},
    {Type::HexBinary, "YY----------------YY---"},
    {Type::AnyUri, "YY------------------Y--"},
    {Type::QName, "YY-------------------Y-"},
    {Type::Notation, "YY-------------------YM"},
};

constexpr std::size_t kSide = std::size(kColumns);
static_assert(std::size(kMatrix) == kSide);

constexpr std::size_t IndexOf(Type type) {
  return static_cast<std::size_t>(type);
}

}  // namespace

constinit const CastRules kCastRules = [] {
  CastRules rules{};
  for (const MatrixRow& row : kMatrix) {
    for (std::size_t i = 0; i < kSide; ++i) {
      rules[IndexOf(row.from)][IndexOf(kColumns[i])] =
          row.rules[i] == 'Y'   ? CastRule::Always
          : row.rules[i] == 'M' ? CastRule::Maybe
                                : CastRule::Never;
    }
  }
  return rules;
}();

}  // namespace kiv::xdb::xq
