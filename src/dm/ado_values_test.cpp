#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>
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

AdoCase Row(const char* name, Variant value, const std::string& shown,
            std::vector<int> types) {
  return {name, std::move(types), std::move(value), shown};
}

std::vector<AdoCase> AdoCases() {
  const double kMax = std::numeric_limits<double>::max();
  const std::string noon = TicksOf({2004, 1, 31, 12, 0, 0, 0});
  const char* const kGuid = "01234567-89ab-cdef-1032-547698badcfe";
  return {
      Row("NoObjectForThese", Int(1), "nothing",
          {0,  9,  12, 13,  64,  132, 136, 138, 1,    15,
           22, 71, 73, 127, 137, 140, 206, -1,  8192, 8195}),
      Row("Small", Int(-5), "i16 -5", {2, 18}),
      Row("SmallTooLarge", Int(32768), "nothing", {2, 18}),
      Row("Integer", Int(-70000), "i32 -70000", {3, 10, 19}),
      Row("ErrorCode", Of(VT_ERROR, &VARIANT::scode, HRESULT{-2147467259}),
          "i32 -2147467259", {10}),
      Row("UnsignedKeepsBits", U4(3'000'000'000), "i32 -1294967296", {19}),
      Row("UnsignedToSigned", U4(3'000'000'000), "nothing", {3}),
      Row("UnsignedFromMore", Long(3'000'000'000), "nothing", {19}),
      Row("UnsignedSmall", Of<std::uint16_t>(VT_UI2, &VARIANT::uiVal, 40000),
          "i16 -25536", {18}),
      Row("HalfToEvenDown", Real(2.5), "i32 2", {3}),
      Row("HalfToEvenUp", Real(-3.5), "i32 -4", {3}),
      Row("NoNumber", Real(std::nan("")), "nothing", {3, 20}),
      Row("RealTooLarge", Real(9223372036854775808.0), "nothing", {20}),
      Row("RealLowest", Real(-9223372036854775808.0),
          "i64 -9223372036854775808", {20}),
      Row("Big", Long(INT64_MIN), "i64 -9223372036854775808", {20, 21}),
      Row("UnsignedBig", U8(1ULL << 63), "i64 -9223372036854775808", {21}),
      Row("TextToBig", Text(u" 9223372036854775807 "),
          "i64 9223372036854775807", {20}),
      Row("TextTooLarge", Text(u"9223372036854775808"), "nothing", {20}),
      Row("TextRounds", Text(u"+1e2"), "i32 100", {3}),
      Row("TextNoNumber", Text(u"12 kg"), "nothing",
          {2, 3, 4, 5, 7, 11, 16, 20, 72}),
      Row("TextEmpty", Text(u""), "nothing", {3, 5, 7, 11, 72}),
      Row("TextNull", Of<BSTR>(VT_BSTR, &VARIANT::bstrVal, nullptr), "''", {8}),
      Row("TrueIsMinusOne", Truth(true), "i16 -1", {2}),
      Row("TrueFillsAByte", Truth(true), "byte 255", {17}),
      Row("Byte", Int(200), "byte 200", {16, 17}),
      Row("TinyKeepsItsBits", Of<std::int8_t>(VT_I1, &VARIANT::cVal, -1),
          "byte 255", {16}),
      Row("ByteBelow", Int(-1), "nothing", {16, 17}),
      Row("Single", Real(0.5), "float 0.500000", {4}),
      Row("SingleTooLarge", Real(kMax), "nothing", {4}),
      Row("Double", Real(-0.25), "double -0.250000", {5, 6, 14, 131, 139}),
      Row("Currency", Money(-12345678), "double -1234.567800", {6}),
      Row("CurrencyAboveHalf", Money(25001), "i32 3", {3}),
      Row("CurrencyLowest", Money(INT64_MIN), "'-922337203685477.5808'", {8}),
      Row("CurrencyText", Money(-500), "'-0.0500'", {129}),
      Row("DecimalToDouble", Decimal(2, true, 0, 12345), "double -123.450000",
          {131}),
      Row("DecimalToBig", Decimal(1, false, 0, 15), "i64 2", {20}),
      Row("DecimalWide", Decimal(10, false, 1, 0), "i64 1844674407", {20}),
      Row("DecimalTooLarge", Decimal(0, false, 1, 0), "nothing", {20}),
      Row("DecimalText", Decimal(3, true, 1, 0), "'-18446744073709551.616'",
          {8}),
      Row("DecimalBadScale", Decimal(29, false, 0, 1), "nothing", {3, 5}),
      Row("Date", Day(38017.5), noon, {7, 133, 134, 135}),
      Row("DateBeyond", Day(2958466), "nothing", {7}),
      Row("DateNoNumber", Day(std::nan("")), "nothing", {7}),
      Row("DateText", Text(u"2004-01-31 12:00:00"), noon, {135}),
      Row("DateTextT", Text(u"2004-1-31T12:0:0"), noon, {135}),
      Row("DateTextDay", Text(u"2004-02-29 "),
          TicksOf({2004, 2, 29, 0, 0, 0, 0}), {133}),
      Row("DateTextBlanks", Text(u" 2004-01-31 12:00:00\t"), noon, {135}),
      Row("DateTextPlus", Text(u"+2004-02-29"), "nothing", {133}),
      Row("DateTextFraction", Text(u"2004-01-31T12:00:00.250999999"),
          TicksOf({2004, 1, 31, 12, 0, 0, 250}), {135}),
      Row("DateTextFractionLong", Text(u"2004-01-31 12:00:00.1234567890"),
          "nothing", {135}),
      Row("TimeText", Text(u"9:05:07.5"), TicksOf({1899, 12, 30, 9, 5, 7, 500}),
          {134}),
      Row("TimeTextImpossible", Text(u"25:00:00"), "nothing", {134}),
      Row("TimeTextCut", Text(u"9:05"), "nothing", {134}),
      Row("DateTextImpossible", Text(u"2003-02-29"), "nothing", {133}),
      Row("DateTextSign", Text(u"2004--1-05"), "nothing", {133}),
      Row("Text", Text(u"\u9519\u8BEF"), "'\xB4\xED\xCE\xF3'",
          {8, 129, 130, 200, 201, 202, 203}),  // 错误
      Row("NumberText", Long(-7), "'-7'", {202}),
      Row("RealText", Real(0.1), "'0.1'", {202}),
      Row("RealTextZero", Real(0), "'0'", {202}),
      Row("RealTextNegative", Real(-300000), "'-300000'", {202}),
      Row("RealTextSmall", Real(0.0001), "'0.0001'", {202}),
      Row("RealTextSmaller", Real(0.00001), "'1e-05'", {202}),
      Row("RealTextLong", Real(999999999999999.9), "'999999999999999.9'",
          {202}),
      Row("RealTextBeyond", Real(1e15), "'1e+15'", {202}),
      Row("SingleText", Single(0.1f), "'0.1'", {202}),
      // A single of that size holds 100000000376832.
      Row("SingleTextLong", Single(1e14f), "'100000000000000'", {202}),
      Row("DateAsText", Day(38017.5), "'2004-01-31 12:00:00'", {202}),
      Row("UnsignedText", U8(UINT64_MAX), "'18446744073709551615'", {202}),
      Row("True", Truth(true), "true", {11}),
      Row("NotZero", Real(0.2), "true", {11}),
      Row("TrueText", Text(u" TRUE"), "true", {11}),
      Row("FalseText", Text(u"false"), "false", {11}),
      Row("Guid", Text(u"{01234567-89AB-CDEF-1032-547698BADCFE}"), kGuid, {72}),
      Row("GuidBlanks", Text(u" {01234567-89ab-cdef-1032-547698badcfe}\r\n"),
          kGuid, {72}),
      Row("GuidBlanksInBraces",
          Text(u"{ 01234567-89ab-cdef-1032-547698badcfe}"), "nothing", {72}),
      Row("GuidHalfBraced", Text(u"{01234567-89ab-cdef-1032-547698badcfe"),
          "nothing", {72}),
      Row("GuidShort", Bytes("0123456789ABCDE"), "nothing", {72}),
      Row("Binary", Bytes(std::string("a\0b", 3)), std::string("bytes a\0b", 9),
          {128, 204, 205}),
      Row("BinaryEmpty", Bytes(""), "bytes ", {204}),
      Row("BinaryFromText", Text(u"abc"), "nothing", {204}),
      Row("Missing", Empty(VT_NULL), "nothing",
          {2, 3, 4, 5, 6, 7, 8, 10, 11, 14, 16, 17, 18, 19, 20, 21, 72, 128,
           129}),
      Row("NoValue", Empty(VT_EMPTY), "nothing", {3, 7, 8, 11, 128}),
      Row("Elsewhere", Empty(VT_BYREF | VT_I4), "nothing", {3, 8}),
  };
}

using FromAdoDb = DataTest;

TEST_F(FromAdoDb, ConvertsByTheFieldsType) {
  for (const AdoCase& row : AdoCases()) {
    for (const int type : row.types) {
      SCOPED_TRACE(row.name + (" as " + std::to_string(type)));
      const Any object = Object::FromAdoDb(*row.value, type);
      EXPECT_EQ(Shown(object), row.shown);
      if (!object) continue;
      EXPECT_EQ(Load<dm_sign>(object.get()),
                0x1000u + object.object().GetTypeId());
      EXPECT_EQ(dm_o_get_ref(object.get()), 1);
    }
  }
}

TEST_F(FromAdoDb, TakesAGuidOfSixteenBytes) {
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
