// Prints src/util/cp936_table.inc: what every two-byte code of code page 936
// means, after the converter "windows-936-2000" of ICU. By hand, when the table
// is ever in doubt:
//
//   g++ -std=c++20 tools/cp936_table.cpp -o cp936_table -licuuc
//   ./cp936_table > src/util/cp936_table.inc
#include <unicode/ucnv.h>

#include <cstdio>

namespace {

constexpr int kFirstLead = 0x81;
constexpr int kLastLead = 0xFE;
constexpr int kFirstTrail = 0x40;
constexpr int kLastTrail = 0xFF;
constexpr int kCodesALine = 8;

// 0 when the two bytes are no character.
unsigned Meaning(UConverter* converter, int lead, int trail) {
  const char code[2] = {static_cast<char>(lead), static_cast<char>(trail)};
  UChar units[2] = {};
  UErrorCode error = U_ZERO_ERROR;
  const int32_t size = ucnv_toUChars(converter, units, 2, code, 2, &error);
  return U_FAILURE(error) || size != 1 ? 0 : units[0];
}

}  // namespace

int main() {
  UErrorCode error = U_ZERO_ERROR;
  UConverter* converter = ucnv_open("windows-936-2000", &error);
  ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr,
                      nullptr, &error);
  if (U_FAILURE(error)) {
    std::fprintf(stderr, "%s\n", u_errorName(error));
    return 1;
  }
  std::printf(
      "// Written by tools/cp936_table.cpp. A row a lead byte, 0x81-0xFE; in\n"
      "// it a UTF-16 unit a trail byte, 0x40-0xFF; 0 where there is none.\n");
  for (int lead = kFirstLead; lead <= kLastLead; ++lead) {
    std::printf("// 0x%02X\n", lead);
    for (int trail = kFirstTrail; trail <= kLastTrail; ++trail) {
      const bool ends_line = (trail - kFirstTrail + 1) % kCodesALine == 0;
      std::printf("0x%04X,%s", Meaning(converter, lead, trail),
                  ends_line ? "\n" : " ");
    }
  }
  ucnv_close(converter);
  return 0;
}
