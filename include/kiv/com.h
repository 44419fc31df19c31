#ifndef KIV_COM_H_
#define KIV_COM_H_

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

// Portable stand-ins for the COM types that published signatures name. They
// carry the same values; nothing here talks to COM.

using HRESULT = std::int32_t;

// A COM failure: its code and, when the failing object offered one, an error
// information object with two UTF-16 texts. A text may be missing.
class _com_error {  // NOLINT(bugprone-reserved-identifier): its known name
 public:
  struct Information {
    std::optional<std::u16string> source;
    std::optional<std::u16string> description;
  };

  explicit _com_error(HRESULT code) : code_(code) {}
  _com_error(HRESULT code, Information information)
      : code_(code), information_(std::move(information)) {}

  HRESULT Error() const { return code_; }
  // Null when the failure carries no error information. Borrowed: lives as long
  // as this object.
  const Information* ErrorInfo() const {
    return information_ ? &*information_ : nullptr;
  }

 private:
  HRESULT code_;
  std::optional<Information> information_;
};

#endif  // KIV_COM_H_
