// Strings and digests: the codec, hexadecimal and MD5.
#include <iconv.h>
#include <openssl/evp.h>
#include <unicode/ucnv.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "compare.h"
#include "kiv/encoding.h"
#include "kiv/hex.h"
#include "kiv/md5.h"
#include "kiv/strings.h"

namespace {

constexpr std::size_t kMebibyte = 1 << 20;

// Words of Chinese (GB2312 level 1 and 2) and of ASCII in turns, as the log and
// the configuration files have them.
std::string MixedText(std::size_t size) {
  std::mt19937 random(936);
  std::string text;
  while (text.size() < size) {
    for (auto n = 2 + random() % 12; n > 0 && text.size() + 2 <= size; --n) {
      text += static_cast<char>(0xB0 + random() % 39);
      text += static_cast<char>(0xA1 + random() % 94);
    }
    for (auto n = 1 + random() % 16; n > 0 && text.size() < size; --n) {
      text += static_cast<char>(0x20 + random() % 95);
    }
  }
  return text;
}

std::string AsciiText(std::size_t size) {
  std::string text(size, ' ');
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char>(0x20 + i % 95);
  }
  return text;
}

// Both sides know their lengths; ours makes its arrays anew each time.
void OurRoundTrip(benchmark::State& state, const std::string& text) {
  const auto size = static_cast<unsigned>(text.size());
  const unsigned units =
      kiv::strlen(kiv::stringToWstring(text.data(), size).get());
  for (auto _ : state) {
    const auto wide = kiv::stringToWstring(text.data(), size);
    const auto narrow = kiv::wstringToString(wide.get(), units);
    benchmark::DoNotOptimize(narrow.get());
  }
}

void IcuRoundTrip(benchmark::State& state, const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open("windows-936-2000", &status);
  std::vector<UChar> wide(text.size() + 1);
  std::vector<char> narrow(text.size() * 3 + 1);
  for (auto _ : state) {
    status = U_ZERO_ERROR;
    const int length =
        ucnv_toUChars(converter, wide.data(), static_cast<int>(wide.size()),
                      text.data(), static_cast<int>(text.size()), &status);
    const int bytes = ucnv_fromUChars(converter, narrow.data(),
                                      static_cast<int>(narrow.size()),
                                      wide.data(), length, &status);
    benchmark::DoNotOptimize(bytes);
    benchmark::ClobberMemory();
  }
  if (U_FAILURE(status)) state.SkipWithError(u_errorName(status));
  ucnv_close(converter);
}

void Convert(iconv_t converter, const char* in, std::size_t in_bytes, char* out,
             std::size_t out_room, std::size_t& out_bytes) {
  char* source = const_cast<char*>(in);
  std::size_t left = out_room;
  iconv(converter, &source, &in_bytes, &out, &left);
  out_bytes = out_room - left;
}

void IconvRoundTrip(benchmark::State& state, const std::string& text) {
  const iconv_t to_wide = iconv_open("UTF-16LE", "CP936");
  const iconv_t to_narrow = iconv_open("CP936", "UTF-16LE");
  std::vector<char> wide(text.size() * 2 + 2);
  std::vector<char> narrow(text.size() * 3 + 1);
  std::size_t narrow_bytes = 0;
  for (auto _ : state) {
    std::size_t wide_bytes = 0;
    Convert(to_wide, text.data(), text.size(), wide.data(), wide.size(),
            wide_bytes);
    Convert(to_narrow, wide.data(), wide_bytes, narrow.data(), narrow.size(),
            narrow_bytes);
    benchmark::ClobberMemory();
  }
  if (narrow_bytes != text.size()) state.SkipWithError("iconv lost text");
  iconv_close(to_wide);
  iconv_close(to_narrow);
}

bench::Body On(std::string (*make_text)(std::size_t),
               void (*body)(benchmark::State&, const std::string&)) {
  return [body, make_text](benchmark::State& state, std::size_t size) {
    body(state, make_text(size));
  };
}

