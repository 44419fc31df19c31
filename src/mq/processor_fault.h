#ifndef MQ_PROCESSOR_FAULT_H_
#define MQ_PROCESSOR_FAULT_H_

#include <string>

namespace kiv::module {

// Why the last process_mem of this thread gave false, beyond the processor
// having said so; local encoding. Empty when there is no more to say.
std::string TakeProcessorFault();
void SetProcessorFault(const std::string& text);

}  // namespace kiv::module

#endif  // MQ_PROCESSOR_FAULT_H_
