#ifndef UTIL_XERCES_PLATFORM_H_
#define UTIL_XERCES_PLATFORM_H_

namespace kiv {

// The XML platform and the GB2312 transcoder that GlobalTranscoder() gives.
// Stopping what did not start does nothing.
void StartXmlPlatform();
void StopXmlPlatform();

// What is made of the platform and kept for the next use must end before it:
// `release` is called once, when the platform is stopped, and then forgotten.
void BeforeXmlPlatformStops(void (*release)());

}  // namespace kiv

#endif  // UTIL_XERCES_PLATFORM_H_
