#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>

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

Variant Text(const char16_t* text) {
  return Of(VT_BSTR, &VARIANT::bstrVal, SysAllocString(text));
}
Variant Int(std::int32_t value) { return Of(VT_I4, &VARIANT::lVal, value); }
Variant Real(double value) { return Of(VT_R8, &VARIANT::dblVal, value); }
Variant Single(float value) { return Of(VT_R4, &VARIANT::fltVal, value); }
Variant Long(std::int64_t value) { return Of(VT_I8, &VARIANT::llVal, value); }
Variant Day(double value) { return Of(VT_DATE, &VARIANT::date, value); }
Variant Money(std::int64_t value) {
  return Of(VT_CY, &VARIANT::cyVal, CY{value});
}
Variant Truth(bool value) {
  return Of(VT_BOOL, &VARIANT::boolVal, value ? VARIANT_TRUE : VARIANT_FALSE);
}
Variant Decimal(std::uint8_t scale, bool negative, std::uint32_t high,
                std::uint64_t low) {
  return Of(VT_DECIMAL, &VARIANT::decVal,
            DECIMAL{0, scale, static_cast<std::uint8_t>(negative ? 0x80 : 0),
                    high, low});
}
Variant Bytes(const std::string& bytes) {
  Variant variant = Empty(VT_ARRAY | VT_UI1);
  variant->parray = SafeArrayCreateVector(
      VT_UI1, 0, static_cast<std::uint32_t>(bytes.size()));
  if (!bytes.empty()) {
    std::memcpy(variant->parray->pvData, bytes.data(), bytes.size());
  }
  return variant;
}

std::string Shown(const Any& object) {
  if (!object) return "nothing";
  const void* const o = object.get();
  switch (object.object().GetTypeId()) {
    case DM_INT16:
      return "i16 " + std::to_string(ValueOf<std::int16_t>(o));
    case DM_INT32:
      return "i32 " + std::to_string(ValueOf<std::int32_t>(o));
    case DM_INT64:
      return "i64 " + std::to_string(ValueOf<std::int64_t>(o));
    case DM_BYTE:
      return "byte " + std::to_string(ValueOf<std::uint8_t>(o));
    case DM_BOOLEAN:
      return ValueOf<bool>(o) ? "true" : "false";
    case DM_FLOAT:
      return "float " + std::to_string(ValueOf<float>(o));
    case DM_DOUBLE:
      return "double " + std::to_string(ValueOf<double>(o));
    case DM_STRING:
      return "'" + TextOf(o) + "'";
    case DM_DATE_TIME:
      return "date " + std::to_string(ValueOf<kiv::DateTime>(o).Ticks());
    case DM_GUID: {
      char text[37];
      const GUID guid = ValueOf<GUID>(o);
      dm_guid_to_string(&guid, text, sizeof text);
      return text;
    }
    case DM_BINARY: {
      const std::size_t count = dm_o_vector_count(o);
      const auto* const bytes = static_cast<const char*>(dm_o_vector_at(o, 0));
      return "bytes " + (count == 0 ? "" : std::string(bytes, count));
    }
    default:
      return "?";
  }
}

std::string TicksOf(const kiv::DateTime& date) {
  return "date " + std::to_string(date.Ticks());
}

struct AdoCase {
  const char* name;
  std::vector<int> types;
  Variant value;
  std::string shown;
};

