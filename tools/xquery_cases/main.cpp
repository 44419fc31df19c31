// xquery_cases: runs the cases of a file on the query engine and says which
// passed. The last line is "N passed, N failed, N skipped".
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "cases.h"
#include "engine.h"
#include "judge.h"
#include "workers.h"

namespace {

using xquery_cases::Case;
using xquery_cases::Outcome;
using xquery_cases::Verdict;

struct Options {
  std::string file;
  std::string sources;
  std::string only;
  bool list_failures = false;
  bool show_queries = false;
  std::size_t jobs = 1;
  int limit_ms = 5000;
  std::size_t at_least = 0;
};

struct Tally {
  std::size_t passed = 0;
  std::size_t failed = 0;
  std::size_t skipped = 0;

  void Count(Outcome outcome) {
    ++(outcome == Outcome::Passed   ? passed
       : outcome == Outcome::Failed ? failed
                                    : skipped);
  }
};

void AddOptions(CLI::App& program, Options& options) {
  program
      .add_option("FILE", options.file,
                  "One case a line as JSON, plain or by gzip")
      ->required()
      ->check(CLI::ExistingFile);
  program.add_option("--sources", options.sources,
                     "The folder of the cases' documents (default: sources "
                     "beside FILE)");
  program.add_option("--only", options.only,
                     "Only cases whose SET/NAME has this in it");
  program.add_flag("--list-failures", options.list_failures,
                   "Says of each failed case why");
  program.add_flag("--show-queries", options.show_queries,
                   "Shows the query with each failure");
  program.add_option("--jobs", options.jobs, "Cases at a time (default: 1)");
  program.add_option("--time-limit", options.limit_ms,
                     "Milliseconds for each case (default: 5000)");
  program.add_option("--at-least", options.at_least,
                     "Fails when fewer cases pass");
}

std::vector<Case> Selected(const Options& options) {
  std::vector<Case> cases = xquery_cases::ReadCases(options.file);
  std::erase_if(cases, [&](const Case& one) {
    return one.FullName().find(options.only) == std::string::npos;
  });
  return cases;
}

// One line a failure, whatever is in the result.
std::string OneLine(std::string text) {
  constexpr std::size_t kShown = 400;
  if (text.size() > kShown) text = text.substr(0, kShown) + "...";
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  }
  return text;
}

void PrintFailures(const std::vector<Case>& cases,
                   const std::vector<Verdict>& verdicts, bool with_queries) {
  for (std::size_t i = 0; i < cases.size(); ++i) {
    if (verdicts[i].outcome != Outcome::Failed) continue;
    std::cout << cases[i].FullName() << ": " << OneLine(verdicts[i].reason)
              << "\n";
    if (with_queries) std::cout << "  " << cases[i].query << "\n";
  }
}

void PrintSets(const std::map<std::string, Tally>& sets) {
  std::size_t width = 0;
  for (const auto& [set, tally] : sets) width = std::max(width, set.size());
  for (const auto& [set, tally] : sets) {
    std::printf("%-*s %5zu passed %5zu failed %5zu skipped\n",
                static_cast<int>(width), set.c_str(), tally.passed,
                tally.failed, tally.skipped);
  }
  std::fflush(stdout);
}

int Run(const Options& options) {
  const std::vector<Case> cases = Selected(options);
  const std::string sources =
      !options.sources.empty()
          ? options.sources
          : (std::filesystem::path(options.file).parent_path() / "sources")
                .string();
  std::vector<Verdict> verdicts(cases.size());
  xquery_cases::JudgeAll(
      cases.size(), {options.jobs, std::chrono::milliseconds(options.limit_ms)},
      [&](std::size_t number) {
        // One for each worker; what a case leaves in it is the engine's fault.
        static const auto engine = xquery_cases::MakeEngine();
        return xquery_cases::Judge(cases[number], *engine, sources);
      },
      [&](std::size_t number, const Verdict& verdict) {
        verdicts[number] = verdict;
      });
  std::map<std::string, Tally> sets;
  Tally all;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    sets[cases[i].set].Count(verdicts[i].outcome);
    all.Count(verdicts[i].outcome);
  }
  if (options.list_failures || options.show_queries) {
    PrintFailures(cases, verdicts, options.show_queries);
  }
  PrintSets(sets);
  const bool is_enough = all.passed >= options.at_least;
  if (!is_enough) {
    std::cout << "fewer than " << options.at_least << " passed\n";
  }
  std::cout << all.passed << " passed, " << all.failed << " failed, "
            << all.skipped << " skipped" << std::endl;
  return is_enough ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    CLI::App program{"Runs conformance cases of the query language.",
                     "xquery_cases"};
    Options options;
    AddOptions(program, options);
    CLI11_PARSE(program, argc, argv);
    return Run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}
