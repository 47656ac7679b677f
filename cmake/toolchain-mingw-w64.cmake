# Cross-builds for 64-bit Windows with Debian's MinGW-w64 (threads: posix, for
# std::thread) and runs what was built under Wine.
#
# Libraries that Debian does not have for this target lie in a prefix that
# packaging/windows-dependencies builds. VELTRA_WINDOWS_DEPENDENCIES names it;
# without, the script is asked for its default.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)

# Every program and library carries its own language run time, so that it needs
# nothing but the system's DLLs and those of this tree. zlib goes in, too.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -static)
set(ZLIB_USE_STATIC_LIBS ON)

if(NOT VELTRA_WINDOWS_DEPENDENCIES)
  execute_process(
    COMMAND "${CMAKE_CURRENT_LIST_DIR}/../packaging/windows-dependencies" --where
    OUTPUT_VARIABLE VELTRA_WINDOWS_DEPENDENCIES
    OUTPUT_STRIP_TRAILING_WHITESPACE
    COMMAND_ERROR_IS_FATAL ANY)
endif()
set(VELTRA_WINDOWS_DEPENDENCIES "${VELTRA_WINDOWS_DEPENDENCIES}" CACHE PATH
  "Where packaging/windows-dependencies has put the libraries for Windows")
if(NOT IS_DIRECTORY "${VELTRA_WINDOWS_DEPENDENCIES}")
  message(FATAL_ERROR "The libraries for Windows are not in "
    "${VELTRA_WINDOWS_DEPENDENCIES}: run packaging/windows-dependencies first.")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELTRA_WINDOWS_DEPENDENCIES)

# Wine keeps its state in the build tree, asks nothing, shows no window and leaves the
# desktop's menus alone. WINEPATH leads to the decoder for programs that lie elsewhere
# in the build tree.
find_program(VELTRA_WINE wine DOC "Runs Windows programs")
if(VELTRA_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR
    env -u DISPLAY "WINEPREFIX=${CMAKE_BINARY_DIR}/wine" "WINEPATH=Z:${CMAKE_BINARY_DIR}/bin"
    WINEDEBUG=-all "WINEDLLOVERRIDES=mscoree,mshtml,winemenubuilder.exe=" "${VELTRA_WINE}")
endif()

set(CMAKE_FIND_ROOT_PATH "${VELTRA_WINDOWS_DEPENDENCIES}" /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
