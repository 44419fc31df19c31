#ifndef MQ_FILE_TAKER_H_
#define MQ_FILE_TAKER_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "mq/file_queue_settings.h"
#include "mq/status_board.h"
#include "port/file_claims.h"

namespace kiv::msgq {

// Takes the files of one directory: claims each, hands it to the processor, and
// deletes it or moves it to .done or .failed. Used by one thread.
//
// A file that cannot be taken yet waits with a time at which it is tried again.
// A file whose end failed, as on a full disk, stays claimed: that end is tried
// again, its processing never is before the next start.
class FileTaker {
 public:
  using Clock = std::chrono::steady_clock;
  using OpenClaims = std::function<std::unique_ptr<port::FileClaims>(
      const std::string& path, std::string& reason)>;

  // A file is taken up once more after so many hosts died over it, less one.
  static constexpr int kMostAttempts = 3;

  // What is referred to outlives the taker. Nothing is begun once `stop` is
  // set.
  FileTaker(const DirectorySettings& settings, mq::StatusBoard& board,
            const std::atomic<bool>& stop,
            OpenClaims open = &port::FileClaims::Open);

  // Makes the folders that are needed and takes up what a host that died has
  // left. Where that fails it is tried again by TakeDue.
  void Open();
  // For a directory that is gone.
  void Close();
  bool IsOpen() const { return claims_ != nullptr; }

  void Take(const std::vector<port::ChangeRecord>& records);
  // When TakeDue is to be called; none while nothing waits.
  std::optional<Clock::time_point> NextDue() const;
  void TakeDue();

 private:
  using Certainty = port::ChangeRecord::Certainty;
  using Taking = port::FileClaims::Taking;
  enum class End { Delete, Done, Failed };
  enum class Ending { Reached, Open, Gone };

  struct Waiting {
    Clock::time_point due;
    Certainty certainty = Certainty::Closed;
    port::FileLook look;
    Clock::duration pause{};
    // Once it looks the same for the pause, it is taken without more questions.
    bool is_settling = false;
  };
  struct Unfinished {
    port::FileClaim claim;
    End end = End::Delete;
    std::string reason;
  };

  bool IsStopped() const { return stop_; }
  void OpenAnew();
  void TakeLeftovers();
  void TakeOne(const std::string& name, Certainty certainty);
  void TakeNow(const std::string& name, Certainty certainty,
               Clock::duration earlier_pause);
  void TakeWaiting(const std::string& name, const Waiting& waiting);
  // Taken or Unfit; all else leaves nothing to do.
  void HandOn(const Taking& taking);
  void Process(const port::FileClaim& claim);
  void Finish(const Unfinished& file);
  Ending TryToEnd(const Unfinished& file);
  void FinishUnfinished();

  // For as long as the owner lets files settle at least, and looking the same
  // then, too.
  void Wait(const std::string& name, Certainty certainty, Clock::duration pause,
            bool must_stay_same = false);
  void StopWaiting(const std::string& name);
  void LeaveAlone(const std::string& name, const std::string& reason);
  void NoteGone(const std::string& name, Certainty certainty);
  void TellGone();
  void Remember(const std::string& name);
  void Fail(const std::string& text);
  std::string About(const std::string& name) const;

  const DirectorySettings& settings_;
  mq::StatusBoard& board_;
  const std::atomic<bool>& stop_;
  const OpenClaims open_;
  std::unique_ptr<port::FileClaims> claims_;
  std::optional<Clock::time_point> next_open_;
  std::string open_error_;  // as it was logged

  std::map<std::string, Waiting> waiting_;
  std::set<std::pair<Clock::time_point, std::string>> due_;
  std::vector<Unfinished> unfinished_;
  Clock::time_point next_finish_;
  std::string bytes_;

  std::set<std::string> named_;  // what was logged as left alone
  std::string refusal_;          // as it was logged
  // Taken lately: a second change of theirs finds nothing, and that is well.
  std::unordered_set<std::string> taken_;
  std::unordered_set<std::string> taken_before_;
  Clock::time_point next_forgetting_;
  std::string first_gone_;
  unsigned gone_ = 0;
};

}  // namespace kiv::msgq

#endif  // MQ_FILE_TAKER_H_
