#include "port/thread_stack.h"

#include <pthread.h>

#include <cstddef>

namespace kiv::port {

const char* LowestStackAddress() {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return nullptr;
  void* lowest = nullptr;
  std::size_t size = 0;
  std::size_t guard = 0;
  const bool is_known = pthread_attr_getstack(&attributes, &lowest, &size) == 0;
  pthread_attr_getguardsize(&attributes, &guard);
  pthread_attr_destroy(&attributes);
  return is_known ? static_cast<const char*>(lowest) + guard : nullptr;
}

}  // namespace kiv::port