std::vector<AdoCase> AdoCases() {
  const double kMax = std::numeric_limits<double>::max();
  const std::string noon = TicksOf({2004, 1, 31, 12, 0, 0, 0});
  const char* const kGuid = "01234567-89ab-cdef-1032-547698badcfe";
  return {
      {"NoObjectForThese",
       {0,  9,  12, 13,  64,  132, 136, 138, 1,    15,
        22, 71, 73, 127, 137, 140, 206, -1,  8192, 8195},
       Int(1),
       "nothing"},
      {"Small", {2, 18}, Int(-5), "i16 -5"},
      {"SmallTooLarge", {2, 18}, Int(32768), "nothing"},
      {"Integer", {3, 10, 19}, Int(-70000), "i32 -70000"},
      {"ErrorCode",
       {10},
       Of(VT_ERROR, &VARIANT::scode, HRESULT{-2147467259}),
       "i32 -2147467259"},
      {"UnsignedKeepsItsBits",
       {19},
       Of(VT_UI4, &VARIANT::ulVal, 3'000'000'000u),
       "i32 -1294967296"},
      {"UnsignedOfASignedField",
       {3},
       Of(VT_UI4, &VARIANT::ulVal, 3'000'000'000u),
       "nothing"},
      {"UnsignedFromMore", {19}, Long(3'000'000'000), "nothing"},
      {"UnsignedSmallKeepsItsBits",
       {18},
       Of<std::uint16_t>(VT_UI2, &VARIANT::uiVal, 40000),
       "i16 -25536"},
      {"HalfToEvenDown", {3}, Real(2.5), "i32 2"},
      {"HalfToEvenUp", {3}, Real(-3.5), "i32 -4"},
      {"NoNumber", {3, 20}, Real(std::nan("")), "nothing"},
      {"RealTooLarge", {20}, Real(9223372036854775808.0), "nothing"},
      {"RealLowest",
       {20},
       Real(-9223372036854775808.0),
       "i64 -9223372036854775808"},
      {"Big", {20, 21}, Long(INT64_MIN), "i64 -9223372036854775808"},
      {"UnsignedBigKeepsItsBits",
       {21},
       Of(VT_UI8, &VARIANT::ullVal, std::uint64_t{1} << 63),
       "i64 -9223372036854775808"},
      {"TextToBig",
       {20},
       Text(u" 9223372036854775807 "),
       "i64 9223372036854775807"},
      {"TextTooLarge", {20}, Text(u"9223372036854775808"), "nothing"},
      {"TextRounds", {3}, Text(u"+1e2"), "i32 100"},
      {"TextNoNumber",
       {2, 3, 4, 5, 7, 11, 16, 20, 72},
       Text(u"12 kg"),
       "nothing"},
      {"TextEmpty", {3, 5, 7, 11, 72}, Text(u""), "nothing"},
      {"TextNull", {8}, Of<BSTR>(VT_BSTR, &VARIANT::bstrVal, nullptr), "''"},
      {"TrueIsMinusOne", {2}, Truth(true), "i16 -1"},
      {"TrueFillsAByte", {17}, Truth(true), "byte 255"},
      {"Byte", {16, 17}, Int(200), "byte 200"},
      {"TinyKeepsItsBits",
       {16},
       Of<std::int8_t>(VT_I1, &VARIANT::cVal, -1),
       "byte 255"},
      {"ByteBelow", {16, 17}, Int(-1), "nothing"},
      {"Single", {4}, Real(0.5), "float 0.500000"},
      {"SingleTooLarge", {4}, Real(kMax), "nothing"},
      {"Double", {5, 6, 14, 131, 139}, Real(-0.25), "double -0.250000"},
      {"Currency", {6}, Money(-12345678), "double -1234.567800"},
      {"CurrencyAboveHalf", {3}, Money(25001), "i32 3"},
      {"CurrencyLowest", {8}, Money(INT64_MIN), "'-922337203685477.5808'"},
      {"CurrencyText", {129}, Money(-500), "'-0.0500'"},
      {"DecimalToDouble",
       {131},
       Decimal(2, true, 0, 12345),
       "double -123.450000"},
      {"DecimalToBig", {20}, Decimal(1, false, 0, 15), "i64 2"},
      {"DecimalWide", {20}, Decimal(10, false, 1, 0), "i64 1844674407"},
      {"DecimalTooLarge", {20}, Decimal(0, false, 1, 0), "nothing"},
      {"DecimalText", {8}, Decimal(3, true, 1, 0), "'-18446744073709551.616'"},
      {"DecimalBadScale", {3, 5}, Decimal(29, false, 0, 1), "nothing"},
      {"Date", {7, 133, 134, 135}, Day(38017.5), noon},
      {"DateBeyond", {7}, Day(2958466), "nothing"},
      {"DateNoNumber", {7}, Day(std::nan("")), "nothing"},
      {"DateText", {135}, Text(u"2004-01-31 12:00:00"), noon},
      {"DateTextT", {135}, Text(u"2004-1-31T12:0:0"), noon},
      {"DateTextDay",
       {133},
       Text(u"2004-02-29"),
       TicksOf({2004, 2, 29, 0, 0, 0, 0})},
      {"DateTextBlanks", {135}, Text(u" 2004-01-31 12:00:00\t"), noon},
      {"DateTextDayBlanks",
       {133},
       Text(u"2004-02-29 "),
       TicksOf({2004, 2, 29, 0, 0, 0, 0})},
      {"DateTextPlus", {133}, Text(u"+2004-02-29"), "nothing"},
      {"DateTextFraction",
       {135},
       Text(u"2004-01-31 12:00:00.25"),
       TicksOf({2004, 1, 31, 12, 0, 0, 250})},
      {"DateTextFractionFine",
       {135},
       Text(u"2004-01-31T12:00:00.123999999"),
       TicksOf({2004, 1, 31, 12, 0, 0, 123})},
      {"DateTextFractionLong",
       {135},
       Text(u"2004-01-31 12:00:00.1234567890"),
       "nothing"},
      {"TimeText",
       {134},
       Text(u"9:05:07.5"),
       TicksOf({1899, 12, 30, 9, 5, 7, 500})},
      {"TimeTextImpossible", {134}, Text(u"25:00:00"), "nothing"},
      {"TimeTextCut", {134}, Text(u"9:05"), "nothing"},
      {"DateTextImpossible", {133}, Text(u"2003-02-29"), "nothing"},
      {"DateTextSign", {133}, Text(u"2004--1-05"), "nothing"},
      {"Text",
       {8, 129, 130, 200, 201, 202, 203},
       Text(u"\u9519\u8BEF"),
       "'\xB4\xED\xCE\xF3'"},  // 错误
      {"NumberText", {202}, Long(-7), "'-7'"},
      {"RealText", {202}, Real(0.1), "'0.1'"},
      {"RealTextZero", {202}, Real(0), "'0'"},
      {"RealTextRound", {202}, Real(100000), "'100000'"},
      {"RealTextNegative", {202}, Real(-300000), "'-300000'"},
      {"RealTextSmall", {202}, Real(0.0001), "'0.0001'"},
      {"RealTextSmaller", {202}, Real(0.00001), "'1e-05'"},
      {"RealTextLong", {202}, Real(999999999999999.9), "'999999999999999.9'"},
      {"RealTextBeyond", {202}, Real(1e15), "'1e+15'"},
      {"RealTextLarge", {202}, Real(1e22), "'1e+22'"},
      {"SingleText", {202}, Single(0.1f), "'0.1'"},
      {"SingleTextRound", {202}, Single(300000), "'300000'"},
      {"SingleTextSmall", {202}, Single(0.0001f), "'0.0001'"},
      // A single of that size holds 100000000376832.
      {"SingleTextLong", {202}, Single(1e14f), "'100000000000000'"},
      {"SingleTextLarge", {202}, Single(1e22f), "'1e+22'"},
      {"DateAsText", {202}, Day(38017.5), "'2004-01-31 12:00:00'"},
      {"UnsignedText",
       {202},
       Of(VT_UI8, &VARIANT::ullVal, UINT64_MAX),
       "'18446744073709551615'"},
      {"True", {11}, Truth(true), "true"},
      {"NotZero", {11}, Real(0.2), "true"},
      {"TrueText", {11}, Text(u" TRUE"), "true"},
      {"FalseText", {11}, Text(u"false"), "false"},
      {"Guid", {72}, Text(u"{01234567-89AB-CDEF-1032-547698BADCFE}"), kGuid},
      {"GuidBlanks",
       {72},
       Text(u" {01234567-89ab-cdef-1032-547698badcfe}\r\n"),
       kGuid},
      {"GuidBlanksInBraces",
       {72},
       Text(u"{ 01234567-89ab-cdef-1032-547698badcfe}"),
       "nothing"},
      {"GuidHalfBraced",
       {72},
       Text(u"{01234567-89ab-cdef-1032-547698badcfe"),
       "nothing"},
      {"GuidShort", {72}, Bytes("0123456789ABCDE"), "nothing"},
      {"Binary",
       {128, 204, 205},
       Bytes(std::string("a\0b", 3)),
       std::string("bytes a\0b", 9)},
      {"BinaryEmpty", {204}, Bytes(""), "bytes "},
      {"BinaryFromText", {204}, Text(u"abc"), "nothing"},
      {"Missing",
       {2, 3, 4, 5, 6, 7, 8, 10, 11, 14, 16, 17, 18, 19, 20, 21, 72, 128, 129},
       Empty(VT_NULL),
       "nothing"},
      {"NoValue", {3, 7, 8, 11, 128}, Empty(VT_EMPTY), "nothing"},
      {"Elsewhere", {3, 8}, Empty(VT_BYREF | VT_I4), "nothing"},
  };
}

class FromAdoDb : public DataTest,
                  public testing::WithParamInterface<AdoCase> {};

TEST_P(FromAdoDb, ConvertsByTheFieldsType) {
  for (const int type : GetParam().types) {
    const Any object = Object::FromAdoDb(*GetParam().value, type);
    EXPECT_EQ(Shown(object), GetParam().shown) << type;
    if (!object) continue;
    EXPECT_EQ(Load<dm_sign>(object.get()),
              0x1000u + object.object().GetTypeId());
    EXPECT_EQ(dm_o_get_ref(object.get()), 1);
  }
}

INSTANTIATE_TEST_SUITE_P(Value, FromAdoDb, testing::ValuesIn(AdoCases()),
                         [](const auto& row) { return row.param.name; });

TEST_F(DataTest, FromAdoDbTakesAGuidOfSixteenBytes) {
  GUID guid;
  ASSERT_TRUE(dm_generate_guid(&guid));
  const std::string bytes(reinterpret_cast<const char*>(&guid), sizeof guid);
  const Any object = Object::FromAdoDb(*Bytes(bytes), 72);
  const GUID read = ValueOf<GUID>(object.get());
  EXPECT_EQ(std::memcmp(&read, &guid, sizeof guid), 0);
}

TEST(Bstr, KnowsItsLength) {
  const BSTR text = SysAllocStringLen(u"ab\0d", 4);
  EXPECT_EQ(SysStringLen(text), 4u);
  EXPECT_EQ(text[4], u'\0');
  SysFreeString(text);
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  EXPECT_EQ(SysAllocStringLen(u"", 0x80000000u), nullptr);
  SysFreeString(nullptr);
  SafeArrayDestroy(nullptr);
  VariantClear(nullptr);
}

}  // namespace
}  // namespace dm
