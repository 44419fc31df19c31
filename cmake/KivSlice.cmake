# kiv_slice_sources(out slice-file...): the C++ side of Slice definitions, made
# in the build folder and included as "slice/<name>.h".
find_package(Ice 3.7 REQUIRED COMPONENTS Ice)

set(kiv_slice_folder ${PROJECT_BINARY_DIR}/generated)
file(MAKE_DIRECTORY ${kiv_slice_folder}/slice)

function(kiv_slice_sources out)
  set(result)
  foreach(slice IN LISTS ARGN)
    get_filename_component(name ${slice} NAME_WE)
    set(made ${kiv_slice_folder}/slice/${name})
    # The header must come before the generated one: it replaces parts of it.
    add_custom_command(OUTPUT ${made}.cpp ${made}.h
      COMMAND ${Ice_SLICE2CPP_EXECUTABLE}
              --add-header remote/flat_tree_stream.h --include-dir slice
              --output-dir ${kiv_slice_folder}/slice ${slice}
      DEPENDS ${slice} VERBATIM)
    # Nobody's style but its maker's.
    set_source_files_properties(${made}.cpp PROPERTIES COMPILE_OPTIONS -w)
    list(APPEND result ${made}.cpp ${made}.h)
  endforeach()
  set(${out} ${result} PARENT_SCOPE)
endfunction()
