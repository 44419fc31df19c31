# kiv_berkeley_db: a copy of Berkeley DB for this library alone, whose waits
# for other processes can be given up (docs/decisions/0015).
# Its calls for locks and sleep go to src/port/linux/shared_locks.cpp instead of the
# system's, and its two standard streams, which its code addresses as a program
# does, to variables beside them; so it can be part of a shared library.
set(kiv_berkeley_db_calls
  pthread_mutex_lock pthread_mutex_trylock
  pthread_rwlock_rdlock pthread_rwlock_wrlock pthread_rwlock_trywrlock
  pthread_rwlock_unlock
  pthread_cond_init pthread_cond_destroy pthread_cond_wait
  pthread_cond_timedwait pthread_cond_signal pthread_cond_broadcast
  select stdout stderr)

# One function is called by way of src/xdb/container/berkeley_db_lock.cpp, which
# says why; lock.o defines it.
set(kiv_berkeley_db_wrapped __lock_get)
set(kiv_berkeley_db_definer lock.o)

# What it may call of the system's besides: none of these waits. A new version of
# the package that calls others needs a look.
set(kiv_berkeley_db_harmless
  pthread_mutex_init pthread_mutex_destroy
  pthread_mutex_unlock pthread_mutexattr_[a-z]+ pthread_condattr_[a-z]+
  pthread_rwlock_init pthread_rwlock_destroy pthread_rwlock_tryrdlock
  pthread_rwlockattr_[a-z]+
  pthread_self
  # For replication, which is not used.
  pthread_create pthread_join)

set(kiv_berkeley_db_folder ${PROJECT_BINARY_DIR}/berkeley_db)
set(kiv_berkeley_db_archive ${kiv_berkeley_db_folder}/libkiv_berkeley_db.a)

function(kiv_berkeley_db_run)
  execute_process(COMMAND ${ARGV} WORKING_DIRECTORY ${kiv_berkeley_db_folder}
                  COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(kiv_make_berkeley_db)
  file(MAKE_DIRECTORY ${kiv_berkeley_db_folder})
  set(made ${kiv_berkeley_db_folder}/made.a)
  set(options --enable-deterministic-archives)
  foreach(call IN LISTS kiv_berkeley_db_calls)
    string(REGEX REPLACE "^pthread_" "" name ${call})
    list(APPEND options --redefine-sym ${call}=kiv_shared_${name})
  endforeach()
  set(renamed --redefine-sym ${kiv_berkeley_db_wrapped})
  kiv_berkeley_db_run(${CMAKE_OBJCOPY} ${options}
    ${renamed}=kiv_berkeley_db_wrapped ${BerkeleyDB_CXX_ARCHIVE} ${made})
  kiv_berkeley_db_run(${CMAKE_AR} x ${BerkeleyDB_CXX_ARCHIVE}
    ${kiv_berkeley_db_definer})
  kiv_berkeley_db_run(${CMAKE_OBJCOPY} ${options}
    ${renamed}=kiv_berkeley_db_inner ${kiv_berkeley_db_definer})
  kiv_berkeley_db_run(${CMAKE_AR} rsD ${made} ${kiv_berkeley_db_definer})

  execute_process(COMMAND ${CMAKE_NM} -u ${made} OUTPUT_VARIABLE calls
                  ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "U pthread_[a-z_]+" calls "${calls}")
  list(TRANSFORM calls REPLACE "^U " "")
  list(REMOVE_DUPLICATES calls)
  list(JOIN kiv_berkeley_db_harmless "|" harmless)
  list(FILTER calls EXCLUDE REGEX "^(${harmless})$")
  if(calls)
    message(FATAL_ERROR
      "${BerkeleyDB_CXX_ARCHIVE} calls what nothing here stands for: ${calls}")
  endif()
  # Nothing is linked anew because of a new configuration.
  file(COPY_FILE ${made} ${kiv_berkeley_db_archive} ONLY_IF_DIFFERENT)
  file(REMOVE ${made})
endfunction()

kiv_make_berkeley_db()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${BerkeleyDB_CXX_ARCHIVE})

add_library(kiv_berkeley_db STATIC IMPORTED GLOBAL)
set_target_properties(kiv_berkeley_db PROPERTIES
  IMPORTED_LOCATION ${kiv_berkeley_db_archive}
  INTERFACE_INCLUDE_DIRECTORIES ${BerkeleyDB_INCLUDE_DIR})
# Nobody else in the process gets hold of it: a host may use Berkeley DB itself.
target_link_options(kiv_berkeley_db INTERFACE
  -Wl,--exclude-libs,libkiv_berkeley_db.a)
