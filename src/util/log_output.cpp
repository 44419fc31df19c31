#include <string>

#include "kiv/encoding.h"
#include "kiv/log.h"
#include "util/log_entry.h"
#include "util/log_messages.h"

// The published forms of Log::Output. All end in the narrow one, which shows
// foreign text, and that in Write, which knows nothing of it.
namespace kiv {
namespace {

const char* OrEmpty(const char* text) { return text ? text : ""; }

std::string Narrow(const std::optional<std::u16string>& text) {
  return text ? wstringToString(text->c_str(), 0).get() : "";
}

}  // namespace

void Log::Output(const char* message, const char* source, const char* category,
                 const FileSystemPath& path, bool daily) {
  message = OrEmpty(message);
  source = OrEmpty(source);
  category = OrEmpty(category);
  if (IsShownAsIs(message) && IsShownAsIs(source) && IsShownAsIs(category)) {
    Write(message, source, category, path, daily);
    return;
  }
  try {
    Write(Shown(message).c_str(), Shown(source).c_str(),
          Shown(category).c_str(), path, daily);
  } catch (...) {
  }
}

void Log::Output(const WideChar* message, const WideChar* source,
                 const WideChar* category, const FileSystemPath& path,
                 bool daily) {
  if (!message || !*message) return;
  try {
    Output(wstringToString(message, 0).get(), wstringToString(source, 0).get(),
           wstringToString(category, 0).get(), path, daily);
  } catch (...) {
  }
}

void Log::OutputUTF8(const char* message, const char* source,
                     const char* category, const FileSystemPath& path,
                     bool daily) {
  if (!message || !*message) return;
  try {
    Output(utf8ToString(message, 0).get(), utf8ToString(source, 0).get(),
           utf8ToString(category, 0).get(), path, daily);
  } catch (...) {
  }
}

void Log::Output(const char* message, const std::exception& exception,
                 const char* source, const char* category,
                 const FileSystemPath& path, bool daily) {
  try {
    const std::string text = std::string(OrEmpty(message)) +
                             message::kCppException + OrEmpty(exception.what());
    Output(text.c_str(), source, category, path, daily);
  } catch (...) {
  }
}

void Log::Output(const char* message, const _com_error& error,
                 const char* source, const char* category,
                 const FileSystemPath& path, bool daily) {
  try {
    std::string text = std::string(OrEmpty(message)) + ' ';
    const _com_error::Information* const information = error.ErrorInfo();
    if (!information) text += message::kHresultError;
    text += std::to_string(error.Error());
    if (information) {
      text += ' ' + Narrow(information->source);
      text += ' ' + Narrow(information->description);
    }
    Output(text.c_str(), source, category, path, daily);
  } catch (...) {
  }
}

void Log::Trace(const char*, const char*, const char*, const FileSystemPath&,
                bool) {}

void Log::Trace(const WideChar*, const WideChar*, const WideChar*,
                const FileSystemPath&, bool) {}

}  // namespace kiv
