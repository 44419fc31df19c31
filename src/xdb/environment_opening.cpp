#include "xdb/environment_opening.h"

#include "util/log_entry.h"
#include "xdb/container/store_error.h"
#include "xdb/xdb_messages.h"
#include "xdb/xdb_text.h"

namespace kiv::xdb {
namespace {

constexpr char kDbException[] = "XDbManager::ConstructEnv DbException: '";
constexpr char kException[] = "XDbManager::ConstructEnv exception: ";

using Message = std::string (*)(const std::string& home,
                                const std::string& text);

// A repair that fails is logged; whether it helped shows in the next opening.
void Repair(OpeningEnvironment& environment, bool is_catastrophic,
            const std::string& home, Message failed) {
  try {
    environment.Repair(is_catastrophic);
  } catch (...) {
    LogProblem(failed(home, ExceptionText()));
  }
}

// For a catch block. Whether it is worth another opening.
bool RepairStage(OpeningEnvironment& environment, int stage,
                 const std::string& home) {
  const std::string text = ExceptionText();
  switch (stage) {
    case 0:
      LogProblem(message::TryingRepair(home, text));
      Repair(environment, false, home, message::RepairFailed);
      return true;
    case 1:
      LogProblem(message::TryingRepairAgain(home, text));
      Repair(environment, true, home, message::RepairFailedAgain);
      return true;
    default:
      LogProblem(kDbException + home + "' - " + text);
      return false;
  }
}

// True when it opened; false, and logged, when it never will.
bool OpenOnce(OpeningEnvironment& environment, const std::string& home) {
  const int code = environment.Open();
  if (code == 0) return true;
  std::string text = "XDbManager::ConstructEnv open failed: '" + home +
                     "' - return " + std::to_string(code);
  const std::string reason = environment.ErrorText();
  if (!reason.empty()) text += ": " + Shown(reason);
  LogProblem(text);
  return false;
}

}  // namespace

bool OpenWithRepair(OpeningEnvironment& environment, const std::string& home) {
  for (int stage = 0;; ++stage) {
    try {
      return OpenOnce(environment, home);
    } catch (const StoreError& error) {
      if (error.failure() != Failure::NeedsRecovery) {
        LogExceptionAtHand(kException + ("'" + home) + "' - ");
        return false;
      }
      if (!RepairStage(environment, stage, home)) return false;
    } catch (const std::exception&) {
      LogExceptionAtHand(kException + ("'" + home) + "' - ");
      return false;
    } catch (...) {
      LogProblem(kException);
      return false;
    }
  }
}

}  // namespace kiv::xdb
