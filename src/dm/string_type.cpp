#include <limits>
#include <memory>
#include <new>

#include "dm/layout.h"
#include "dm/string_data.h"
#include "dm/type_functions.h"
#include "dm/values.h"
#include "kiv/encoding.h"

namespace dm {
namespace {

bool SuitsString(const void* data) {
  return reinterpret_cast<std::uintptr_t>(data) % alignof(std::string) == 0;
}

std::string* InPlace(const void* data) {
  return std::launder(static_cast<std::string*>(const_cast<void*>(data)));
}

}  // namespace

const std::string& StringAt(const void* data) {
  // Never destroyed: objects may be read while the process ends.
  static const std::string& empty = *new std::string;
  if (SuitsString(data)) [[likely]] {
    return *InPlace(data);
  }
  const auto* text = Load<const std::string*>(data);
  return text == nullptr ? empty : *text;
}

bool AssignStringAt(void* data, std::string_view text) try {
  if (SuitsString(data)) [[likely]] {
    InPlace(data)->assign(text);
    return true;
  }
  auto* stored = Load<std::string*>(data);
  if (stored != nullptr) {
    stored->assign(text);
  } else if (!text.empty()) {
    Store<std::string*>(data, new std::string(text));
  }
  return true;
} catch (const std::exception&) {
  return false;
}

namespace string_type {

bool Construct(void* object, const void*) {
  void* const data = DataOf(object);
  if (SuitsString(data)) [[likely]] {
    new (data) std::string;
  } else {
    Store<std::string*>(data, nullptr);
  }
  return true;
}

void Destroy(void* object) {
  void* const data = DataOf(object);
  if (SuitsString(data)) [[likely]] {
    std::destroy_at(InPlace(data));
  } else {
    delete Load<std::string*>(data);
  }
}

bool Copy(void* object, const void* source) {
  return AssignStringAt(DataOf(object), source == nullptr ? std::string_view()
                                                          : StringAt(source));
}

const char* Text(const void* object) {
  return StringAt(DataOf(object)).c_str();
}

bool AssignWide(void* object, const char16_t* text) try {
  if (text == nullptr || *text == u'\0') {
    return AssignStringAt(DataOf(object), {});
  }
  const std::size_t length = std::u16string_view(text).size();
  if (length > std::numeric_limits<unsigned>::max()) return false;
  const auto narrow = kiv::wstringToString(text, static_cast<unsigned>(length));
  return AssignStringAt(DataOf(object), narrow.get());
} catch (const std::exception&) {
  return false;
}

}  // namespace string_type
}  // namespace dm

const char* dm_o_string_text(const void* object) {
  return dm::IsA(object, DM_STRING) ? dm::string_type::Text(object) : "";
}

size_t dm_o_string_size(const void* object) {
  return dm::IsA(object, DM_STRING) ? dm::StringAt(dm::DataOf(object)).size()
                                    : 0;
}

bool dm_o_string_assign(void* object, const char* text) {
  return dm::IsA(object, DM_STRING) &&
         dm::AssignStringAt(dm::DataOf(object), text == nullptr ? "" : text);
}

bool dm_o_string_assign_wide(void* object, const char16_t* text) {
  return dm::IsA(object, DM_STRING) &&
         dm::string_type::AssignWide(object, text);
}
