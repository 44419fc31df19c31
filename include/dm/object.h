#ifndef DM_OBJECT_H_
#define DM_OBJECT_H_

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "dm/dm.h"
#include "kiv/com.h"
#include "kiv/export.h"

namespace kiv {
class DateTime;
}

// The data model's handles for C++. What they hold is made, counted and copied
// by the functions of dm/life.h; a handle itself is for one thread at a time.
namespace dm {

// An empty pointer where an object was needed.
class KIV_API ObjectException : public std::logic_error {
 public:
  using std::logic_error::logic_error;
  ObjectException(const ObjectException&) = default;
  ObjectException& operator=(const ObjectException&) = default;
  ~ObjectException() override;
};

// Names a struct metadata object; there are no values of it.
struct StructType;

template <typename T>
class ObjectPtr;

namespace internal {
// Whose objects have a T as their plain value. Signs do not count, and an
// enumeration is its number.
template <typename T>
constexpr dm_type_id_e TypeOfValue() {
  if constexpr (std::is_enum_v<T>) {
    return TypeOfValue<std::underlying_type_t<T>>();
  } else if constexpr (std::is_same_v<T, bool>) {
    return DM_BOOLEAN;
  } else if constexpr (std::is_same_v<T, float>) {
    return DM_FLOAT;
  } else if constexpr (std::is_same_v<T, double>) {
    return DM_DOUBLE;
  } else if constexpr (std::is_same_v<T, GUID>) {
    return DM_GUID;
  } else if constexpr (std::is_same_v<T, kiv::DateTime>) {
    return DM_DATE_TIME;
  } else {
    static_assert(std::is_integral_v<T> && sizeof(T) <= 8,
                  "no object has such a plain value");
    return sizeof(T) == 1   ? DM_BYTE
           : sizeof(T) == 2 ? DM_INT16
           : sizeof(T) == 4 ? DM_INT32
                            : DM_INT64;
  }
}
}  // namespace internal

// Looks at an object without owning it: copies leave the count alone.
class KIV_API Object {
 public:
  Object() = default;
  explicit Object(void* object) : object_(object) {}
  template <typename T>
  explicit Object(const ObjectPtr<T>& object) : object_(object.get()) {}

  void* get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  // All null, 0 or false for an empty handle.
  void* Data() const;
  // Behind the two words, where the type-specific header would start.
  void* Header() const;
  const dm_deletor_info_t* GetDeletorInfo() const;
  // 0, which is also Int32: ask the handle first.
  dm_type_id_e GetTypeId() const;
  const dm_type_info_t* GetTypeInfo() const;
  std::size_t GetObjectSize() const;
  // The metadata, borrowed.
  void* GetType() const;
  bool IsType() const;

  // A plain value, in and out: a number, a bool, a GUID or a kiv::DateTime.
  // False unless the object is of just this type, an integer of either sign;
  // `value` is then untouched.
  template <typename T>
  [[nodiscard]] bool Read(T& value) const {
    static_assert(std::is_trivially_copyable_v<T>);
    if constexpr (std::is_same_v<T, bool>) {
      // A bool holds 0 or 1 alone; memory from elsewhere, anything.
      std::uint8_t byte;
      if (!ReadValue(DM_BOOLEAN, &byte)) return false;
      value = byte != 0;
      return true;
    } else {
      return ReadValue(internal::TypeOfValue<T>(), &value);
    }
  }
  template <typename T>
  [[nodiscard]] bool Write(const T& value) const {
    static_assert(std::is_trivially_copyable_v<T>);
    return WriteValue(internal::TypeOfValue<T>(), &value);
  }

  static const dm_deletor_info_t* DeletorInfoFromId(dm_deletor_id_e id);
  static unsigned AlignBytesFromId(dm_align_id_e id);
  static dm_type_id_e TypeIdFromSign(dm_sign sign);
  static const dm_type_info_t* TypeInfoFromId(dm_type_id_e id);

