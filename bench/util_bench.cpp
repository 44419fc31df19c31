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
std::string MixedText(std::size_t size = kMebibyte) {
  std::mt19937 random(936);
  std::string text;
  while (text.size() < size) {
    for (auto n = 2 + random() % 12; n > 0; --n) {
      text += static_cast<char>(0xB0 + random() % 39);
      text += static_cast<char>(0xA1 + random() % 94);
    }
    for (auto n = 1 + random() % 16; n > 0; --n) {
      text += static_cast<char>(0x20 + random() % 95);
    }
  }
  return text;
}

std::string OneMebibyte() { return MixedText(); }

std::string AsciiText() {
  std::string text(kMebibyte, ' ');
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

bench::SizedBody OnMixed(void (*body)(benchmark::State&, const std::string&)) {
  return [body](benchmark::State& state, double size) {
    body(state, MixedText(static_cast<std::size_t>(size)));
  };
}

bench::Body On(void (*body)(benchmark::State&, const std::string&),
               std::string (*make_text)()) {
  return
      [body, make_text](benchmark::State& state) { body(state, make_text()); };
}

const bool round_trip_icu = bench::Compare(
    {"util/gb2312_round_trip", "MB/s", 1.048576, "icu", 1.5},
    On(OurRoundTrip, OneMebibyte), On(IcuRoundTrip, OneMebibyte));
const bool round_trip_growth =
    bench::CompareGrowth({"util/gb2312_by_length",
                          "MB/s",
                          "bytes of text",
                          {16, 64, 256, 1024, 16384, 262144, 4194304},
                          [](double size) { return size / 1e6; },
                          "icu"},
                         OnMixed(OurRoundTrip), OnMixed(IcuRoundTrip));
const bool round_trip_iconv = bench::Compare(
    {"util/gb2312_round_trip_iconv", "MB/s", 1.048576, "iconv", 3},
    On(OurRoundTrip, OneMebibyte), On(IconvRoundTrip, OneMebibyte));
const bool ascii_icu =
    bench::Compare({"util/gb2312_ascii", "MB/s", 1.048576, "icu", 5},
                   On(OurRoundTrip, AsciiText), On(IcuRoundTrip, AsciiText));

// 64 MiB of bytes that do not compress to a pattern.
const std::vector<unsigned char>& LargeBlock() {
  static const std::vector<unsigned char> block = [] {
    std::vector<unsigned char> bytes(64 * kMebibyte);
    std::mt19937 random(5);
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
      const auto word = static_cast<std::uint32_t>(random());
      std::memcpy(&bytes[i], &word, 4);
    }
    return bytes;
  }();
  return block;
}

void OurMd5Of(benchmark::State& state, std::size_t bytes) {
  const auto& block = LargeBlock();
  for (auto _ : state) {
    kiv::md5 digest;
    digest.update(block.data(), bytes);
    digest.finalize();
    benchmark::DoNotOptimize(digest.digest());
  }
}

void OpenSslMd5Of(benchmark::State& state, std::size_t bytes) {
  const auto& block = LargeBlock();
  unsigned char digest[16];
  unsigned size = sizeof digest;
  for (auto _ : state) {
    EVP_Digest(block.data(), bytes, digest, &size, EVP_md5(), nullptr);
    benchmark::DoNotOptimize(digest);
  }
}

void OurMd5(benchmark::State& state) { OurMd5Of(state, LargeBlock().size()); }
void OpenSslMd5(benchmark::State& state) {
  OpenSslMd5Of(state, LargeBlock().size());
}

const bool md5_growth = bench::CompareGrowth(
    {"util/md5_by_length",
     "MB/s",
     "bytes",
     {16, 64, 256, 1024, 16384, 262144, 4194304},
     [](double size) { return size / 1e6; },
     "openssl"},
    [](benchmark::State& state, double size) {
      OurMd5Of(state, static_cast<std::size_t>(size));
    },
    [](benchmark::State& state, double size) {
      OpenSslMd5Of(state, static_cast<std::size_t>(size));
    });
const bool md5 = bench::Compare({"util/md5", "MB/s", 67.108864, "openssl", 0.9},
                                OurMd5, OpenSslMd5);

// Hexadecimal of 64 MiB each way, against a plain copy of what is written: one
// byte in two characters out, then back. Within twice a copy's time is asked.
void OurHex(benchmark::State& state) {
  const auto& block = LargeBlock();
  const auto size = static_cast<unsigned>(block.size());
  std::vector<char> text(2 * block.size() + 1);
  std::vector<unsigned char> back(block.size());
  for (auto _ : state) {
    kiv::bytesToHex(block.data(), size, text.data(), 2 * size + 1, true);
    kiv::hexToBytes(text.data(), 2 * size, back.data(), size);
    benchmark::ClobberMemory();
  }
  if (back != block) state.SkipWithError("the bytes did not come back");
}

void CopyBothWays(benchmark::State& state) {
  const auto& block = LargeBlock();
  std::vector<char> text(2 * block.size() + 1, 'x');
  std::vector<char> copy(2 * block.size() + 1, 'y');
  std::vector<unsigned char> back(block.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), text.data(), text.size());
    benchmark::ClobberMemory();
    std::memcpy(back.data(), block.data(), block.size());
    benchmark::ClobberMemory();
  }
}

const bool hex = bench::Compare({"util/hex", "MB/s", 67.108864, "memcpy", 0.5},
                                OurHex, CopyBothWays);

}  // namespace
