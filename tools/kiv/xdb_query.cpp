// kiv xdb query
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "standard_streams.h"
#include "xdb_asking.h"
#include "xdb_command.h"

namespace kiv_tool {
namespace {

bool ReadQuery(const XdbPlace& place, const std::string& file,
               std::string& query) {
  if (file == "-") {
    query.assign(std::istreambuf_iterator<char>(std::cin), {});
    if (HasStandardInput() && !std::cin.bad()) return true;
    place.Fault("standard input cannot be read");
    return false;
  }
  std::ifstream in(file, std::ios::binary);
  query.assign(std::istreambuf_iterator<char>(in), {});
  if (in) return true;
  place.Fault(file + " cannot be read");
  return false;
}

}  // namespace

int XdbQuery(XdbPlace& place, const XdbOptions& options) {
  if (options.query.empty() == options.query_file.empty()) {
    place.Fault("ask a query, or name its file by --file");
    return 2;
  }
  std::string query = options.query;
  if (!options.query_file.empty() &&
      !ReadQuery(place, options.query_file, query))
    return 1;
  XdbAsking asking(place);
  if (!asking.Start(options)) return 1;
  return asking.Ask(query) == XdbAsking::Answer::Given ? 0 : 1;
}

}  // namespace kiv_tool
