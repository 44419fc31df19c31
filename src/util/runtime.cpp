#include "util/runtime.h"

#include "port/system.h"
#include "util/xerces_platform.h"

namespace kiv {

void StartValues() {
  port::SetChineseLocale();
  StartXmlPlatform();
}

void StopValues() { StopXmlPlatform(); }

}  // namespace kiv
