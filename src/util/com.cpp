#include "kiv/com.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

using Length = std::uint32_t;

// The hidden length lies right in front of the text. Eight bytes are taken for
// it, so that the text is as aligned as anything from the heap.
constexpr std::size_t kFront = 8;

void* BlockOf(BSTR text) { return reinterpret_cast<char*>(text) - kFront; }

char* LengthOf(BSTR text) {
  return reinterpret_cast<char*>(text) - sizeof(Length);
}

}  // namespace

BSTR SysAllocString(const char16_t* text) {
  if (text == nullptr) return nullptr;
  const std::size_t length = std::u16string_view(text).size();
  if (length > std::numeric_limits<unsigned>::max()) return nullptr;
  return SysAllocStringLen(text, static_cast<unsigned>(length));
}

BSTR SysAllocStringLen(const char16_t* text, unsigned length) {
  const std::size_t bytes = std::size_t{length} * sizeof(char16_t);
  if (bytes > std::numeric_limits<Length>::max()) return nullptr;
  void* const block = std::malloc(kFront + bytes + sizeof(char16_t));
  if (block == nullptr) return nullptr;
  const BSTR result =
      reinterpret_cast<BSTR>(static_cast<char*>(block) + kFront);
  const auto hidden = static_cast<Length>(bytes);
  std::memcpy(LengthOf(result), &hidden, sizeof hidden);
  if (text != nullptr) std::memcpy(result, text, bytes);
  result[length] = u'\0';
  return result;
}

void SysFreeString(BSTR text) {
  if (text != nullptr) std::free(BlockOf(text));
}

unsigned SysStringLen(BSTR text) {
  if (text == nullptr) return 0;
  Length bytes;
  std::memcpy(&bytes, LengthOf(text), sizeof bytes);
  return static_cast<unsigned>(bytes / sizeof(char16_t));
}

SAFEARRAY* SafeArrayCreateVector(VARTYPE type, std::int32_t first,
                                 std::uint32_t count) {
  if (type != VT_UI1) return nullptr;
  // The array and its elements in one block.
  void* const block = std::malloc(sizeof(SAFEARRAY) + count);
  if (block == nullptr) return nullptr;
  auto* const array = static_cast<SAFEARRAY*>(block);
  *array = {1, 1, array + 1, {{count, first}}};
  std::memset(array->pvData, 0, count);
  return array;
}

void SafeArrayDestroy(SAFEARRAY* array) { std::free(array); }

void VariantInit(VARIANT* variant) {
  if (variant != nullptr) *variant = VARIANT{};
}

void VariantClear(VARIANT* variant) {
  if (variant == nullptr) return;
  if (variant->vt == VT_BSTR) SysFreeString(variant->bstrVal);
  if (variant->vt == (VT_ARRAY | VT_UI1)) SafeArrayDestroy(variant->parray);
  VariantInit(variant);
}
