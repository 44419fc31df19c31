#ifndef TOOLS_KIV_STANDARD_STREAMS_H_
#define TOOLS_KIV_STANDARD_STREAMS_H_

namespace kiv_tool {

// Before anything is opened: a standard stream that we were started without
// would be given to the next file, and a database or the log would take our
// messages, or we its bytes. Such a stream fails from now on instead.
void OccupyStandardStreams();

// False when we were started without.
bool HasStandardInput();

}  // namespace kiv_tool

#endif  // TOOLS_KIV_STANDARD_STREAMS_H_
