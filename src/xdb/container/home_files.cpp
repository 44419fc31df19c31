#include "xdb/container/home_files.h"

#include <db_cxx.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string_view>
#include <tuple>

#include "port/disk_space.h"
#include "port/file.h"
#include "port/file_reader.h"
#include "port/read_file.h"
#include "util/gb_text.h"
#include "util/log_entry.h"
#include "xdb/container/store_error.h"

namespace kiv::xdb {
namespace {

constexpr std::string_view kLogPrefix = "log.";
constexpr std::string_view kRegionPrefix = "__db.";
constexpr std::string_view kContainerSuffix = ".xdb";

std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  const auto search = port::FileSearch::Open(folder);
  std::string name;
  while (search != nullptr &&
         search->Next(name) == port::FileSearch::Step::Entry)
    names.push_back(name);
  return names;
}

bool AreDigits(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= '0' && c <= '9'; });
}

// The number at the end of a name; false for a name of another kind.
bool ParseName(std::string_view name, std::string_view prefix,
               std::size_t digits, std::uint32_t& number) {
  if (name.size() != prefix.size() + digits ||
      name.substr(0, prefix.size()) != prefix ||
      !AreDigits(name.substr(prefix.size())))
    return false;
  number = static_cast<std::uint32_t>(
      std::stoul(std::string(name.substr(prefix.size()))));
  return true;
}

// The first words of a file; those that it does not have are 0.
template <std::size_t kCount>
std::array<std::uint32_t, kCount> FirstWords(const std::string& path) {
  std::array<std::uint32_t, kCount> words = {};
  const auto file = port::FileReader::Open(path);
  std::size_t size = 0;
  if (file == nullptr || !file->Read(words.data(), sizeof(words), size) ||
      size != sizeof(words))
    words.fill(0);
  return words;
}

// The log files lie in the home unless its DB_CONFIG says otherwise.
std::string LogFolder(const std::string& home) {
  constexpr std::size_t kMostBytes = 1 << 20;
  std::string text;
  if (port::ReadFileText(home + "\\DB_CONFIG", kMostBytes, text) !=
      port::FileRead::Whole)
    return home;
  std::string folder;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string name;
    words >> name >> std::ws;
    if (name != "set_lg_dir") continue;
    std::getline(words, folder);
    while (!folder.empty() && IsAsciiSpace(folder.back())) folder.pop_back();
  }
  if (folder.empty()) return home;
  return folder.front() == '/' ? folder : home + "\\" + folder;
}

[[noreturn]] void RefuseLogs(const std::string& home, const std::string& what) {
  throw StoreError(Failure::BadFormat,
                   "cannot open the environment '" + Shown(home) + "': " + what,
                   ENOENT);
}

constexpr char kPutBack[] =
    "; committed documents would be lost without it: put it back, or restore "
    "log files and containers from one backup";

// The first words of a container: the log record that tells of its last change
// is named by the first two, 0 and 1 where none does.
using ContainerHead = std::array<std::uint32_t, 7>;
constexpr std::size_t kLogWord = 0;
constexpr std::size_t kMagicWord = 3;
constexpr std::size_t kCipherWord = 6;
constexpr std::uint32_t kBtreeMagic = 0x053162;

std::string PathIn(const std::string& folder, const std::string& name) {
  return folder + "\\" + name;
}

// Ends when `each` answers false.
bool EachContainer(const std::string& folder, int depth,
                   const std::function<bool(const std::string& name,
                                            const ContainerHead& head)>& each) {
  constexpr int kDeepest = 8;
  for (const std::string& name : NamesIn(folder)) {
    const std::string path = PathIn(folder, name);
    port::FileAttributes attributes;
    if (!port::GetEntryAttributesA(path, attributes)) continue;
    if (attributes.is_directory) {
      if (depth < kDeepest && !EachContainer(path, depth + 1, each))
        return false;
      continue;
    }
    if (!name.ends_with(kContainerSuffix)) continue;
    const auto head = FirstWords<std::tuple_size_v<ContainerHead>>(path);
    if (head[kMagicWord] == kBtreeMagic && !each(name, head)) return false;
  }
  return true;
}

void RequireLogsOfContainers(const std::string& home, const LogFiles& logs) {
  EachContainer(
      home, 0, [&](const std::string& name, const ContainerHead& head) {
        if (head[kLogWord] <= logs.Last()) return true;
        RefuseLogs(home, "the container '" + Shown(name) +
                             "' was last changed with the log file " +
                             LogFileName(head[kLogWord]) +
                             ", which is missing" + kPutBack +
                             ", or move the container away and load it anew "
                             "from its dump");
      });
}

}  // namespace

std::string LogFileName(std::uint32_t number) {
  char name[32];
  std::snprintf(name, sizeof(name), "log.%010u", number);
  return name;
}

LogFiles FindLogFiles(const std::string& home) {
  constexpr std::size_t kDigits = 10;
  LogFiles logs;
  logs.folder = LogFolder(home);
  for (const std::string& name : NamesIn(logs.folder)) {
    std::uint32_t number = 0;
    if (ParseName(name, kLogPrefix, kDigits, number))
      logs.numbers.push_back(number);
  }
  std::sort(logs.numbers.begin(), logs.numbers.end());
  // The newest may have been made without having its head yet.
  for (auto at = logs.numbers.rbegin(); at != logs.numbers.rend(); ++at) {
    // A record's own head has three words before that of the file.
    const auto words = FirstWords<5>(logs.folder + "\\" + LogFileName(*at));
    if (words[1] == 0 && words[3] == 0) continue;
    logs.kind = words[3] == DB_LOGMAGIC ? LogKind::Plain : LogKind::Encrypted;
    logs.version = logs.kind == LogKind::Plain ? words[4] : 0;
    break;
  }
  return logs;
}

