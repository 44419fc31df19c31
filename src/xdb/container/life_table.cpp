#include "xdb/container/life_table.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "port/file.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/store_error.h"

namespace kiv::xdb {
namespace {

constexpr char kFileName[] = "environment.lock";

// The file: a head, then the slots. It stays on the machine that wrote it, so
// numbers are written as they lie in memory.
struct Head {
  char magic[8];
  LifeTable::Facts facts;
};
constexpr char kMagic[8] = {'K', 'I', 'V', 'L', 'I', 'F', 'E', '1'};
constexpr std::uint64_t kSlotOffset = 1024;
constexpr std::uint32_t kSlotCount = 256;
static_assert(sizeof(Head) <= kSlotOffset);

// The bytes that lock lie far behind the end of the file.
constexpr std::uint64_t kGateByte = 1ull << 40;
constexpr std::uint64_t kCareByte = kGateByte + 1;
constexpr std::uint64_t kSlotByte = kGateByte + 1024;

// A life is a slot and how often the slot was taken, kept positive.
constexpr std::uint32_t kGenerations = 1u << 22;

int LifeOf(std::uint32_t slot, std::uint32_t generation) {
  return static_cast<int>(generation * kSlotCount + slot);
}
std::uint32_t SlotOf(int life) {
  return static_cast<std::uint32_t>(life) % kSlotCount;
}
std::uint32_t GenerationOf(int life) {
  return static_cast<std::uint32_t>(life) / kSlotCount;
}

// A thread keeps the address of a flag beyond the environment's life.
class DeathFlags {
 public:
  std::atomic<bool>* Take() {
    const std::lock_guard lock(mutex_);
    if (free_.empty()) return &all_.emplace_back(false);
    std::atomic<bool>* const flag = free_.back();
    free_.pop_back();
    *flag = false;
    return flag;
  }
  void GiveBack(std::atomic<bool>* flag) {
    const std::lock_guard lock(mutex_);
    free_.push_back(flag);
  }

