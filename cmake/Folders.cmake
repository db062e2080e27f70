# Compiles the sources of one folder as one, where that is asked for: most of compiling a source, and of linting it, is
# reading what its neighbours read as well. So names in unnamed namespaces are unique in a folder.
option(ZORVANE_COMPILE_BY_FOLDER "Compile the sources of one folder as one" OFF)

function(zorvane_compile_by_folder target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${ZORVANE_COMPILE_BY_FOLDER} UNITY_BUILD_MODE GROUP)
  if(ZORVANE_COMPILE_BY_FOLDER AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)  # it takes an included source for a header
  endif()
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    get_filename_component(folder ${source} DIRECTORY)
    string(MAKE_C_IDENTIFIER "folder_${folder}" group)
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
  endforeach()
endfunction()
