#include <cstring>
#include <exception>
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

std::string* InPlace(const void* data) {
  return std::launder(static_cast<std::string*>(const_cast<void*>(data)));
}

constexpr std::size_t kLongestInside = sizeof(std::string) - 2;

bool IsElsewhere(const void* data) {
  return Load<unsigned char>(data) == kTextElsewhere;
}

std::string* Elsewhere(const void* data) {
  return Load<std::string*>(At(data, 1));
}

void AssignPacked(void* data, std::string_view text) {
  if (IsElsewhere(data)) {
    Elsewhere(data)->assign(text);
  } else if (text.size() <= kLongestInside) {
    char* const inside = static_cast<char*>(At(data, 1));
    if (!text.empty()) std::memmove(inside, text.data(), text.size());
    inside[text.size()] = '\0';
    Store<unsigned char>(data, static_cast<unsigned char>(text.size()));
  } else {
    auto* const stored = new std::string(text);
    Store<std::string*>(At(data, 1), stored);
    Store<unsigned char>(data, kTextElsewhere);
  }
}

}  // namespace

std::string_view StringAt(const void* data) {
  if (SuitsString(data)) return *InPlace(data);
  if (IsElsewhere(data)) return *Elsewhere(data);
  return {static_cast<const char*>(At(data, 1)), Load<unsigned char>(data)};
}

bool AssignStringAt(void* data, std::string_view text) try {
  if (SuitsString(data)) {
    InPlace(data)->assign(text);
  } else {
    AssignPacked(data, text);
  }
  return true;
} catch (const std::exception&) {
  return false;
}

namespace string_type {

bool Construct(void* object, const void*) {
  void* const data = DataOf(object);
  if (SuitsString(data)) {
    new (data) std::string;
  } else {
    std::memset(data, 0, 2);  // a length and a NUL
  }
  return true;
}

void Destroy(void* object) { DestroyStringAt(DataOf(object)); }

bool Copy(void* object, const void* source) {
  return AssignStringAt(DataOf(object), source == nullptr ? std::string_view()
                                                          : StringAt(source));
}

const char* Text(const void* object) { return StringAt(DataOf(object)).data(); }

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
