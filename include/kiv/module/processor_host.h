#ifndef KIV_MODULE_PROCESSOR_HOST_H_
#define KIV_MODULE_PROCESSOR_HOST_H_

#include "kiv/export.h"

namespace kiv::module {

// The whole of kiv-processor, the program that a host starts for a processor
// with isolation="process": calls the processor for the messages that the host
// sends, until the host goes away. Between GlobalInit and GlobalUninit; gives
// the exit code, which is 2 when no host started the program.
KIV_API int ProcessorHostMain();

}  // namespace kiv::module

#endif  // KIV_MODULE_PROCESSOR_HOST_H_
