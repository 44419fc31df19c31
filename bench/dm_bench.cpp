// The data model against what one would write by hand in C++.
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "compare.h"
#include "dm/object.h"
#include "kiv/date_time.h"

namespace {

using Any = dm::ObjectPtr<int*>;
using StructPtr = dm::ObjectPtr<dm::StructType>;

// So many objects alive at once, made and then released.
template <typename Make, typename Release>
void MakeAndRelease(benchmark::State& state, std::size_t alive, Make make,
                    Release release) {
  std::vector<decltype(make())> objects(alive);
  for (auto _ : state) {
    for (auto& object : objects) {
      object = make();
      benchmark::DoNotOptimize(object);
    }
    for (auto& object : objects) release(object);
  }
}

void OurInt32(benchmark::State& state, std::size_t alive) {
  MakeAndRelease(
      state, alive,
      [] { return dm_o_new(DM_SIGN_DEFAULT + DM_INT32, nullptr); },
      [](void* object) { dm_o_inner_release(object); });
}

void SharedInt(benchmark::State& state, std::size_t alive) {
  MakeAndRelease(
      state, alive, [] { return std::make_shared<int>(); },
      [](std::shared_ptr<int>& object) { object.reset(); });
}

// A weighing: ten members of mixed types. Made, shared with a second owner and
// released by both; and the same with every member written.
const GUID kScale = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

struct Weighing {
  std::atomic<std::int32_t> count = 1;
  std::int32_t number = 0;
  std::int16_t station = 0;
  std::int64_t ticket = 0;
  unsigned char state = 0;
  bool is_manual = false;
  float tare = 0;
  double gross = 0;
  std::string plate;
  kiv::DateTime time;
  std::vector<unsigned char> signature;
};

void ReleaseWeighing(Weighing* weighing) {
  if (weighing->count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete weighing;
  }
}

void HandWritten(benchmark::State& state, std::size_t alive) {
  MakeAndRelease(
      state, alive,
      [] {
        auto* const weighing = new Weighing;
        weighing->count.fetch_add(1, std::memory_order_relaxed);
        return weighing;
      },
      [](Weighing* weighing) {
        ReleaseWeighing(weighing);
        ReleaseWeighing(weighing);
      });
}

void HandWrittenFilled(benchmark::State& state, std::size_t alive) {
  std::int32_t i = 0;
  MakeAndRelease(
      state, alive,
      [&i] {
        auto* const weighing = new Weighing;
        weighing->number = ++i;
        weighing->station = 3;
        weighing->ticket = i;
        weighing->state = 1;
        weighing->is_manual = true;
        weighing->tare = 1.5F;
        weighing->gross = 20.25;
        weighing->plate = "A12345";
        weighing->time = kiv::DateTime(631000000000000000 + i);
        weighing->signature.assign(
            reinterpret_cast<const unsigned char*>(&kScale),
            reinterpret_cast<const unsigned char*>(&kScale) + sizeof kScale);
        return weighing;
      },
      ReleaseWeighing);
}

StructPtr WeighingType() {
  const auto type = StructPtr::Take(dm_o_struct_metadata_new());
  const auto add = [&](const char* name, void* metadata) {
    dm_o_struct_metadata_append(type.get(), name, metadata);
  };
  add("number", dm_o_int32_metadata());
  add("station", dm_o_int16_metadata());
  add("ticket", dm_o_int64_metadata());
  add("state", dm_o_byte_metadata());
  add("is_manual", dm_o_bool_metadata());
  add("tare", dm_o_float_metadata());
  add("gross", dm_o_double_metadata());
  add("plate", dm_o_ansi_string_metadata());
  add("time", dm_o_datetime_metadata());
  add("signature", dm_o_binary_metadata());
  return type;
}

template <typename T>
void Set(void* object, std::size_t field, const T& value) {
  dm_o_copy_from(dm_o_struct_field_at(object, field), &value);
}

void OurStruct(benchmark::State& state, std::size_t alive) {
  const StructPtr type = WeighingType();
  MakeAndRelease(
      state, alive,
      [&] {
        void* const object = dm_o_instance_from_metadata(type.get());
        dm_o_add_ref(object);
        return object;
      },
      [](void* object) {
        dm_o_inner_release(object);
        dm_o_inner_release(object);
      });
  if (dm_o_get_ref(type.get()) != 1) state.SkipWithError("instances stay");
}

void OurStructFilled(benchmark::State& state, std::size_t alive) {
  const StructPtr type = WeighingType();
  std::int32_t i = 0;
  MakeAndRelease(
      state, alive,
      [&] {
        void* const object = dm_o_instance_from_metadata(type.get());
        Set<std::int32_t>(object, 0, ++i);
        Set<std::int16_t>(object, 1, 3);
        Set<std::int64_t>(object, 2, i);
        Set<unsigned char>(object, 3, 1);
        Set<bool>(object, 4, true);
        Set<float>(object, 5, 1.5F);
        Set<double>(object, 6, 20.25);
        dm_o_string_assign(dm_o_struct_field_at(object, 7), "A12345");
        Set<kiv::DateTime>(object, 8, kiv::DateTime(631000000000000000 + i));
        dm_o_vector_append_values(dm_o_struct_field_at(object, 9), &kScale,
                                  sizeof kScale);
        return object;
      },
      [](void* object) { dm_o_inner_release(object); });
  if (dm_o_get_ref(type.get()) != 1) state.SkipWithError("instances stay");
}

void OurVector(benchmark::State& state, std::size_t doubles) {
  for (auto _ : state) {
    const auto vector = Any::Take(dm_o_new(DM_SIGN_DEFAULT + DM_VALUE_VECTOR,
                                           dm_o_type_info_from_id(DM_DOUBLE)));
    for (std::size_t i = 0; i < doubles; ++i) {
      const auto value = static_cast<double>(i);
      dm_o_vector_append_values(vector.get(), &value, 1);
    }
    double sum = 0;
    for (std::size_t i = 0; i < doubles; ++i) {
      double value;
      std::memcpy(&value, dm_o_vector_at(vector.get(), i), sizeof value);
      sum += value;
    }
    benchmark::DoNotOptimize(sum);
  }
}

void StandardVector(benchmark::State& state, std::size_t doubles) {
  for (auto _ : state) {
    std::vector<double> vector;
    for (std::size_t i = 0; i < doubles; ++i) {
      vector.push_back(static_cast<double>(i));
    }
    double sum = 0;
    for (std::size_t i = 0; i < doubles; ++i) sum += vector.at(i);
    benchmark::DoNotOptimize(sum);
  }
}

// Names as schemas have them, looked up in an order that is not theirs.
std::vector<std::string> Names(std::size_t count) {
  std::vector<std::string> made;
  for (std::size_t i = 0; i < count; ++i) {
    made.push_back("Record" + std::to_string(i * 7919 % 1'000'003) +
                   (i % 3 == 0 ? "Type" : ".Detail"));
  }
  return made;
}

void OurNames(benchmark::State& state, std::size_t count) {
  const std::vector<std::string> names = Names(count);
  for (const std::string& name : names) {
    dm_o_typedef(dm_o_int32_metadata(), name.c_str(), true);
  }
  for (auto _ : state) {
    for (const std::string& name : names) {
      benchmark::DoNotOptimize(dm_o_get_metadata(name.c_str()));
    }
  }
  for (const std::string& name : names) dm_o_del_metadata(name.c_str());
}

void StandardNames(benchmark::State& state, std::size_t count) {
  const std::vector<std::string> names = Names(count);
  std::unordered_map<std::string, void*> map;
  for (const std::string& name : names) map[name] = &map;
  for (auto _ : state) {
    for (const std::string& name : names) {
      benchmark::DoNotOptimize(map.find(name)->second);
    }
  }
}

bench::Growth ByObjects() {
  return bench::Curve{"objects alive at once", 1, {100, 10'000, 1'000'000}};
}

const bool int32 =
    bench::Compare({"dm/int32", "objects/s", bench::Size, "make_shared", 1.0},
                   ByObjects(), OurInt32, SharedInt);
// At most two and a half times the time.
const bool record = bench::Compare(
    {"dm/struct_of_ten", "objects/s", bench::Size, "hand_written", 0.4},
    ByObjects(), OurStruct, HandWritten);
// Sixteen calls through the C interface where the class has assignments.
const bool filled_record = bench::Compare(
    {"dm/struct_of_ten_filled", "objects/s", bench::Size, "hand_written", 0.2},
    ByObjects(), OurStructFilled, HandWrittenFilled);
// At most twice the time.
const bool vector = bench::Compare(
    {"dm/double_vector", "doubles/s", bench::Size, "vector_at", 0.5},
    bench::Curve{"elements", 1'000'000, {10, 1000, 100'000}}, OurVector,
    StandardVector);
const bool names = bench::Compare(
    {"dm/type_names", "look-ups/s", bench::Size, "unordered_map", 1.0},
    bench::Curve{"registered types", 10'000, {100, 1000, 100'000}}, OurNames,
    StandardNames);

}  // namespace
