#ifndef UTIL_RUNTIME_H_
#define UTIL_RUNTIME_H_

namespace kiv {

// What GlobalInit starts in the values layer, in this order: the Chinese locale
// where there is one, the XML platform, the GB2312 transcoder. Tests of a layer
// start no more than this.
void StartValues();
// In reverse.
void StopValues();

}  // namespace kiv

#endif  // UTIL_RUNTIME_H_
