// What the thread sanitizer sees of libraries that were built without it is not
// ours to find: it does not know their locks and counts.
// Visible: it is the sanitizer's library that looks for it.
extern "C" __attribute__((visibility("default"))) const char*
__tsan_default_suppressions();

const char* __tsan_default_suppressions() {
  return "race:libIce.so\n"
         "race:IceInternal::\n"
         "race:IceProxy::\n";
}
