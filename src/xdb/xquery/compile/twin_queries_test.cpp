#include "xdb/xquery/compile/twin_queries_testing.h"

#include <gtest/gtest.h>

#include <random>

#include "util/runtime.h"

namespace kiv::xdb::xq {
namespace {

TEST(Plan, AnswersAsTheQueryDoesWithoutIndicesAndJoins) {
  constexpr unsigned kQueries = 3000;
  StartValues();
  for (unsigned seed = 0; seed != kQueries; ++seed) {
    std::mt19937 random(seed);
    std::vector<std::uint8_t> bytes(400);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    EXPECT_EQ(FaultOfTwins(bytes), "") << "seed " << seed;
  }
  StopValues();
}

}  // namespace
}  // namespace kiv::xdb::xq
