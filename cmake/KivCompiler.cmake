# Warnings, sanitizers and the execution charset of the message files.

add_library(kiv_warnings INTERFACE)
target_compile_options(kiv_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
  -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2
  $<$<BOOL:${KIV_WERROR}>:-Werror>)

if(KIV_SANITIZE)
  add_compile_options(-fsanitize=${KIV_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KIV_SANITIZE})
endif()
if(KIV_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Gives back the list of sources in which every *_messages.cpp is compiled with
# the GB2312 execution charset. GCC has a flag for it; clang gets a copy that
# iconv converted.
function(kiv_message_sources out)
  set(result)
  foreach(source IN LISTS ARGN)
    if(NOT source MATCHES "_messages\\.cpp$")
      list(APPEND result ${source})
    elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      set_source_files_properties(${source} PROPERTIES
        COMPILE_OPTIONS -fexec-charset=GB2312)
      list(APPEND result ${source})
    else()
      get_filename_component(folder ${source} DIRECTORY)
      file(RELATIVE_PATH below ${PROJECT_SOURCE_DIR} ${source})
      set(converted ${PROJECT_BINARY_DIR}/gb2312/${below})
      get_filename_component(converted_folder ${converted} DIRECTORY)
      file(MAKE_DIRECTORY ${converted_folder})
      add_custom_command(OUTPUT ${converted}
        COMMAND iconv -f UTF-8 -t GB2312 ${source} > ${converted}
        DEPENDS ${source} VERBATIM)
      set_source_files_properties(${converted} PROPERTIES
        COMPILE_OPTIONS -Wno-invalid-source-encoding
        INCLUDE_DIRECTORIES ${folder})
      list(APPEND result ${converted})
    endif()
  endforeach()
  set(${out} ${result} PARENT_SCOPE)
endfunction()
