#include <cstring>
#include <string>

#include "kiv/startup.h"
#include "kiv/strings.h"
#include "port/system.h"
#include "util/gb_text.h"
#include "util/identity_messages.h"

namespace {

constexpr std::size_t kMaxPath = 260;

struct ModulePath {
  char text[kMaxPath + 1] = {};

  ModulePath() {
    const std::string path =
        kiv::port::ModuleFileName(reinterpret_cast<const void*>(&WhereAmI));
    std::size_t size = 0;
    while (size < path.size()) {
      const std::size_t character = kiv::CharacterSize(path, size);
      if (size + character > kMaxPath) break;
      size += character;
    }
    path.copy(text, size);
    kiv::Fix_GetModuleFileName_Bug(text);
  }
};

}  // namespace

const char* WhereAmI() {
  static const ModulePath path;
  return path.text;
}

const char* BuildInfo() { return "BuildInfo"; }

const char* Copyright() { return kiv::message::CopyrightNotice(); }
