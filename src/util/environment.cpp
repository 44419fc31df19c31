#include "kiv/environment.h"

#include <chrono>
#include <mutex>
#include <set>
#include <utility>

#include "dm/guid.h"
#include "port/clock.h"
#include "port/environment.h"
#include "port/system.h"
#include "util/cp936.h"

namespace kiv {
namespace {

constexpr long long kTicksPerSecond = 10'000'000;
constexpr long long kUnixEpochTicks = 621'355'968'000'000'000;

// A copy of the value that lives as long as the process, one for each value
// there ever was: what getenv hands out must outlast any later putenv.
template <typename Text>
const typename Text::value_type* Kept(Text value) {
  static auto& mutex = *new std::mutex;
  static auto& kept = *new std::set<Text>;
  const std::lock_guard lock(mutex);
  return kept.insert(std::move(value)).first->c_str();
}

// What is not well-formed in the one encoding is handed to the other as it
// stands.
std::string ToSystem(const std::string& text_gb) {
  return IsCp936(text_gb) ? Cp936ToUtf8(text_gb) : text_gb;
}

long long FloorSeconds(long long ticks) {
  const long long seconds = ticks / kTicksPerSecond;
  return ticks % kTicksPerSecond < 0 ? seconds - 1 : seconds;
}

// What the fields say, in seconds since 1970-01-01 00:00 on the same clock.
long long CivilSeconds(const std::tm& fields) {
  using namespace std::chrono;
  const auto day = year(fields.tm_year + 1900) /
                   month(static_cast<unsigned>(fields.tm_mon + 1)) /
                   std::chrono::day(static_cast<unsigned>(fields.tm_mday));
  const long long days = sys_days(day).time_since_epoch().count();
  return ((days * 24 + fields.tm_hour) * 60 + fields.tm_min) * 60 +
         fields.tm_sec;
}

}  // namespace

const char* getenv(const char* name, const char* fallback) {
  if (name == nullptr || *name == '\0') return fallback;
  std::string value;
  if (!port::GetEnvironmentUtf8(ToSystem(name), value)) return fallback;
  return Kept(IsUtf8(value) ? Utf8ToCp936(value) : std::move(value));
}

const WideChar* getenv(const WideChar* name, const WideChar* fallback) {
  if (name == nullptr || *name == u'\0') return fallback;
  std::string value;
  if (!port::GetEnvironmentUtf8(Utf16ToUtf8(name), value)) return fallback;
  return Kept(IsUtf8(value) ? Utf8ToUtf16(value) : Cp936ToUtf16(value));
}

bool putenv(const char* name, const char* value) {
  if (name == nullptr || *name == '\0') return false;
  return port::SetEnvironmentUtf8(ToSystem(name),
                                  value == nullptr ? "" : ToSystem(value));
}

void sleep(int seconds) {
  if (seconds > 0) port::SleepSeconds(seconds);
}

long time(long* out) {
  const auto seconds =
      static_cast<long>(FloorSeconds(port::CurrentClock().UnixTicks()));
  if (out != nullptr) *out = seconds;
  return seconds;
}

std::tm* localtime(const long* seconds) {
  static thread_local std::tm fields;
  if (seconds == nullptr) return nullptr;
  std::tm converted{};
  if (!port::CurrentClock().LocalTime(*seconds, converted)) return nullptr;
  fields = converted;
  return &fields;
}

long long now() {
  const port::Clock& clock = port::CurrentClock();
  const long long ticks = clock.UnixTicks();
  const long long second = FloorSeconds(ticks);
  std::tm fields{};
  // A clock that has no local form for a second it shows runs on UTC.
  const long long local =
      clock.LocalTime(second, fields) ? CivilSeconds(fields) : second;
  return kUnixEpochTicks + ticks + (local - second) * kTicksPerSecond;
}

void generateUUID(std::string& out) {
  out.clear();
  GUID guid;
  char text[37];
  if (dm_generate_guid(&guid) && dm_guid_to_string(&guid, text, sizeof text))
    out = text;
}

void get_local_ip_str(std::string& out) { out = port::LocalIpv4(); }

}  // namespace kiv
