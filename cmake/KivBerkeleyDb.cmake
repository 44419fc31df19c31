# kiv_berkeley_db: a copy of Berkeley DB for this library alone, whose waits
# for other processes can be given up (docs/decisions/waiting-for-the-dead.md).
# Its calls for locks go to src/port/linux/shared_locks.cpp instead of the
# system's, and its two standard streams, which its code addresses as a program
# does, to variables beside them; so it can be part of a shared library.
set(kiv_berkeley_db_calls
  pthread_mutex_lock pthread_rwlock_rdlock pthread_rwlock_wrlock
  pthread_cond_init pthread_cond_destroy pthread_cond_wait
  pthread_cond_timedwait pthread_cond_signal pthread_cond_broadcast
  stdout stderr)

# One function is called by way of src/xdb/container/berkeley_db_lock.cpp, which
# says why; lock.o defines it.
set(kiv_berkeley_db_wrapped __lock_get)
set(kiv_berkeley_db_definer lock.o)

set(kiv_berkeley_db_folder ${PROJECT_BINARY_DIR}/berkeley_db)
set(kiv_berkeley_db_archive ${kiv_berkeley_db_folder}/libkiv_berkeley_db.a)
file(MAKE_DIRECTORY ${kiv_berkeley_db_folder})
set(options)
foreach(call IN LISTS kiv_berkeley_db_calls)
  string(REGEX REPLACE "^pthread_" "" name ${call})
  list(APPEND options --redefine-sym ${call}=kiv_shared_${name})
endforeach()
execute_process(
  COMMAND ${CMAKE_OBJCOPY} ${options}
          --redefine-sym ${kiv_berkeley_db_wrapped}=kiv_berkeley_db_wrapped
          ${BerkeleyDB_CXX_ARCHIVE} ${kiv_berkeley_db_archive}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND ${CMAKE_AR} x ${BerkeleyDB_CXX_ARCHIVE} ${kiv_berkeley_db_definer}
  WORKING_DIRECTORY ${kiv_berkeley_db_folder} COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND ${CMAKE_OBJCOPY} ${options}
          --redefine-sym ${kiv_berkeley_db_wrapped}=kiv_berkeley_db_inner
          ${kiv_berkeley_db_definer}
  WORKING_DIRECTORY ${kiv_berkeley_db_folder} COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND ${CMAKE_AR} rs ${kiv_berkeley_db_archive} ${kiv_berkeley_db_definer}
  WORKING_DIRECTORY ${kiv_berkeley_db_folder} COMMAND_ERROR_IS_FATAL ANY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${BerkeleyDB_CXX_ARCHIVE})

add_library(kiv_berkeley_db STATIC IMPORTED GLOBAL)
set_target_properties(kiv_berkeley_db PROPERTIES
  IMPORTED_LOCATION ${kiv_berkeley_db_archive}
  INTERFACE_INCLUDE_DIRECTORIES ${BerkeleyDB_INCLUDE_DIR})
# Nobody else in the process gets hold of it: a host may use Berkeley DB itself.
target_link_options(kiv_berkeley_db INTERFACE
  -Wl,--exclude-libs,libkiv_berkeley_db.a)
