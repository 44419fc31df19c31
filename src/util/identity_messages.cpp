#include "util/identity_messages.h"

namespace kiv::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

const char* CopyrightNotice() { return "版权所有 (C) sharelib 开发组"; }

}  // namespace kiv::message
