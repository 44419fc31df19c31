#ifndef MQ_PROCESSOR_PACKETS_H_
#define MQ_PROCESSOR_PACKETS_H_

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

// What a host and the process of its processor say to each other: texts one
// behind the other, each ended by a NUL.
namespace kiv::module {

inline void AppendText(const std::string& text, std::string& packet) {
  packet += text.c_str();
  packet += '\0';
}

inline std::string TakeText(std::string_view& packet) {
  const std::size_t end = packet.find('\0');
  std::string text(packet.substr(0, end));
  packet.remove_prefix(end == std::string_view::npos ? packet.size() : end + 1);
  return text;
}

// The first byte of a message's head, and of an answer.
enum class Context : char { None = 'n', Queue = 'q', File = 'f' };
inline constexpr char kHandled = 'y';
inline constexpr char kNotHandled = 'n';

}  // namespace kiv::module

#endif  // MQ_PROCESSOR_PACKETS_H_
