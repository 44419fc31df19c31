#ifndef TOOLS_KIV_XDB_ASKING_H_
#define TOOLS_KIV_XDB_ASKING_H_

#include <string>

#include "kiv/xdb.h"
#include "xdb_command.h"
#include "xdb_place.h"

// What kiv xdb query and kiv xdb shell share.
namespace kiv_tool {

// Asks queries, one after the other, with the same namespaces, variables and
// limits, and prints what they give. Ctrl+C ends the query that runs.
class XdbAsking {
 public:
  explicit XdbAsking(XdbPlace& place) : place_(place) {}

  // Opens the folder and takes the options over. False, and said, on failure.
  bool Start(const XdbOptions& options);

  // "prefix=uri". False, and said, when it is none.
  bool SetNamespace(const std::string& definition);
  // "name=text" or "name:=query".
  bool SetVariable(const std::string& definition);

  enum class Answer { Given, Failed, Unfinished };
  // Unfinished, where `may_go_on`, for a text that breaks off and may go on in
  // another line; nothing is said then.
  Answer Ask(const std::string& query, bool may_go_on = false);

  bool explains = false;
  bool shows_time = false;
  bool is_plain = false;
  std::string separator = "\n";

 private:
  bool LocalQuery(const std::string& query, std::string& local) const;
  Answer Fail(const std::string& query, bool may_go_on) const;
  bool Print(kiv::XDbResults& results, unsigned long long& count) const;

  XdbPlace& place_;
  kiv::XDbManager* manager_ = nullptr;
  kiv::XDbQueryContext context_;
};

}  // namespace kiv_tool

#endif  // TOOLS_KIV_XDB_ASKING_H_
