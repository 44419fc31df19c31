// Any bytes as a schema: declared once and once more in place of itself; every
// record type that came of it is laid out without a gap, has an instance, and
// comes back equal when it is exported.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "dm/object.h"
#include "dm/schema.h"
#include "kiv/dom.h"
#include "kiv/log.h"
#include "kiv/startup.h"

using dm::ObjectPtr;

namespace {

// Larger instances are laid out but not made, larger types not written.
constexpr std::size_t kLargestInstance = 1 << 17;

void Expect(bool holds) {
  if (!holds) std::abort();
}

// The library, with a log that is thrown away from time to time: refused
// documents fill it.
class Session {
 public:
  Session() : folder_(std::filesystem::temp_directory_path() / Name()) {
    kiv::GlobalInit();
    // A schema that asks for more writes more than a test may take.
    kiv::DomParser::SetMaxBytes(kLargestInstance);
    OpenLog();
  }
  ~Session() { RemoveLog(); }

  void Next() {
    Expect(dm_o_reset_registry());
    if (++inputs_ % 4096 != 0) return;
    RemoveLog();
    OpenLog();
  }

 private:
  static std::string Name() {
    return "kiv_schema_fuzz_" + std::to_string(::getpid());
  }
  void OpenLog() const {
    kiv::Log::Instance().Open(kiv::FileSystemPath(folder_.string()), true);
  }
  void RemoveLog() const {
    kiv::Log::Instance().Close();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::filesystem::path folder_;
  unsigned inputs_ = 0;
};

// Whether the fields, nested ones too, follow each other without a gap.
void ExpectPacked(const void* metadata) {
  std::size_t total = 0;
  const std::size_t count = dm_o_struct_metadata_field_count(metadata);
  for (std::size_t i = 0; i < count; ++i) {
    const void* const field = dm_o_struct_metadata_field_metadata(metadata, i);
    const std::size_t size =
        8 + dm_o_instance_header_size(field) + dm_o_instance_data_size(field);
    Expect(dm_o_struct_metadata_field_offset(metadata, i) == total);
    Expect(dm_o_struct_metadata_field_size(metadata, i) == size);
    Expect(*dm_o_struct_metadata_field_name(metadata, i) != '\0');
    total += size;
    if (size < kLargestInstance) ExpectPacked(field);
  }
  Expect(dm_o_instance_data_size(metadata) == total ||
         !dm_o_is_struct_type_from_metadata(metadata));
}

bool AreEqual(const void* a, const void* b) {
  if (!dm_o_is_struct_type_from_metadata(a)) {
    return dm_o_type_info_from_metadata(a) == dm_o_type_info_from_metadata(b);
  }
  const std::size_t count = dm_o_struct_metadata_field_count(a);
  if (!dm_o_is_struct_type_from_metadata(b) ||
      count != dm_o_struct_metadata_field_count(b)) {
    return false;
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (std::strcmp(dm_o_struct_metadata_field_name(a, i),
                    dm_o_struct_metadata_field_name(b, i)) != 0 ||
        !AreEqual(dm_o_struct_metadata_field_metadata(a, i),
                  dm_o_struct_metadata_field_metadata(b, i))) {
      return false;
    }
  }
  return true;
}

void ExpectComesBack(const void* metadata) {
  const auto text = ObjectPtr<int*>::Take(dm_o_metadata_to_xsd(metadata, 0));
  // A field of a type without a schema name, or too many fields.
  if (!text) return;
  const auto again =
      ObjectPtr<dm::StructType>::Take(dm_o_struct_metadata_from_mem(
          dm_o_string_text(text.get()),
          static_cast<unsigned>(dm_o_string_size(text.get())), 0));
  Expect(again && AreEqual(metadata, again.get()));
}

void Use(void* metadata) {
  Expect(dm_o_is_metadata(metadata));
  if (!dm_o_is_struct_type_from_metadata(metadata)) return;
  ExpectPacked(metadata);
  if (dm_o_instance_data_size(metadata) >= kLargestInstance) return;
  const auto instance =
      ObjectPtr<int*>::Take(dm_o_instance_from_metadata(metadata));
  Expect(static_cast<bool>(instance));
  ExpectComesBack(metadata);
}

std::vector<void*> RegisteredTypes() {
  std::vector<void*> types;
  dm_o_visit_metadata(
      [](const char*, void* metadata, void* context) {
        static_cast<std::vector<void*>*>(context)->push_back(metadata);
        return true;
      },
      &types);
  return types;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  static Session session;
  session.Next();
  // A block of exactly its size: one byte too far is seen.
  const std::unique_ptr<char[]> text(new char[size]);
  if (size > 0) std::memcpy(text.get(), bytes, size);
  const auto length = static_cast<unsigned>(size);

  const bool done = dm_o_declare_from_mem(text.get(), length, 0, false);
  const std::size_t names = RegisteredTypes().size();
  if (done) {
    // In place of what is there, the same again. Not of the built-in types,
    // which others refer to.
    dm_o_declare_from_mem(text.get(), length, 0, true);
    Expect(RegisteredTypes().size() <= names);
  }
  for (void* const type : RegisteredTypes()) Use(type);
  const auto built = ObjectPtr<dm::StructType>::Take(
      dm_o_struct_metadata_from_mem(text.get(), length, 0));
  if (built) Use(built.get());
  return 0;
}
