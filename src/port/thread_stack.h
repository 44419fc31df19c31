#ifndef PORT_THREAD_STACK_H_
#define PORT_THREAD_STACK_H_

namespace kiv::port {

// The lowest address of the calling thread's stack, which grows down to it;
// null where the system does not tell.
const char* LowestStackAddress();

}  // namespace kiv::port

#endif  // PORT_THREAD_STACK_H_