void RequireLogFiles(const std::string& home, const LogFiles& logs,
                     const LifeTable::Facts& facts) {
  if (logs.kind == LogKind::Plain && logs.version != DB_LOGVERSION)
    throw StoreError(
        Failure::BadFormat,
        "cannot open the environment '" + Shown(home) + "': " +
            (logs.version < DB_LOGVERSION
                 ? "an older version of Berkeley DB wrote its log files (log "
                   "version "
                 : "a newer version of Berkeley DB wrote its log files (log "
                   "version ") +
            std::to_string(logs.version) + ", this one writes " +
            std::to_string(DB_LOGVERSION) +
            "); dump the containers with that version and load them into a "
            "new environment",
        DB_VERSION_MISMATCH);
  for (std::size_t i = 1; i < logs.numbers.size(); ++i)
    if (logs.numbers[i] != logs.numbers[i - 1] + 1)
      RefuseLogs(home, "the log file " + LogFileName(logs.numbers[i - 1] + 1) +
                           " is missing" + kPutBack);
  if (facts.last_log > logs.Last())
    RefuseLogs(home, "the log file " + LogFileName(facts.last_log) +
                         " is missing" + kPutBack);
  if (facts.first_log != 0 && facts.first_log < logs.First())
    RefuseLogs(home, "the log file " + LogFileName(facts.first_log) +
                         " is missing" + kPutBack);
  RequireLogsOfContainers(home, logs);
}

LifeTable::Facts::Cipher ContainerCipher(const std::string& home) {
  using Cipher = LifeTable::Facts::Cipher;
  Cipher cipher = Cipher::Unknown;
  EachContainer(home, 0, [&](const std::string&, const ContainerHead& head) {
    constexpr std::uint32_t kFirstByte = 0xFF;
    cipher = (head[kCipherWord] & kFirstByte) == 0 ? Cipher::None : Cipher::Aes;
    return false;
  });
  return cipher;
}

RegionHead ReadRegionHead(const std::string& home) {
  // The layout of these words is the same in every version of Berkeley DB.
  constexpr std::uint32_t kMagic = 0x120897;
  const auto words = FirstWords<5>(home + "\\__db.001");
  RegionHead head;
  head.major = static_cast<int>(words[2]);
  head.minor = static_cast<int>(words[3]);
  head.is_valid = words[0] == kMagic && head.major == DB_VERSION_MAJOR &&
                  head.minor == DB_VERSION_MINOR;
  head.is_dead = words[1] != 0;
  return head;
}

namespace {

std::vector<std::string> RegionNames(const std::string& home) {
  constexpr std::size_t kDigits = 3;
  std::vector<std::string> names;
  for (const std::string& name : NamesIn(home)) {
    std::uint32_t number = 0;
    if (ParseName(name, kRegionPrefix, kDigits, number)) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

std::vector<LifeTable::Facts::Region> FindRegions(const std::string& home) {
  std::vector<LifeTable::Facts::Region> regions;
  for (const std::string& name : RegionNames(home)) {
    port::FileAttributes attributes;
    if (port::GetEntryAttributesA(PathIn(home, name), attributes))
      regions.push_back({attributes.index, attributes.size_bytes});
  }
  return regions;
}

void RequireRegions(const std::string& home, const LifeTable::Facts& facts) {
  const auto refuse = [&home](const std::string& what) {
    throw StoreError(Failure::NeedsRecovery,
                     "cannot join the environment '" + Shown(home) +
                         "': " + what +
                         "; close it in every program, then open it again",
                     DB_RUNRECOVERY);
  };
  const auto regions = FindRegions(home);
  for (std::size_t i = 0; i < facts.regions.size(); ++i) {
    if (facts.regions[i].index == 0) break;
    // They grow, but never shrink.
    if (i >= regions.size() || regions[i].index != facts.regions[i].index)
      refuse("a file of its shared memory (__db.*) was removed or replaced");
    if (regions[i].size_bytes < facts.regions[i].size_bytes)
      refuse("a file of its shared memory (__db.*) was cut short");
  }
  const RegionHead head = ReadRegionHead(home);
  if (head.is_dead) refuse("it asks for recovery since a program ended badly");
  if (!head.is_valid)
    refuse("the file of its shared memory __db.001 is damaged");
}

void RemoveRegions(const std::string& home) {
  for (const std::string& name : RegionNames(home)) {
    const std::string path = PathIn(home, name);
    if (!port::DeleteFileA(path) && !port::IsNotFound(port::LastError())) {
      const int error = port::LastError();
      throw StoreError(
          Failure::Other,
          "cannot remove '" + Shown(path) + "': " + port::ErrorText(error),
          error);
    }
  }
}

int ReserveRegions(const std::string& home, std::uint64_t cache_bytes) {
  // The first holds the locks and transactions, the last the cache.
  constexpr std::uint64_t kMostLocksBytes = 32u << 20;
  const std::vector<std::string> names = RegionNames(home);
  for (const std::string& name : names) {
    const std::string path = PathIn(home, name);
    port::FileAttributes attributes;
    if (!port::GetEntryAttributesA(path, attributes)) return port::LastError();
    std::uint64_t size_bytes = attributes.size_bytes;
    if (name == names.front()) size_bytes += kMostLocksBytes;
    if (name == names.back()) size_bytes = std::max(size_bytes, cache_bytes);
    if (!port::ReserveBlocks(path, size_bytes)) return port::LastError();
  }
  return 0;
}

}  // namespace kiv::xdb
