#include "mq/file_taker.h"

#include <algorithm>
#include <climits>
#include <exception>

#include "kiv/date_time.h"
#include "kiv/msgq/file_queue.h"
#include "mq/processor_fault.h"
#include "port/file.h"
#include "port/native_path.h"
#include "util/log_entry.h"

namespace kiv::msgq {
namespace {

using Outcome = port::FileClaims::Outcome;

constexpr char kSource[] = "msgq";
// A processor is given the length as an int.
constexpr std::size_t kMostBytes = INT_MAX;

// A file that somebody has open is looked at again, ever more rarely: its
// closing is told of, unless it has another name by which it was opened.
constexpr auto kFirstPause = std::chrono::seconds(1);
constexpr auto kLongestPause = std::chrono::seconds(60);
// How long a file of whose writers nothing is known must stay the same.
constexpr auto kQuiet = std::chrono::seconds(5);
constexpr auto kRefusedPause = std::chrono::seconds(30);
constexpr auto kOpenPause = std::chrono::seconds(5);
// How long a change that comes behind its file's taking is not wondered at.
constexpr auto kRemembered = std::chrono::seconds(2);
// A folder full of links shall not fill the log.
constexpr std::size_t kNamedAtMost = 100;

// Writers give a file that grows such a name, and so do we.
bool IsHidden(const std::string& name) {
  return name.starts_with('.') || name.find("/.") != std::string::npos;
}

}  // namespace

FileTaker::FileTaker(const DirectorySettings& settings, mq::StatusBoard& board,
                     const std::atomic<bool>& stop, OpenClaims open)
    : settings_(settings), board_(board), stop_(stop), open_(std::move(open)) {}

std::string FileTaker::About(const std::string& name) const {
  return "file '" + Shown(port::LocalPath(name)) + "' of directory '" +
         Shown(settings_.name) + "' ";
}

void FileTaker::Fail(const std::string& text) {
  LogError(kSource, "FileQueue Failed: " + text);
  board_.SetError(text);
}

void FileTaker::Open() {
  std::string reason;
  claims_ = open_(settings_.path, reason);
  next_open_.reset();
  if (claims_ == nullptr) {
    next_open_ = Clock::now() + kOpenPause;
    if (reason == open_error_) return;
    open_error_ = reason;
    return Fail("no file of directory '" + Shown(settings_.name) +
                "' can be taken: " + Shown(reason));
  }
  open_error_.clear();
  TakeLeftovers();
}

void FileTaker::Close() {
  claims_.reset();
  next_open_.reset();
  waiting_.clear();
  due_.clear();
  unfinished_.clear();
}

// What was to be moved on from there is gone with them, or found as left over.
void FileTaker::OpenAnew() {
  LogError(kSource, "FileQueue: the folders in .processing of directory '" +
                        Shown(settings_.name) +
                        "' were removed; they are made again");
  claims_.reset();
  unfinished_.clear();
  Open();
}

void FileTaker::TakeLeftovers() {
  for (const port::Leftover& file : claims_->Leftovers()) {
    if (IsStopped()) break;
    Taking taking = claims_->TakeLeftover(file, kMostBytes, bytes_);
    if (taking.outcome == Outcome::Refused)
      Fail(About(file.name) +
           "was left by a host that ended, and stays in "
           ".processing: " +
           Shown(taking.reason));
    if (taking.outcome == Outcome::LeftAlone)
      LeaveAlone(file.name, taking.reason);
    if (taking.outcome == Outcome::Taken && file.attempts >= kMostAttempts) {
      taking.outcome = Outcome::Unfit;
      taking.reason = "its processing was begun " +
                      std::to_string(file.attempts) +
                      " times, and each time the host ended over it";
    }
    HandOn(taking);
  }
  claims_->Tidy();
}

void FileTaker::Take(const std::vector<port::ChangeRecord>& records) {
  for (const port::ChangeRecord& record : records) {
    if (IsStopped()) break;
    if (IsHidden(record.name)) continue;
    StopWaiting(record.name);
    TakeOne(record.name, record.certainty);
  }
  TellGone();
  if (IsOpen()) claims_->Tidy();
}

void FileTaker::TakeOne(const std::string& name, Certainty certainty) {
  // Without folders of our own nothing can be taken yet.
  if (!IsOpen() || settings_.settle_ms > 0)
    return Wait(name, certainty, Clock::duration::zero());
  TakeNow(name, certainty, Clock::duration::zero());
}

void FileTaker::TakeNow(const std::string& name, Certainty certainty,
                        Clock::duration earlier_pause) {
  const Taking taking = claims_->Take(name, certainty, kMostBytes, bytes_);
  switch (taking.outcome) {
    case Outcome::Taken:
    case Outcome::Unfit:
      Remember(name);
      return HandOn(taking);
    case Outcome::Gone:
      return NoteGone(name, certainty);
    case Outcome::BeingWritten:
      return Wait(name, Certainty::Found,
                  std::clamp<Clock::duration>(2 * earlier_pause, kFirstPause,
                                              kLongestPause));
    case Outcome::Unsure:
      return Wait(name, certainty, kQuiet, true);
    case Outcome::LeftAlone:
      return LeaveAlone(name, taking.reason);
    case Outcome::Lost:
      OpenAnew();
      return Wait(name, certainty, kFirstPause);
    case Outcome::Refused:
      break;
  }
  Wait(name, certainty, kRefusedPause);
  board_.CountRefused();
  if (refusal_ == taking.reason) return;
  refusal_ = taking.reason;
  Fail(About(name) + "stays where it is for now: " + Shown(taking.reason));
}

void FileTaker::HandOn(const Taking& taking) {
  if (taking.outcome == Outcome::Taken) return Process(taking.claim);
  if (taking.outcome != Outcome::Unfit) return;
  board_.CountMessage(0, false);
  Finish({taking.claim, End::Failed, taking.reason});
}

void FileTaker::Process(const port::FileClaim& claim) {
  board_.SetLastMessage(DateTime::Now().Ticks());
  const std::string local_name = port::LocalPath(claim.name);
  FileQueueFile file{settings_.name.c_str(), local_name.c_str(), claim.attempt};
  module::TakeProcessorFault();
  const bool is_handled = settings_.processor->process_mem(
      bytes_.data(), static_cast<int>(bytes_.size()), &file);
  board_.CountMessage(bytes_.size(), is_handled);
  if (!is_handled) {
    const std::string fault = module::TakeProcessorFault();
    Finish({claim, End::Failed,
            fault.empty() ? "the processor answered false"
                          : "the processor failed: " + fault});
  } else if (claims_->HasChanged(claim)) {
    // Deleting it would lose what was added.
    Finish({claim, End::Failed,
            "it was written to while it was processed; the processor was given "
            "its first " +
                std::to_string(claim.size_bytes) + " bytes"});
  } else {
    Finish(
        {claim, settings_.delete_after_process ? End::Delete : End::Done, ""});
  }
}

void FileTaker::Finish(const Unfinished& file) {
  const Ending ending = TryToEnd(file);
  const int error = port::LastError();
  if (file.end == End::Failed)
    Fail(About(file.claim.name) +
         (ending == Ending::Reached ? "was moved to .failed: "
          : ending == Ending::Gone
              ? "is in .processing no longer, and belongs into .failed: "
              : "belongs into .failed: ") +
         Shown(file.reason));
  if (file.end == End::Done && ending == Ending::Gone)
    Fail(About(file.claim.name) +
         "is in .processing no longer, and belongs into .done");
  if (ending != Ending::Open) return;
  Fail(About(file.claim.name) +
       "stays in .processing, because it could not be " +
       (file.end == End::Delete ? "deleted: " : "moved on: ") +
       port::ErrorText(error) + "; that is tried again");
  if (unfinished_.empty()) next_finish_ = Clock::now() + kRefusedPause;
  unfinished_.push_back(file);
}

FileTaker::Ending FileTaker::TryToEnd(const Unfinished& file) {
  const auto has_ended = [&] {
    switch (file.end) {
      case End::Delete:
        return claims_->Delete(file.claim);
      case End::Done:
        return claims_->MoveToDone(file.claim);
      case End::Failed:
        break;
    }
    return claims_->MoveToFailed(file.claim, file.reason);
  };
  if (has_ended()) return Ending::Reached;
  // Somebody took it away: that, too, is an end.
  return port::IsNotFound(port::LastError()) ? Ending::Gone : Ending::Open;
}

void FileTaker::FinishUnfinished() {
  next_finish_ = Clock::now() + kRefusedPause;
  std::erase_if(unfinished_, [this](const Unfinished& file) {
    return TryToEnd(file) != Ending::Open;
  });
}

void FileTaker::Wait(const std::string& name, Certainty certainty,
                     Clock::duration pause, bool must_stay_same) {
  const auto settle = std::chrono::milliseconds(settings_.settle_ms);
  pause = std::max<Clock::duration>(pause, settle);
  Waiting waiting{Clock::now() + pause,
                  certainty,
                  {},
                  pause,
                  must_stay_same || settings_.settle_ms > 0};
  if (waiting.is_settling && IsOpen()) {
    waiting.look = claims_->LookAt(name);
    if (waiting.look.kind == port::FileLook::Kind::Missing)
      return NoteGone(name, certainty);
  }
  StopWaiting(name);
  due_.emplace(waiting.due, name);
  waiting_.emplace(name, waiting);
}

void FileTaker::StopWaiting(const std::string& name) {
  const auto known = waiting_.find(name);
  if (known == waiting_.end()) return;
  due_.erase({known->second.due, name});
  waiting_.erase(known);
}

std::optional<FileTaker::Clock::time_point> FileTaker::NextDue() const {
  if (claims_ == nullptr) return next_open_;
  std::optional<Clock::time_point> next;
  if (!due_.empty()) next = due_.begin()->first;
  if (!unfinished_.empty() && (!next || next_finish_ < *next))
    next = next_finish_;
  return next;
}

void FileTaker::TakeDue() {
  const auto now = Clock::now();
  if (claims_ == nullptr) {
    if (next_open_ && *next_open_ <= now) Open();
    return;
  }
  if (!unfinished_.empty() && next_finish_ <= now) FinishUnfinished();
  if (due_.empty() || due_.begin()->first > now) return;
  while (!due_.empty() && due_.begin()->first <= now && !IsStopped() &&
         IsOpen()) {
    const std::string name = due_.begin()->second;
    const Waiting waiting = waiting_.at(name);
    StopWaiting(name);
    TakeWaiting(name, waiting);
  }
  TellGone();
  if (IsOpen()) claims_->Tidy();
}

void FileTaker::TakeWaiting(const std::string& name, const Waiting& waiting) {
  if (waiting.is_settling && !claims_->LookAt(name).IsSameAs(waiting.look))
    return Wait(name, waiting.certainty, waiting.pause, true);
  // Its writer, who had closed it, may have it open again by now; and one that
  // was found has been quiet long enough, by a clock that nobody sets. Of both
  // it is asked who writes them, and no more.
  const bool is_quiet = waiting.is_settling && waiting.pause >= kQuiet;
  TakeNow(name,
          is_quiet || waiting.certainty == Certainty::Closed
              ? Certainty::Stable
              : waiting.certainty,
          waiting.pause);
}

void FileTaker::LeaveAlone(const std::string& name, const std::string& reason) {
  if (named_.size() >= kNamedAtMost || !named_.insert(name).second) return;
  board_.CountRefused();
  LogInformation(
      kSource,
      "FileQueue: " + About(name) + "is left where it is: " + Shown(reason) +
          (named_.size() == kNamedAtMost ? "; further ones are not named"
                                         : ""));
}

void FileTaker::Remember(const std::string& name) {
  const auto now = Clock::now();
  if (now >= next_forgetting_) {
    taken_before_ = std::exchange(taken_, {});
    next_forgetting_ = now + kRemembered;
  }
  taken_.insert(name);
}

void FileTaker::NoteGone(const std::string& name, Certainty certainty) {
  // What was only found goes away when a host takes it.
  if ((certainty != Certainty::Closed && certainty != Certainty::Moved) ||
      taken_.contains(name) || taken_before_.contains(name))
    return;
  if (gone_++ == 0) first_gone_ = name;
}

// One line for a batch: with a second host on the folder there are many.
void FileTaker::TellGone() {
  if (gone_ == 0) return;
  LogInformation(
      kSource,
      "FileQueue: " + About(first_gone_) +
          (gone_ > 1 ? "and " + std::to_string(gone_ - 1) + " more " : "") +
          "went away before it could be taken");
  gone_ = 0;
}

}  // namespace kiv::msgq
