#ifndef KIV_STORE_VARIANT_H_
#define KIV_STORE_VARIANT_H_

#include <utility>

#include "kiv/com.h"

namespace kiv::store {

// A VARIANT that owns the text or the array inside.
class Variant : public VARIANT {
 public:
  Variant() { VariantInit(this); }
  // Takes over what is inside.
  explicit Variant(const VARIANT& consumed) : VARIANT(consumed) {}
  Variant(Variant&& other) noexcept : VARIANT(other) { VariantInit(&other); }
  Variant& operator=(Variant&& other) noexcept {
    std::swap(static_cast<VARIANT&>(*this), static_cast<VARIANT&>(other));
    return *this;
  }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  ~Variant() { VariantClear(this); }

  bool IsNull() const { return vt == VT_NULL || vt == VT_EMPTY; }
};

}  // namespace kiv::store

#endif  // KIV_STORE_VARIANT_H_
