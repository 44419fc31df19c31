# kiv_layer(name FOLDERS below-src... [BELOW layers...] [USES libraries...]
#           [GENERATED sources...])
#
# One target a layer, kiv_<name>, of every source in the folders, and one test
# program, kiv_<name>_test, of every *_test.cpp beside them. The test links this
# layer and the ones below with every object, so one call upward leaves it
# unlinkable; tools/check_includes.py catches the upward include.
#
# startup.cpp reaches every layer and belongs to the library alone.
set(KIV_LAYERS "" CACHE INTERNAL "layers, lowest first")

function(kiv_layer name)
  cmake_parse_arguments(arg "" "" "FOLDERS;BELOW;USES;GENERATED" ${ARGN})
  set(sources)
  foreach(folder IN LISTS arg_FOLDERS)
    file(GLOB found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${folder}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  set(tests ${sources})
  list(FILTER tests INCLUDE REGEX "_test\\.cpp$")
  list(FILTER sources EXCLUDE REGEX "(_test|/startup)\\.cpp$")
  kiv_message_sources(sources ${sources})

  add_library(kiv_${name} OBJECT ${sources} ${arg_GENERATED})
  target_include_directories(kiv_${name} PUBLIC
    ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  if(arg_GENERATED)
    target_include_directories(kiv_${name} SYSTEM PUBLIC
      ${PROJECT_BINARY_DIR}/generated)
  endif()
  target_compile_definitions(kiv_${name} PRIVATE KIV_BUILDING_LIBRARY)
  target_link_libraries(kiv_${name} PUBLIC ${arg_BELOW}
                        PRIVATE ${arg_USES} kiv_warnings)
  set(KIV_LAYERS ${KIV_LAYERS} kiv_${name} CACHE INTERNAL "layers, lowest first")
  set_property(GLOBAL APPEND PROPERTY KIV_USES ${arg_USES})

  if(KIV_TESTS)
    get_property(uses GLOBAL PROPERTY KIV_USES)
    list(REMOVE_DUPLICATES uses)
    add_executable(kiv_${name}_test ${tests})
    target_include_directories(kiv_${name}_test PRIVATE
      ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(kiv_${name}_test PRIVATE
      kiv_${name} ${arg_BELOW} ${uses} kiv_warnings GTest::gmock GTest::gtest_main)
    add_test(NAME ${name} COMMAND kiv_${name}_test)
    set_tests_properties(${name} PROPERTIES TIMEOUT 300)
  endif()
endfunction()
