#ifndef XDB_XQUERY_VALUES_ERROR_H_
#define XDB_XQUERY_VALUES_ERROR_H_

#include <compare>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace kiv::xdb::xq {

// A place in the text of a query. Lines and columns count from 1, columns in
// characters; 0 says that the place is not known.
struct Position {
  std::uint32_t line = 0;
  std::uint32_t column = 0;

  bool IsKnown() const { return line != 0; }
  // NOLINTNEXTLINE(modernize-use-nullptr): takes its 0 for a pointer
  friend auto operator<=>(const Position&, const Position&) = default;
};

// The namespace of the codes that the recommendations define.
inline constexpr std::string_view kErrorNamespace =
    "http://www.w3.org/2005/xqt-errors";

// What ends the compilation or the execution of a query. It is thrown inside
// the engine only; nothing of it crosses the published boundary.
//
//   throw Error("FOAR0001", "division by zero");
class Error : public std::exception {
 public:
  Error(std::string_view code, std::string_view message, Position position = {})
      : Error(kErrorNamespace, code, message, position) {}

  // fn:error takes any name for a code.
  Error(std::string_view code_namespace, std::string_view code,
        std::string_view message, Position position = {})
      : code_namespace_(code_namespace),
        code_(code),
        message_(message),
        position_(position) {
    Compose();
  }

  // The local name, such as XPST0003.
  const std::string& code() const { return code_; }
  const std::string& code_namespace() const { return code_namespace_; }
  const std::string& message() const { return message_; }
  Position position() const { return position_; }

  // A function or an operator does not know where it was called; the expression
  // that called it does. The innermost place stays.
  void PlaceAt(Position position) {
    if (position_.IsKnown() || !position.IsKnown()) return;
    position_ = position;
    Compose();
  }

  // "XPST0003 at line 1, column 7: ...", for people.
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  void Compose() {
    text_ = code_;
    if (position_.IsKnown()) {
      text_ += " at line " + std::to_string(position_.line) + ", column " +
               std::to_string(position_.column);
    }
    text_ += ": " + message_;
  }

  std::string code_namespace_;
  std::string code_;
  std::string message_;
  Position position_;
  std::string text_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_ERROR_H_
