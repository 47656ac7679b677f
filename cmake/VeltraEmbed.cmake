# Files of the tree as constants of a program.

# veltra_embed(TARGET HEADER NAMESPACE file...): gives TARGET a header HEADER with one
# std::string_view a file in NAMESPACE, named as the file with "_" for ".". They are made again
# when a file changes.
function(veltra_embed target header namespace)
  set(paths)
  foreach(file IN LISTS ARGN)
    list(APPEND paths "${CMAKE_CURRENT_SOURCE_DIR}/${file}")
  endforeach()
  set(directory "${CMAKE_CURRENT_BINARY_DIR}/embedded")
  set(output "${directory}/${header}")
  add_custom_command(OUTPUT "${output}"
    COMMAND "${CMAKE_COMMAND}" "-DOUTPUT=${output}" "-DNAMESPACE=${namespace}" "-DFILES=${paths}"
      -P "${PROJECT_SOURCE_DIR}/cmake/embed_files.cmake"
    DEPENDS ${paths} "${PROJECT_SOURCE_DIR}/cmake/embed_files.cmake"
    COMMENT "Embedding ${header}"
    VERBATIM)
  target_sources(${target} PRIVATE "${output}")
  target_include_directories(${target} PRIVATE "${directory}")
endfunction()