  // A database field's value as an object, chosen by the field's ADO data type
  // number. Empty for a type that has no object, and for a value that is
  // missing (VT_EMPTY, VT_NULL) or cannot be converted without a loss other
  // than rounding: 70000 is no Int16. Whole numbers round half to even. A
  // number of the field's own width and sign keeps its bits where the object's
  // type has the other sign: 40000 of an unsigned small int is Int16 -25536.
  static ObjectPtr<int*> FromAdoDb(const VARIANT& variant, int adoType);

 private:
  bool ReadValue(dm_type_id_e type, void* value) const;
  bool WriteValue(dm_type_id_e type, const void* value) const;

  void* object_ = nullptr;
};

namespace internal {
template <typename T>
struct Target {
  using type = T;
};
template <typename T>
struct Target<T*> {
  using type = T;
};
}  // namespace internal

// The object as a reference. Throws ObjectException with the text
// "dm::ReferenceFrom Error: Empty pointer." for null.
KIV_API void RequireObject(const void* object);

template <typename T>
T& ReferenceFrom(T* object) {
  RequireObject(object);
  return *object;
}

// Holds one reference. ObjectPtr<int*> holds any object, whose first word is
// its type word; ObjectPtr<StructType> a struct metadata. T says what the
// pointer is meant for and is not checked.
template <typename T>
class ObjectPtr {
 public:
  using element_type = typename internal::Target<T>::type;

  ObjectPtr() = default;
  ObjectPtr(std::nullptr_t) {}
  // Borrowed: adds a reference. Take is for what was handed out as new.
  explicit ObjectPtr(void* object) : object_(dm_o_add_ref(object)) {}
  ObjectPtr(const ObjectPtr& other) : ObjectPtr(other.object_) {}
  ObjectPtr(ObjectPtr&& other) noexcept
      : object_(std::exchange(other.object_, nullptr)) {}
  template <typename U>
  explicit ObjectPtr(const ObjectPtr<U>& other) : ObjectPtr(other.get()) {}
  ~ObjectPtr() { dm_o_inner_release(object_); }

  ObjectPtr& operator=(const ObjectPtr& other) {
    if (this != &other) Share(other.object_);
    return *this;
  }
  ObjectPtr& operator=(ObjectPtr&& other) noexcept {
    // Emptied and stored before the old one dies; moving to itself changes
    // nothing.
    void* const moved = std::exchange(other.object_, nullptr);
    dm_o_inner_release(std::exchange(object_, moved));
    return *this;
  }
  ObjectPtr& operator=(std::nullptr_t) {
    Share(nullptr);
    return *this;
  }
  // Borrowed: adds a reference. There is no assignment from a bare pointer,
  // which does not say whether it is new.
  void Share(void* object) {
    // The new one is stored before the old one dies: what dies may be what
    // leads to this pointer.
    if (object == object_) return;
    void* const old = std::exchange(object_, dm_o_add_ref(object));
    dm_o_assign(old, nullptr);
  }

  // Consumed.
  static ObjectPtr Take(void* object) {
    ObjectPtr result;
    result.object_ = object;
    return result;
  }
  // New: this pointer is empty afterwards.
  void* Release() { return std::exchange(object_, nullptr); }

  // Borrowed as long as this holds it.
  void* get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  Object object() const { return Object(object_); }

  // Throws ObjectException when empty. Of an object that lies by itself, as
  // dm_o_new makes it: a field may lie at an address where no int can, and
  // Object::GetTypeId reads its type word anywhere.
  element_type& operator*() const {
    return ReferenceFrom(static_cast<element_type*>(object_));
  }

  template <typename U>
  bool operator==(const ObjectPtr<U>& other) const {
    return object_ == other.get();
  }
  bool operator==(std::nullptr_t) const { return object_ == nullptr; }

 private:
  void* object_ = nullptr;
};

template <typename T>
typename ObjectPtr<T>::element_type& ReferenceFrom(const ObjectPtr<T>& object) {
  return *object;
}

extern template class KIV_API ObjectPtr<int*>;
extern template class KIV_API ObjectPtr<StructType>;

}  // namespace dm

#endif  // DM_OBJECT_H_
