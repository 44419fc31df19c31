// What the thread sanitizer sees of libraries that were built without it is not
// ours to find: it does not know their locks and counts.
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
  return "race:libIce.so\n"
         "race:IceInternal::\n"
         "race:IceProxy::\n";
}
