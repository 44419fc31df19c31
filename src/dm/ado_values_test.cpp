#include <cmath>
#include <cstring>
#include <memory>
#include <tuple>
#include <vector>

#include "dm/data_test_fixture.h"
#include "dm/words.h"
#include "kiv/date_time.h"

namespace dm {
namespace {

using Variant = std::shared_ptr<VARIANT>;

Variant Empty(VARTYPE type) {
  Variant variant(new VARIANT, [](VARIANT* v) {
    VariantClear(v);
    delete v;
  });
  VariantInit(variant.get());
  variant->vt = type;
  return variant;
}

template <typename T>
Variant Of(VARTYPE type, T VARIANT::*member, T value) {
  Variant variant = Empty(type);
  variant.get()->*member = value;
  return variant;
}

// Of a type each.
Variant Text(const char16_t* text) {
  return Of(VT_BSTR, &VARIANT::bstrVal, SysAllocString(text));
}
Variant I1(std::int8_t value) { return Of(VT_I1, &VARIANT::cVal, value); }
Variant U2(std::uint16_t value) { return Of(VT_UI2, &VARIANT::uiVal, value); }
Variant Int(std::int32_t value) { return Of(VT_I4, &VARIANT::lVal, value); }
Variant U4(std::uint32_t value) { return Of(VT_UI4, &VARIANT::ulVal, value); }
Variant U8(std::uint64_t value) { return Of(VT_UI8, &VARIANT::ullVal, value); }
Variant Real(double value) { return Of(VT_R8, &VARIANT::dblVal, value); }
Variant Single(float value) { return Of(VT_R4, &VARIANT::fltVal, value); }
Variant Long(std::int64_t value) { return Of(VT_I8, &VARIANT::llVal, value); }
Variant Day(double value) { return Of(VT_DATE, &VARIANT::date, value); }
Variant Money(std::int64_t value) {
  return Of(VT_CY, &VARIANT::cyVal, CY{value});
}
Variant True() { return Of(VT_BOOL, &VARIANT::boolVal, VARIANT_TRUE); }
Variant Decimal(std::uint8_t scale, std::uint8_t sign, std::uint32_t high,
                std::uint64_t low) {
  return Of(VT_DECIMAL, &VARIANT::decVal, DECIMAL{0, scale, sign, high, low});
}
Variant Bytes(const std::string& bytes) {
  Variant variant = Empty(VT_ARRAY | VT_UI1);
  variant->parray = SafeArrayCreateVector(
      VT_UI1, 0, static_cast<std::uint32_t>(bytes.size()));
  std::memcpy(variant->parray->pvData, bytes.data(), bytes.size());
  return variant;
}

constexpr char kNone[] = "nothing";

template <typename T>
std::string Number(const char* kind, const void* object) {
  return kind + std::to_string(ValueOf<T>(object));
}

std::string DateShown(const kiv::DateTime& date) {
  return "date " + std::to_string(date.Ticks());
}

std::string Shown(const Any& object) {
  if (!object) return kNone;
  const void* const o = object.get();
  switch (object.object().GetTypeId()) {
    case DM_INT16:
      return Number<std::int16_t>("i16 ", o);
    case DM_INT32:
      return Number<std::int32_t>("i32 ", o);
    case DM_INT64:
      return Number<std::int64_t>("i64 ", o);
    case DM_BYTE:
      return Number<std::uint8_t>("byte ", o);
    case DM_BOOLEAN:
      return Number<bool>("bool ", o);
    case DM_FLOAT:
      return Number<float>("float ", o);
    case DM_DOUBLE:
      return Number<double>("double ", o);
    case DM_STRING:
      return "'" + TextOf(o) + "'";
    case DM_DATE_TIME:
      return DateShown(ValueOf<kiv::DateTime>(o));
    case DM_GUID:
      return std::string(static_cast<const char*>(dm_o_data(o)), 16);
    default:
      const auto* const bytes = static_cast<const char*>(dm_o_vector_at(o, 0));
      return "bytes " + std::string(bytes, dm_o_vector_count(o));
  }
}

// The types of fields that show it so.
using AdoCase = std::tuple<const char*, Variant, std::string, std::vector<int>>;

std::vector<AdoCase> AdoCases() {
  const std::string lowest = "i64 -9223372036854775808";
  const char* const kGuid = "0123456789ABCdef";
  const std::string noon = DateShown({2004, 1, 31, 12, 0, 0, 0});
  const std::string bytes("a\0b", 3);
  return {
      // As numbers.
      {"NoType", Int(1), kNone, {0, 9, 12, 64, 132, 137, 206, -1, 8195}},
      {"Missing", Empty(VT_NULL), kNone, {3, 5, 7, 8, 11, 17, 72, 128}},
      {"Small", Int(-5), "i16 -5", {2, 18}},
      {"SmallTooLarge", Int(32768), kNone, {2, 18}},
      {"Integer", Int(-70000), "i32 -70000", {3, 10, 19}},
      {"ErrorCode", Of(VT_ERROR, &VARIANT::scode, HRESULT{-2}), "i32 -2", {10}},
      {"UnsignedKeepsBits", U4(3'000'000'000), "i32 -1294967296", {19}},
      {"UnsignedSmall", U2(40000), "i16 -25536", {18}},
      {"HalfToEvenUp", Real(-3.5), "i32 -4", {3}},
      {"HalfToEvenDown", Real(2.5), "i32 2", {3}},
      {"DecimalHalfDown", Decimal(1, 0, 0, 25), "i64 2", {20}},
      {"CurrencyAboveHalf", Money(25001), "i32 3", {3}},
      {"NoNumber", Real(std::nan("")), kNone, {3, 7, 20}},
      {"RealTooLarge", Real(9223372036854775808.0), kNone, {20}},
      {"RealLowest", Real(-9223372036854775808.0), lowest, {20}},
      {"UnsignedBig", U8(1ULL << 63), lowest, {21}},
      {"TextExact", Text(u"9007199254740993 "), "i64 9007199254740993", {20}},
      {"TextRounds", Text(u"+1e2"), "i32 100", {3}},
      {"TextNoNumber", Text(u"12 kg"), kNone, {3, 4, 5, 7, 11, 16, 72, 128}},
      {"TrueIsMinusOne", True(), "i16 -1", {2}},
      {"TrueFillsAByte", True(), "byte 255", {17}},
      {"Byte", Int(200), "byte 200", {16, 17}},
      {"TinyKeepsItsBits", I1(-1), "byte 255", {16}},
      {"Single", Real(0.5), "float 0.500000", {4}},
      {"SingleTooLarge", Real(1e39), kNone, {4}},
      {"Double", Real(-0.25), "double -0.250000", {5, 6, 14, 131, 139}},
      {"Currency", Money(-12345678), "double -1234.567800", {6}},
      {"Decimal", Decimal(2, 0x80, 0, 12345), "double -123.450000", {131}},
      {"DecimalToBig", Decimal(1, 0, 0, 15), "i64 2", {20}},
      {"DecimalTooLarge", Decimal(0, 0, 1, 0), kNone, {20}},
      {"DecimalBadScale", Decimal(29, 0, 0, 1), kNone, {3, 5}},
      {"NotZero", Real(0.2), "bool 1", {11}},
      {"Word", Text(u" FALSE"), "bool 0", {11}},
      // As texts and others.
      // 错
      {"Gb", Text(u"\u9519"), "'\xB4\xED'", {8, 129, 130, 200, 201, 202, 203}},
      {"TextNull", Text(nullptr), "''", {8}},
      {"OfNumber", Long(-7), "'-7'", {202}},
      {"OfUnsigned", U8(UINT64_MAX), "'18446744073709551615'", {202}},
      {"OfZero", Real(0), "'0'", {202}},
      {"OfSmall", Real(0.0001), "'0.0001'", {202}},
      {"OfSmaller", Real(-0.00001), "'-1e-05'", {202}},
      {"OfBeyond", Real(1e15), "'1e+15'", {202}},
      // A single of that size holds 100000000376832.
      {"OfSingle", Single(1e14f), "'100000000000000'", {202}},
      {"OfDate", Day(38017.5), "'2004-01-31 12:00:00'", {202}},
      {"OfCurrency", Money(INT64_MIN), "'-922337203685477.5808'", {8}},
      {"OfDecimal", Decimal(3, 0x80, 1, 0), "'-18446744073709551.616'", {8}},
      {"Date", Day(38017.5), noon, {7, 133, 134, 135}},
      {"DateBeyond", Day(2958466), kNone, {7}},
      {"DateText", Text(u" 2004-01-31 12:00:00\t"), noon, {135}},
      {"DateTextIsCut", Text(u"2004-01-31T12:00:00.0009"), noon, {135}},
      {"Guid", Text(u" {33323130-3534-3736-3839-414243646566}"), kGuid, {72}},
      {"GuidHalf", Text(u"{01234567-89ab-cdef-1032-547698badcfe"), kNone, {72}},
      {"GuidBytes", Bytes(kGuid), kGuid, {72}},
      {"GuidShort", Bytes("0123456789ABCDE"), kNone, {72}},
      {"Binary", Bytes(bytes), "bytes " + bytes, {128, 204, 205}},
  };
}

using FromAdoDb = DataTest;

TEST_F(FromAdoDb, ConvertsByTheFieldsType) {
  for (const auto& [name, value, shown, types] : AdoCases())
    for (const int type : types) {
      SCOPED_TRACE(name + (" as " + std::to_string(type)));
      const Any object = Object::FromAdoDb(*value, type);
      EXPECT_EQ(Shown(object), shown);
      EXPECT_EQ(dm_o_get_ref(object.get()), object ? 1 : 0);
    }
}

TEST(Bstr, KnowsItsLength) {
  const BSTR text = SysAllocStringLen(u"ab\0d", 4);
  EXPECT_EQ(SysStringLen(text), 4u);
  EXPECT_EQ(text[4], u'\0');
  SysFreeString(text);
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  EXPECT_EQ(SysAllocStringLen(u"", 0x80000000u), nullptr);
}

}  // namespace
}  // namespace dm
