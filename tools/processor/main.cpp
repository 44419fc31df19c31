#include "kiv/module/processor_host.h"
#include "kiv/startup.h"

int main() {
  kiv::GlobalInit();
  const int exit_code = kiv::module::ProcessorHostMain();
  kiv::GlobalUninit();
  return exit_code;
}
