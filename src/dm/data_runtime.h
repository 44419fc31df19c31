#ifndef DM_DATA_RUNTIME_H_
#define DM_DATA_RUNTIME_H_

namespace kiv {

// What GlobalInit starts in the data layer, behind the values layer: the
// registry of type names. False when a standard name could not be registered.
bool StartData();
// Releases every name; before the values layer stops.
void StopData();

}  // namespace kiv

#endif  // DM_DATA_RUNTIME_H_
