#ifndef REMOTE_WIRE_TEXT_H_
#define REMOTE_WIRE_TEXT_H_

#include <string>
#include <string_view>

// Text between callers, who have it in the local encoding, and the wire, where
// it is UTF-8.
namespace kiv::remote {

// Null counts as empty.
std::string ToWire(const char* local);
// Old services send their local encoding as it is: what is no UTF-8 is taken
// for that.
std::string FromWire(std::string_view wire);

// A block of the runtime's malloc with the text and a NUL behind it. Null, and
// `size` untouched, without memory.
char* NewFromWire(std::string_view wire, std::size_t& size);

}  // namespace kiv::remote

#endif  // REMOTE_WIRE_TEXT_H_
