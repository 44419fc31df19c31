# kiv::kivcorelib10, from wherever this file was installed.
include(${CMAKE_CURRENT_LIST_DIR}/kivcorelib10-targets.cmake)
