#ifndef TOOLS_KIV_LOCAL_TEXT_H_
#define TOOLS_KIV_LOCAL_TEXT_H_

#include <string>

// Names, bodies and values between a terminal, which speaks UTF-8, and the
// library, which speaks GB2312 (code page 936).
namespace kiv_tool {

// A name or a label. What the local encoding lacks becomes "?".
std::string ToLocal(const std::string& utf8);

// A whole body, which may hold a NUL. False when it is no UTF-8, or holds what
// code page 936 lacks: a body is not changed silently.
bool ToGb2312(const std::string& utf8, std::string& gb);
// Why it was false, behind what it is that was to be converted.
inline constexpr char kNotLocal[] =
    " is no UTF-8 text, or holds a character that GB2312 (code page 936) lacks";
// False when it is not code page 936 alone.
bool FromGb2312(const std::string& gb, std::string& utf8);

// For eyes: as UTF-8, whichever of the two it is in, with control bytes but
// line feeds and tabs written \x1B, so that no message steers the terminal. Of
// what is neither of the two, every byte beyond ASCII is written so.
std::string ForTerminal(const std::string& body);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_LOCAL_TEXT_H_
