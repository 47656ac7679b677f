# Settings that every target of the tree shares.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Most of a compilation is headers and the templates in them. Sources of one target that
# are compiled together share that, which makes a build from nothing take a third of the
# time. Their names in anonymous namespaces must differ then; veltra_compile_apart() is
# for those that cannot. A source must include what it uses all the same: the preset
# "apart" compiles each by itself.
set(CMAKE_UNITY_BUILD ${VELTRA_FAST_BUILD})
set(CMAKE_UNITY_BUILD_BATCH_SIZE 36)

# veltra_compile_apart(FILE...): sources of this directory that take no others beside them.
function(veltra_compile_apart)
  foreach(file IN LISTS ARGN)
    if(NOT EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/${file}")
      message(FATAL_ERROR "veltra_compile_apart: ${CMAKE_CURRENT_SOURCE_DIR}/${file} does not exist.")
    endif()
  endforeach()
  set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# The plug-in, the decoder and the host program stand side by side in the build
# tree, as they do when unpacked, so that each finds the next without help.
set(VELTRA_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

# Where the plug-in and the decoder are installed, below the prefix. Windows looks
# for libraries beside the program, and has no place for documents.
if(WIN32)
  set(VELTRA_PLUGIN_INSTALL_DIR "${CMAKE_INSTALL_BINDIR}")
  set(VELTRA_DOC_INSTALL_DIR .)
else()
  set(VELTRA_PLUGIN_INSTALL_DIR "${CMAKE_INSTALL_LIBDIR}/kovax")
  set(VELTRA_DOC_INSTALL_DIR "${CMAKE_INSTALL_DOCDIR}")
endif()

# Where Wireshark looks for profiles, if the prefix is its own.
if(WIN32)
  set(VELTRA_PROFILE_INSTALL_DIR "${CMAKE_INSTALL_BINDIR}/wireshark")
else()
  set(VELTRA_PROFILE_INSTALL_DIR "${CMAKE_INSTALL_DATADIR}/wireshark/profiles")
endif()

# veltra_build: include directories, warnings and sanitizers of the tree's own code.
add_library(veltra_build INTERFACE)
target_include_directories(veltra_build INTERFACE
  "${PROJECT_SOURCE_DIR}/include" "${PROJECT_SOURCE_DIR}")
target_compile_features(veltra_build INTERFACE cxx_std_20)

if(MSVC)
  target_compile_options(veltra_build INTERFACE /W4 /permissive- /utf-8)
  if(VELTRA_WARNINGS_AS_ERRORS)
    target_compile_options(veltra_build INTERFACE /WX)
  endif()
else()
  # Sources that are compiled together hide each other's names, which only GCC can tell from
  # the rest.
  if(NOT VELTRA_FAST_BUILD)
    set(shadow_warning -Wshadow)
  elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(shadow_warning -Wshadow=local)
  endif()
  target_compile_options(veltra_build INTERFACE
    -Wall -Wextra -Wpedantic ${shadow_warning} -Wconversion -Wsign-conversion
    -Wcast-qual -Wformat=2 -Wundef
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>)
  if(VELTRA_WARNINGS_AS_ERRORS)
    target_compile_options(veltra_build INTERFACE -Werror)
  endif()
  # GCC collects its garbage from 128 MiB on, which is a tenth of the time: most files
  # here need several times that in any case.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(veltra_build INTERFACE --param=ggc-min-heapsize=1048576)
  endif()
endif()

if(VELTRA_SANITIZE)
  add_compile_options(-fsanitize=${VELTRA_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer -g1)  # the lines that reports name; more takes a tenth longer
  add_link_options(-fsanitize=${VELTRA_SANITIZE})
endif()

# veltra_limit_exports(TARGET NAME): shows exactly the symbols that the linker
# list NAME.map (GNU ld) or NAME.def (Windows) beside the target's sources names.
function(veltra_limit_exports target name)
  if(WIN32)
    target_sources(${target} PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}/${name}.def")
  else()
    set(map "${CMAKE_CURRENT_SOURCE_DIR}/${name}.map")
    target_link_options(${target} PRIVATE
      "LINKER:--version-script=${map}" "LINKER:--no-undefined-version"
      "LINKER:--gc-sections")  # most of the JSON library, which is one object
    if(NOT VELTRA_SANITIZE)
      target_link_options(${target} PRIVATE "LINKER:--no-undefined")
    endif()
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${map}")
  endif()
endfunction()
