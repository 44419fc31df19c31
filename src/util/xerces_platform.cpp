#include "util/xerces_platform.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLException.hpp>

#include "kiv/startup.h"
#include "util/cp936.h"
#include "util/log_entry.h"
#include "util/xerces_transcoder.h"

namespace kiv {
namespace {

constexpr XMLSize_t kBlockSize = 4096;

std::atomic<xercesc::XMLTranscoder*> global_transcoder = nullptr;
bool is_started = false;

std::mutex release_mutex;
std::vector<void (*)()> releases;

void ReleaseWhatIsKept() {
  std::vector<void (*)()> due;
  {
    const std::lock_guard lock(release_mutex);
    due = std::exchange(releases, {});
  }
  for (void (*const release)() : due) release();
}

}  // namespace

void StartXmlPlatform() {
  using xercesc::XMLPlatformUtils;
  try {
    XMLPlatformUtils::Initialize();
    is_started = true;
    RegisterCp936Transcoder();
    xercesc::XMLTransService::Codes result;
    global_transcoder = XMLPlatformUtils::fgTransService->makeNewTranscoderFor(
        "GB2312", result, kBlockSize);
  } catch (const xercesc::XMLException& error) {
    LogFatal("sharelib::util", "The XML platform cannot be started: " +
                                   Shown(Utf16ToCp936(error.getMessage())));
  }
}

void StopXmlPlatform() {
  if (!is_started) return;
  is_started = false;
  ReleaseWhatIsKept();
  delete global_transcoder.exchange(nullptr);
  xercesc::XMLPlatformUtils::Terminate();
}

void BeforeXmlPlatformStops(void (*release)()) {
  const std::lock_guard lock(release_mutex);
  if (std::find(releases.begin(), releases.end(), release) == releases.end())
    releases.push_back(release);
}

void* GlobalTranscoder() { return global_transcoder.load(); }

}  // namespace kiv
