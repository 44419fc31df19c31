#include "xdb_asking.h"

#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "local_text.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using Clock = std::chrono::steady_clock;

// Hands Ctrl+C to the query that runs; without one it ends the program, or the
// line that is typed.
class Interruption {
 public:
  explicit Interruption(kiv::XDbQueryContext& context) {
    asked_ = &context;
    struct sigaction action {};
    action.sa_handler = &Interruption::Cancel;
    ::sigaction(SIGINT, &action, &before_);
  }
  ~Interruption() {
    ::sigaction(SIGINT, &before_, nullptr);
    asked_ = nullptr;
  }
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

 private:
  // It counts in an atomic number, which a signal handler may.
  static void Cancel(int) {
    if (kiv::XDbQueryContext* const context = asked_) context->Cancel();
  }

  static std::atomic<kiv::XDbQueryContext*> asked_;
  struct sigaction before_ {};
};

std::atomic<kiv::XDbQueryContext*> Interruption::asked_ = nullptr;

// Whether a query may go on where this reason says that it broke off.
bool IsUnfinished(const std::string& reason) {
  for (const std::string_view end :
       {"found the end of the query", "without an end", "has no end"})
    if (reason.starts_with("XPST0003") && reason.find(end) != std::string::npos)
      return true;
  return false;
}

// The number behind `word`; 0 without one.
std::size_t NumberBehind(const std::string& text, std::string_view word) {
  const std::size_t found = text.find(word);
  return found == std::string::npos
             ? 0
             : std::strtoul(text.c_str() + found + word.size(), nullptr, 10);
}

// The line that the reason names, with a mark below the place.
std::string PlaceOf(const std::string& query, const std::string& reason) {
  constexpr std::size_t kWidest = 100;
  std::size_t line = NumberBehind(reason, "at line ");
  const std::size_t column = NumberBehind(reason, ", column ");
  std::size_t begin = 0;
  for (; line > 1 && begin < query.size(); --line) {
    const std::size_t end = query.find('\n', begin);
    begin = end == std::string::npos ? query.size() : end + 1;
  }
  std::string shown = query.substr(begin, query.find('\n', begin) - begin);
  if (column == 0 || shown.size() > kWidest) return "";
  // Columns are characters.
  std::size_t bytes = 0;
  for (std::size_t i = 1; i < column && bytes < shown.size(); ++i) {
    do {
      ++bytes;
    } while (bytes < shown.size() &&
             (static_cast<unsigned char>(shown[bytes]) & 0xC0) == 0x80);
  }
  for (char& c : shown) c = c == '\t' ? ' ' : c;
  const std::string before(DisplayWidth(shown.substr(0, bytes)), ' ');
  return "  " + Printable(shown) + "\n  " + before + "^\n";
}

double Milliseconds(Clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

void PrintTimes(Clock::duration preparing, Clock::duration running,
                unsigned long long count) {
  std::fprintf(stderr, "prepared in %.3f ms, answered in %.3f ms: %s\n",
               Milliseconds(preparing), Milliseconds(running),
               Counted(count, "item").c_str());
}

}  // namespace

bool XdbAsking::Start(const XdbOptions& options) {
  place_.extra_flags =
      kiv::XDbManager::AUTO_OPEN |
      (options.reads_files ? kiv::XDbManager::EXTERNAL_ACCESS : 0);
  manager_ = place_.Open();
  if (manager_ == nullptr) return false;
  kiv::XDbQueryLimits limits;
  if (!manager_->CreateQueryContext(context_) || !context_.GetLimits(limits)) {
    place_.LibraryFault("no query");
    return false;
  }
  if (options.time_limit_ms != 0) limits.time_ms = options.time_limit_ms;
  if (options.memory_limit_mb != 0)
    limits.memory_bytes = std::uint64_t{options.memory_limit_mb} << 20;
  if (options.depth_limit != 0) limits.call_depth = options.depth_limit;
  context_.SetLimits(limits);
  explains = options.explains;
  shows_time = options.shows_time;
  is_plain = options.format == "plain";
  separator = options.separator;
  for (const std::string& definition : options.namespaces)
    if (!SetNamespace(definition)) return false;
  for (const std::string& definition : options.variables)
    if (!SetVariable(definition)) return false;
  return true;
}

