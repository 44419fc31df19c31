#ifndef DM_STRUCT_TESTING_H_
#define DM_STRUCT_TESTING_H_

#include <random>
#include <string>

#include "dm/data_test_fixture.h"

// Struct types and values at random, for tests of what must hold for any.
namespace dm {

struct RandomTypeLimits {
  unsigned max_fields = 200;
  unsigned max_depth = 3;  // levels of structs
  // Types that a schema can say; else every type that can be a field.
  bool only_schema_types = false;
  // A struct with one cannot be copied.
  bool data_pointers = false;
};

StructPtr RandomStructType(std::mt19937& random,
                           const RandomTypeLimits& limits);

// Gives every field a value and returns what Shown must say of them, put
// together from the values alone.
std::string FillAtRandom(std::mt19937& random, void* object);

// Every value in the object, read through the published functions.
std::string Shown(const void* object);

// Names, types and layout of all fields, nested ones too.
std::string ShownType(const void* metadata);

// A number in the environment, as KIV_STRUCT_SEEDS.
unsigned FromEnvironment(const char* name, unsigned otherwise);

}  // namespace dm

#endif  // DM_STRUCT_TESTING_H_
