#ifndef XQUERY_CASES_JUDGE_H_
#define XQUERY_CASES_JUDGE_H_

#include <string>

#include "cases.h"
#include "engine.h"

namespace xquery_cases {

enum class Outcome { Passed, Failed, Skipped };

struct Verdict {
  Outcome outcome = Outcome::Failed;
  std::string reason;  // why it did not pass
};

// Runs the query of the case in its environment and holds the result against
// what is expected. `sources` is the folder of the cases' files.
Verdict Judge(const Case& one, Engine& engine, const std::string& sources);

}  // namespace xquery_cases

#endif  // XQUERY_CASES_JUDGE_H_
