#ifndef SERVICE_LOG_ECHO_H_
#define SERVICE_LOG_ECHO_H_

#include <fstream>
#include <string>

namespace kiv {

// Shows on standard error, as UTF-8, what is written to the log of the working
// folder. For a service that is looked at while it runs.
class LogEcho {
 public:
  // From what is logged from now on.
  LogEcho();

  // What came since the last call.
  void ShowNew();

 private:
  static std::string TodaysFile();
  void Open(const std::string& name, bool at_end);
  void ShowLines();

  std::string name_;
  std::ifstream file_;
  std::string line_;  // its beginning, as long as its end is to come
};

}  // namespace kiv

#endif  // SERVICE_LOG_ECHO_H_
