#include "mq/processor_fault.h"

#include <utility>

namespace kiv::module {
namespace {

thread_local std::string fault;

}  // namespace

std::string TakeProcessorFault() { return std::exchange(fault, {}); }

void SetProcessorFault(const std::string& text) { fault = text; }

}  // namespace kiv::module
