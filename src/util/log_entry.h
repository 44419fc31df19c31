#ifndef UTIL_LOG_ENTRY_H_
#define UTIL_LOG_ENTRY_H_

#include <string>
#include <string_view>

// How the library itself writes to its log. The Log functions never throw.
namespace kiv {

// One entry under the category 错误, 严重错误, 警告, 严重警告 or 信息, or under
// none. `text` is the library's own and stands as it is, line breaks included:
// values inside it have gone through Shown.
void LogError(const char* source, const std::string& text);
void LogFatal(const char* source, const std::string& text);
void LogWarning(const char* source, const std::string& text);
void LogSevereWarning(const char* source, const std::string& text);
void LogInformation(const char* source, const std::string& text);
void LogPlain(const char* source, const std::string& text);

// A foreign value as an entry shows it: control bytes and bytes that are no
// character are written \n, \t, \x1B; everything else stays.
std::string Shown(std::string_view value);
// Whether Shown would leave every byte as it is. Quick.
bool IsShownAsIs(std::string_view value);

}  // namespace kiv

#endif  // UTIL_LOG_ENTRY_H_
