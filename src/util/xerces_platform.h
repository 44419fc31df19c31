#ifndef UTIL_XERCES_PLATFORM_H_
#define UTIL_XERCES_PLATFORM_H_

namespace kiv {

// The XML platform and the GB2312 transcoder that GlobalTranscoder() gives.
// Stopping what did not start does nothing.
void StartXmlPlatform();
void StopXmlPlatform();

}  // namespace kiv

#endif  // UTIL_XERCES_PLATFORM_H_
