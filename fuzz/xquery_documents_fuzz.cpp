// Any documents and queries over them, with the plans that indices and joins
// make and without: the answers are the same.
#include <cstdint>
#include <cstdio>
#include <string>

#include "input_of_fuzz.h"
#include "xdb/xquery/compile/twin_queries_testing.h"

void kiv::fuzz::Run(std::string_view input) {
  Session::Next();
  const std::string fault = xdb::xq::FaultOfTwins(
      {reinterpret_cast<const std::uint8_t*>(input.data()), input.size()});
  std::fputs(fault.c_str(), stderr);
  Expect(fault.empty());
}
