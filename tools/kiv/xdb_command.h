#ifndef TOOLS_KIV_XDB_COMMAND_H_
#define TOOLS_KIV_XDB_COMMAND_H_

#include <string>
#include <vector>

#include "xdb_place.h"

// The parts of kiv xdb. Each returns the program's exit code.
namespace kiv_tool {

struct XdbOptions {
  std::string container;           // UTF-8, as all names here
  std::vector<std::string> names;  // of documents, of containers
  std::vector<std::string> paths;
  std::string name;
  std::string new_name;
  std::string folder;
  std::string output;
  bool replaces = false;
  bool may_create = false;
  bool shows_details = false;
  bool salvages = false;
  bool is_catastrophic = false;
  bool removes_container = false;
  bool is_confirmed = false;
  unsigned batch = 1000;
  // Of queries.
  std::string query;
  std::string query_file;
  std::vector<std::string> variables;
  std::vector<std::string> namespaces;
  std::string format = "xml";
  std::string separator = "\n";
  bool explains = false;
  bool shows_time = false;
  bool reads_files = false;
  unsigned time_limit_ms = 0;  // 0: the library's limit, as those below
  unsigned memory_limit_mb = 0;
  unsigned depth_limit = 0;
};

int XdbCreate(XdbPlace& place, const XdbOptions& options);
int XdbList(XdbPlace& place, const XdbOptions& options);
int XdbPut(XdbPlace& place, const XdbOptions& options);
int XdbGet(XdbPlace& place, const XdbOptions& options);
int XdbDelete(XdbPlace& place, const XdbOptions& options);
int XdbRename(XdbPlace& place, const XdbOptions& options);
int XdbDump(XdbPlace& place, const XdbOptions& options);
int XdbLoad(XdbPlace& place, const XdbOptions& options);
int XdbVerify(XdbPlace& place, const XdbOptions& options);
int XdbRecover(XdbPlace& place, const XdbOptions& options);
int XdbCheckpoint(XdbPlace& place, const XdbOptions& options);
int XdbStat(XdbPlace& place, const XdbOptions& options);
int XdbQuery(XdbPlace& place, const XdbOptions& options);
// Queries and commands of a person, or of a pipe, one after the other.
int XdbShell(XdbPlace& place, const XdbOptions& options);
// Commands from standard input, a line each.
int XdbScript(XdbPlace& place, const XdbOptions& options);

// Runs one line of words; 2 for wrong usage.
int RunXdbWords(XdbPlace& place, std::vector<std::string> words);
// The same with words as in a shell.
int RunXdbLine(XdbPlace& place, const std::string& line);

// The containers asked for, else all that there are. False, and said, when they
// cannot be told.
bool AskedContainers(XdbPlace& place, const XdbOptions& options,
                     std::vector<std::string>& names);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_XDB_COMMAND_H_
