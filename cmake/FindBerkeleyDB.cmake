# BerkeleyDB::cxx, the C++ interface of Berkeley DB; its package has neither a
# CMake nor a pkg-config file.
find_path(BerkeleyDB_INCLUDE_DIR db_cxx.h)
find_library(BerkeleyDB_CXX_LIBRARY NAMES db_cxx-5.3 db_cxx)
find_library(BerkeleyDB_CXX_ARCHIVE NAMES libdb_cxx-5.3.a libdb_cxx.a)

if(BerkeleyDB_INCLUDE_DIR)
  file(STRINGS ${BerkeleyDB_INCLUDE_DIR}/db.h version_lines
       REGEX "^#define[ \t]+DB_VERSION_(MAJOR|MINOR|PATCH)")
  string(REGEX REPLACE ".*MAJOR[ \t]+([0-9]+).*MINOR[ \t]+([0-9]+).*PATCH[ \t]+([0-9]+).*"
         "\\1.\\2.\\3" BerkeleyDB_VERSION "${version_lines}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(BerkeleyDB
  REQUIRED_VARS BerkeleyDB_CXX_LIBRARY BerkeleyDB_CXX_ARCHIVE
                BerkeleyDB_INCLUDE_DIR
  VERSION_VAR BerkeleyDB_VERSION)

if(BerkeleyDB_FOUND AND NOT TARGET BerkeleyDB::cxx)
  add_library(BerkeleyDB::cxx UNKNOWN IMPORTED)
  set_target_properties(BerkeleyDB::cxx PROPERTIES
    IMPORTED_LOCATION ${BerkeleyDB_CXX_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${BerkeleyDB_INCLUDE_DIR})
endif()
