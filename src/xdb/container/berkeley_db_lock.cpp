#include <db_cxx.h>

// Berkeley DB's function for taking a lock, called from everywhere inside it,
// and behind it the one that does it; cmake/KivBerkeleyDb.cmake puts the first
// in between.
extern "C" {

int kiv_berkeley_db_inner(void* environment, void* locker, u_int32_t flags,
                          const DBT* object, db_lockmode_t mode, DB_LOCK* lock);
int kiv_berkeley_db_wrapped(void* environment, void* locker, u_int32_t flags,
                            const DBT* object, db_lockmode_t mode,
                            DB_LOCK* lock);

// When the environment dies while somebody waits for a lock, the lock is left
// as it was before the call, of which the caller then gives back what never was
// a lock.
int kiv_berkeley_db_wrapped(void* environment, void* locker, u_int32_t flags,
                            const DBT* object, db_lockmode_t mode,
                            DB_LOCK* lock) {
  const int code =
      kiv_berkeley_db_inner(environment, locker, flags, object, mode, lock);
  if (code == DB_RUNRECOVERY) lock->off = 0;
  return code;
}

}  // extern "C"
