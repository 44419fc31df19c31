# kivcorelib10: all layers in one shared library.
get_property(uses GLOBAL PROPERTY KIV_USES)
list(REMOVE_DUPLICATES uses)

file(GLOB_RECURSE public_headers CONFIGURE_DEPENDS
     ${PROJECT_SOURCE_DIR}/include/*.h)

add_library(kivcorelib10 SHARED src/util/startup.cpp)
target_compile_definitions(kivcorelib10 PRIVATE KIV_BUILDING_LIBRARY)
target_sources(kivcorelib10 PUBLIC FILE_SET HEADERS
               BASE_DIRS include FILES ${public_headers})
target_include_directories(kivcorelib10 PRIVATE src)
target_link_libraries(kivcorelib10 PRIVATE ${KIV_LAYERS} ${uses} kiv_warnings)
set_target_properties(kivcorelib10 PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  VERIFY_INTERFACE_HEADER_SETS ON)
target_link_options(kivcorelib10 PRIVATE -Wl,--as-needed)
if(NOT KIV_SANITIZE)
  target_link_options(kivcorelib10 PRIVATE -Wl,--no-undefined
    -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/kivcorelib10.map)
  set_property(TARGET kivcorelib10 APPEND PROPERTY LINK_DEPENDS
    ${PROJECT_SOURCE_DIR}/cmake/kivcorelib10.map)
endif()
target_compile_features(kivcorelib10 INTERFACE cxx_std_20)

# Every object of the library in one executable, for what has to reach both the
# published interface and the insides (scenario runs, benchmarks, fuzzing).
add_library(kiv_whole INTERFACE)
target_sources(kiv_whole INTERFACE ${PROJECT_SOURCE_DIR}/src/util/startup.cpp)
foreach(layer IN LISTS KIV_LAYERS)
  # Object libraries hand their objects to direct users only.
  target_sources(kiv_whole INTERFACE $<TARGET_OBJECTS:${layer}>)
endforeach()
target_include_directories(kiv_whole INTERFACE
  ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
target_include_directories(kiv_whole SYSTEM INTERFACE
  ${PROJECT_BINARY_DIR}/generated)
target_link_libraries(kiv_whole INTERFACE ${uses})
