#ifndef TESTING_LONG_TESTS_H_
#define TESTING_LONG_TESTS_H_

#include <cstdlib>

namespace kiv::testing {

// Whether those tests that run for as long as one likes are to run for long;
// ctest asks it of the slow ones.
inline bool AreLongTestsWanted() {
  return std::getenv("KIV_LONG_TESTS") != nullptr;
}

}  // namespace kiv::testing

#endif  // TESTING_LONG_TESTS_H_