 private:
  std::mutex mutex_;
  std::deque<std::atomic<bool>> all_;
  std::vector<std::atomic<bool>*> free_;
};

DeathFlags& Flags() {
  static DeathFlags* const flags = new DeathFlags;
  return *flags;
}

}  // namespace

void LifeTable::Throw(const char* doing) const {
  throw MakeStoreError(port::LastError(), doing, home_ + "\\" + kFileName);
}

std::unique_ptr<LifeTable> LifeTable::Open(const std::string& home,
                                           bool is_private) {
  std::unique_ptr<LifeTable> table(new LifeTable(home));
  table->file_ = port::LockFile::Open(home + "\\" + kFileName, is_private);
  if (table->file_ == nullptr) table->Throw("open the lock file");
  return table;
}

LifeTable::LifeTable(std::string home)
    : home_(std::move(home)), is_dead_(Flags().Take()) {}
LifeTable::~LifeTable() { Flags().GiveBack(is_dead_); }

bool LifeTable::TakeGate(std::chrono::steady_clock::time_point deadline) {
  while (!file_->TryLock(kGateByte)) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

void LifeTable::LeaveGate() { file_->Unlock(kGateByte); }

LifeTable::Facts LifeTable::Load() {
  Head head = {};
  if (!file_->Read(0, &head, sizeof(head))) Throw("read the lock file");
  is_new_ = std::memcmp(head.magic, kMagic, sizeof(kMagic)) != 0;
  return is_new_ ? Facts() : head.facts;
}

void LifeTable::Store(const Facts& facts) {
  Head head = {};
  std::memcpy(head.magic, kMagic, sizeof(kMagic));
  head.facts = facts;
  if (!file_->Write(0, &head, sizeof(head)) || !file_->Sync())
    Throw("write the lock file");
}

void LifeTable::StoreLogs(std::uint32_t first, std::uint32_t last) {
  static_assert(offsetof(Facts, last_log) ==
                offsetof(Facts, first_log) + sizeof(first));
  const std::uint32_t numbers[] = {first, last};
  if (!file_->Write(offsetof(Head, facts) + offsetof(Facts, first_log), numbers,
                    sizeof(numbers)))
    Throw("write the lock file");
}

void LifeTable::StoreLastLog(std::uint32_t last) {
  if (!file_->Write(offsetof(Head, facts) + offsetof(Facts, last_log), &last,
                    sizeof(last)))
    Throw("write the lock file");
}

LifeTable::Slot LifeTable::ReadSlot(std::uint32_t index) {
  Slot slot;
  if (!file_->Read(kSlotOffset + index * sizeof(Slot), &slot, sizeof(slot)))
    Throw("read the lock file");
  return slot;
}

void LifeTable::WriteSlot(std::uint32_t index, const Slot& slot) {
  if (!file_->Write(kSlotOffset + index * sizeof(Slot), &slot, sizeof(slot)))
    Throw("write the lock file");
}

bool LifeTable::IsTaken(std::uint32_t index) {
  return (life_ != 0 && index == SlotOf(life_)) ||
         file_->IsLockedElsewhere(kSlotByte + index, 1);
}

bool LifeTable::DoOthersLive() {
  return file_->IsLockedElsewhere(kSlotByte, kSlotCount);
}

bool LifeTable::HasDead() { return !Deaths().empty(); }

std::vector<LifeTable::Death> LifeTable::Deaths() {
  std::array<Slot, kSlotCount> slots;
  if (!file_->Read(kSlotOffset, slots.data(), sizeof(slots)))
    Throw("read the lock file");
  std::vector<Death> deaths;
  for (std::uint32_t i = 0; i < kSlotCount; ++i) {
    if (slots[i].stage == Stage::Gone || IsTaken(i)) continue;
    // It may have been left in good order between the two looks.
    const Slot again = ReadSlot(i);
    if (again.stage != Stage::Gone && again.generation == slots[i].generation &&
        !IsTaken(i))
      deaths.push_back({LifeOf(i, again.generation), again.stage});
  }
  return deaths;
}

void LifeTable::BuryAll() {
  for (const Death& death : Deaths()) Bury(death.life);
}

void LifeTable::Bury(int life) {
  WriteSlot(SlotOf(life), {GenerationOf(life), Stage::Gone});
}

void LifeTable::Enter(bool is_first) {
  for (std::uint32_t i = 0; i < kSlotCount; ++i) {
    if (!file_->TryLock(kSlotByte + i)) continue;
    const Slot before = ReadSlot(i);
    // One who died has it until he is buried. The mark of the first says the
    // same as his did, if it should come to that.
    if (before.stage != Stage::Gone && !is_first) {
      file_->Unlock(kSlotByte + i);
      continue;
    }
    const std::uint32_t generation = before.generation % kGenerations + 1;
    life_ = LifeOf(i, generation);
    WriteSlot(i, {generation, Stage::Changing});
    if (!file_->Sync()) Throw("write the lock file");
    return;
  }
  throw StoreError(Failure::BusyTooLong,
                   "cannot open the environment '" + home_ +
                       "': " + std::to_string(kSlotCount) +
                       " others have it open already; close some of them",
                   EAGAIN);
}

void LifeTable::Mark(Stage stage) {
  WriteSlot(SlotOf(life_), {GenerationOf(life_), stage});
}

void LifeTable::Leave(bool is_orderly) {
  if (life_ == 0) return;
  Mark(is_orderly ? Stage::Gone : Stage::Open);
  file_->Unlock(kSlotByte + SlotOf(life_));
  life_ = 0;
}

bool LifeTable::IsAlive(int life) {
  if (life == life_) return true;
  const std::uint32_t slot = SlotOf(life);
  return ReadSlot(slot).generation == GenerationOf(life) && IsTaken(slot);
}

bool LifeTable::TryTakeCareOfDead() { return file_->TryLock(kCareByte); }
void LifeTable::EndCareOfDead() { file_->Unlock(kCareByte); }

}  // namespace kiv::xdb
