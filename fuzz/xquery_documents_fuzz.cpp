// Any documents and queries over them, with the plans that indices and joins
// make and without: the answers are the same.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "util/runtime.h"
#include "xdb/xquery/compile/twin_queries_testing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  static const bool is_started = (kiv::StartValues(), true);
  static_cast<void>(is_started);
  const std::string fault = kiv::xdb::xq::FaultOfTwins({bytes, size});
  if (fault.empty()) return 0;
  std::fprintf(stderr, "%s\n", fault.c_str());
  std::abort();
}
