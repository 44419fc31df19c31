#ifndef XDB_CONTAINER_LIFE_TABLE_H_
#define XDB_CONTAINER_LIFE_TABLE_H_

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "port/lock_file.h"

namespace kiv::xdb {

// Who has an environment open, kept in a file of its home: whoever opens it
// takes a slot and locks the slot's byte for as long as he lives. A slot that
// is marked as taken while nobody has its byte belongs to one who died.
//
// Berkeley DB is told the numbers of lives in place of process ids, which the
// system gives out again.
//
// Any thread.
class LifeTable {
 public:
  enum class Stage : std::uint32_t {
    Gone = 0,
    Open = 1,
    // In the middle of opening or closing, where Berkeley DB keeps no account
    // of who is inside.
    Changing = 2,
  };

  // What is known of the environment from one opening to the next.
  struct Facts {
    enum class Cipher : std::uint32_t { Unknown = 0, None = 1, Aes = 2 };
    struct Region {
      std::uint64_t index = 0;  // of the file, 0 for none
      std::uint64_t size_bytes = 0;
    };

    Cipher cipher = Cipher::Unknown;
    // The log files that are to be there.
    std::uint32_t first_log = 0;
    std::uint32_t last_log = 0;
    std::uint64_t recovery_count = 0;
    // The shared memory of those who live.
    std::array<Region, 16> regions;
  };

  struct Death {
    int life = 0;
    Stage stage = Stage::Gone;
  };

  // Throws StoreError. The home is there.
  static std::unique_ptr<LifeTable> Open(const std::string& home,
                                         bool is_private);
  ~LifeTable();

  // Only one at a time opens, closes or recovers. False when it was not to be
  // had in time.
  bool TakeGate(std::chrono::steady_clock::time_point deadline);
  void LeaveGate();

  // For one who has the gate.
  bool IsNew() const { return is_new_; }
  bool DoOthersLive();
  bool HasDead();
  Facts Load();
  void Store(const Facts& facts);
  // At any time, without the gate.
  void StoreLogs(std::uint32_t first, std::uint32_t last);
  void StoreLastLog(std::uint32_t last);
  // Nobody lives: clears the slots of the dead.
  void BuryAll();

  // Takes a slot, Changing, so that a power failure cannot make it forgotten;
  // the first of all may take that of a dead one. Throws StoreError.
  void Enter(bool is_first);
  void Mark(Stage stage);
  // In disorder: as one who died outside Berkeley DB. What he left is put right
  // by the others, or by the next to open.
  void Leave(bool is_orderly);

  // 0 when it has not entered.
  int Life() const { return life_; }
  bool IsAlive(int life);
  std::vector<Death> Deaths();
  void Bury(int life);

  // One at a time sees to the dead.
  bool TryTakeCareOfDead();
  void EndCareOfDead();

  // Set once nobody may wait for the environment any more. It stays where it is
  // for good, and may serve another environment later.
  std::atomic<bool>& IsDead() { return *is_dead_; }

  bool IsOfParent() const { return file_->IsOfParent(); }

 private:
  struct Slot {
    std::uint32_t generation = 0;
    Stage stage = Stage::Gone;
  };

  explicit LifeTable(std::string home);
  Slot ReadSlot(std::uint32_t index);
  void WriteSlot(std::uint32_t index, const Slot& slot);
  bool IsTaken(std::uint32_t index);
  [[noreturn]] void Throw(const char* doing) const;

  const std::string home_;
  std::unique_ptr<port::LockFile> file_;
  bool is_new_ = false;
  int life_ = 0;
  std::atomic<bool>* const is_dead_;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_LIFE_TABLE_H_