bench::Growth ByLength() {
  return bench::Curve{
      "bytes of text", kMebibyte, {16, 64, 256, 1024, 16384, 262144}};
}

const bool round_trip_icu = bench::Compare(
    {"util/gb2312_round_trip", "MB/s", bench::Megabytes, "icu", 1.5},
    ByLength(), On(MixedText, OurRoundTrip), On(MixedText, IcuRoundTrip));
const bool round_trip_iconv = bench::Compare(
    {"util/gb2312_round_trip_iconv", "MB/s", bench::Megabytes, "iconv", 3},
    ByLength(), On(MixedText, OurRoundTrip), On(MixedText, IconvRoundTrip));
const bool ascii_icu = bench::Compare(
    {"util/gb2312_ascii", "MB/s", bench::Megabytes, "icu", 5}, ByLength(),
    On(AsciiText, OurRoundTrip), On(AsciiText, IcuRoundTrip));

constexpr std::size_t kLargeBytes = 64 * kMebibyte;

// Bytes that do not compress to a pattern.
const std::vector<unsigned char>& LargeBlock() {
  static const std::vector<unsigned char> block = [] {
    std::vector<unsigned char> bytes(kLargeBytes);
    std::mt19937 random(5);
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
      const auto word = static_cast<std::uint32_t>(random());
      std::memcpy(&bytes[i], &word, 4);
    }
    return bytes;
  }();
  return block;
}

void OurMd5(benchmark::State& state, std::size_t bytes) {
  const auto& block = LargeBlock();
  for (auto _ : state) {
    kiv::md5 digest;
    digest.update(block.data(), bytes);
    digest.finalize();
    benchmark::DoNotOptimize(digest.digest());
  }
}

void OpenSslMd5(benchmark::State& state, std::size_t bytes) {
  const auto& block = LargeBlock();
  unsigned char digest[16];
  unsigned size = sizeof digest;
  for (auto _ : state) {
    EVP_Digest(block.data(), bytes, digest, &size, EVP_md5(), nullptr);
    benchmark::DoNotOptimize(digest);
  }
}

bench::Growth ByBytes() {
  return bench::Curve{"bytes", kLargeBytes, {16, 256, 4096, 65536, 1 << 20}};
}

const bool md5 =
    bench::Compare({"util/md5", "MB/s", bench::Megabytes, "openssl", 0.9},
                   ByBytes(), OurMd5, OpenSslMd5);

// Hexadecimal each way, against a plain copy of what is written: one byte in
// two characters out, then back. Within twice a copy's time is asked.
void OurHex(benchmark::State& state, std::size_t bytes) {
  const auto& block = LargeBlock();
  const auto size = static_cast<unsigned>(bytes);
  std::vector<char> text(2 * bytes + 1);
  std::vector<unsigned char> back(bytes);
  for (auto _ : state) {
    kiv::bytesToHex(block.data(), size, text.data(), 2 * size + 1, true);
    kiv::hexToBytes(text.data(), 2 * size, back.data(), size);
    benchmark::ClobberMemory();
  }
  if (std::memcmp(back.data(), block.data(), bytes) != 0)
    state.SkipWithError("the bytes did not come back");
}

void CopyBothWays(benchmark::State& state, std::size_t bytes) {
  const auto& block = LargeBlock();
  std::vector<char> text(2 * bytes + 1, 'x');
  std::vector<char> copy(2 * bytes + 1, 'y');
  std::vector<unsigned char> back(bytes);
  for (auto _ : state) {
    std::memcpy(copy.data(), text.data(), text.size());
    benchmark::ClobberMemory();
    std::memcpy(back.data(), block.data(), bytes);
    benchmark::ClobberMemory();
  }
}

const bool hex =
    bench::Compare({"util/hex", "MB/s", bench::Megabytes, "memcpy", 0.5},
                   ByBytes(), OurHex, CopyBothWays);

}  // namespace