bool XdbAsking::SetNamespace(const std::string& definition) {
  const std::size_t sign = definition.find('=');
  std::string prefix;
  std::string uri;
  if (sign == std::string::npos) {
    place_.Fault("'" + definition + "' is not PREFIX=URI");
    return false;
  }
  if (!place_.LocalName(definition.substr(0, sign), prefix) ||
      !place_.LocalName(definition.substr(sign + 1), uri))
    return false;
  if (context_.SetNamespace(prefix.c_str(), uri.c_str())) return true;
  place_.Fault("'" + definition + "': neither side may be empty");
  return false;
}

bool XdbAsking::SetVariable(const std::string& definition) {
  const std::size_t sign = definition.find('=');
  if (sign == std::string::npos || sign == 0) {
    place_.Fault("'" + definition + "' is neither NAME=TEXT nor NAME:=QUERY");
    return false;
  }
  const bool is_query = definition[sign - 1] == ':';
  std::string name;
  std::string local;
  if (!place_.LocalName(definition.substr(0, is_query ? sign - 1 : sign), name))
    return false;
  const std::string text = definition.substr(sign + 1);
  kiv::XDbValue value;
  if (is_query) {
    if (!LocalQuery(text, local)) return false;
    const Interruption interruption(context_);
    kiv::XDbResults results;
    if (!manager_->Query(local, context_, results, false))
      return Fail(text, false) == Answer::Given;
    if (results.size() != 1 || !results.next(value)) {
      place_.Fault("$" + definition.substr(0, sign - 1) +
                   " takes one item, and the query gives " +
                   std::to_string(results.size()));
      return false;
    }
  } else {
    if (!LocalQuery(text, local)) return false;
    value = kiv::XDbValue(local);
  }
  if (context_.SetVariableValue(name.c_str(), value)) return true;
  place_.Fault("'" + definition + "' has no name");
  return false;
}

bool XdbAsking::LocalQuery(const std::string& query, std::string& local) const {
  if (ToGb2312(query, local)) return true;
  place_.Fault(std::string("the query") + kNotLocal +
               "; in strings and elements it can be written as &#xHEX;");
  return false;
}

XdbAsking::Answer XdbAsking::Fail(const std::string& query,
                                  bool may_go_on) const {
  const std::string reason = LibraryReason();
  if (may_go_on && IsUnfinished(reason)) return Answer::Unfinished;
  place_.Fault(reason);
  std::cerr << PlaceOf(query, reason);
  return Answer::Failed;
}

// As it comes, so that a long answer shows at once.
bool XdbAsking::Print(kiv::XDbResults& results,
                      unsigned long long& count) const {
  const bool is_terminal = IsTerminal();
  kiv::XDbValue value;
  while (std::cout && results.next(value)) {
    if (count++ > 0) std::cout << separator;
    const std::string text = is_plain ? value.asUtf8() : value.asXml();
    std::cout << (is_terminal ? ForTerminal(text) : text);
    if (is_terminal) std::cout.flush();
  }
  // The last line ends, too.
  if (count > 0 && separator.ends_with('\n')) std::cout << '\n';
  std::cout.flush();
  return !results.has_failed();
}

XdbAsking::Answer XdbAsking::Ask(const std::string& query, bool may_go_on) {
  std::string local;
  if (!LocalQuery(query, local)) return Answer::Failed;
  const Interruption interruption(context_);
  context_.SetEvaluationType(kiv::XDbQueryContext::Lazy);
  const Clock::time_point begin = Clock::now();
  kiv::XDbQueryExpression prepared;
  if (!manager_->Prepare(local, context_, prepared, false))
    return Fail(query, may_go_on);
  const Clock::time_point middle = Clock::now();
  if (explains) {
    const std::string plan = prepared.GetPlan(context_);
    if (plan.empty()) return Fail(query, false);
    std::cout << ForTerminal(Utf8(plan)) << std::flush;
    return Answer::Given;
  }
  kiv::XDbResults results;
  unsigned long long count = 0;
  if (!prepared.Execute(context_, results) || !Print(results, count))
    return Fail(query, false);
  if (shows_time) PrintTimes(middle - begin, Clock::now() - middle, count);
  return Answer::Given;
}

}  // namespace kiv_tool
