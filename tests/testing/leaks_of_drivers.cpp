// What the drivers of databases lose is not ours to find: PostgreSQL's keeps
// the answer to a statement that cannot be described.
extern "C" __attribute__((visibility("default"))) const char*
__lsan_default_suppressions();

const char* __lsan_default_suppressions() { return "leak:psqlodbc"; }
