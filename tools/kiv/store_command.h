#ifndef TOOLS_KIV_STORE_COMMAND_H_
#define TOOLS_KIV_STORE_COMMAND_H_

#include <string>
#include <vector>

#include "store_place.h"

// The parts of kiv store. Each returns the program's exit code.
namespace kiv_tool {

// As on the command line, in UTF-8.
struct StoreOptions {
  std::string table;
  std::vector<std::string> schemas;
  std::string type;
  long text_length = 0;
  bool may_create = false;
  std::string format;
  std::string output;
  std::string input;
  std::string statement;
  std::vector<std::string> parameters;
  bool gives_no_rows = false;
};

int StorePing(StorePlace& place, const StoreOptions& options);
int StoreTables(StorePlace& place, const StoreOptions& options);
int StoreColumns(StorePlace& place, const StoreOptions& options);
int StoreCreate(StorePlace& place, const StoreOptions& options);
int StoreDump(StorePlace& place, const StoreOptions& options);
int StoreImport(StorePlace& place, const StoreOptions& options);
int StoreQuery(StorePlace& place, const StoreOptions& options);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_STORE_COMMAND_H_
