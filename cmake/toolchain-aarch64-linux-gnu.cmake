# Cross-builds for 64-bit Arm (Debian's arm64) with Debian's cross compiler, and runs what was
# built under qemu.
#
# Tests that start programs need packaging/arm64-emulated around them.
#
# The libraries come from VELTRA_ARM64_DEPENDENCIES, a directory that
# packaging/arm64-dependencies fills; without the variable the script is asked for its default.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(triplet aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})

if(NOT VELTRA_ARM64_DEPENDENCIES)
  execute_process(
    COMMAND "${CMAKE_CURRENT_LIST_DIR}/../packaging/arm64-dependencies" --where
    OUTPUT_VARIABLE VELTRA_ARM64_DEPENDENCIES
    OUTPUT_STRIP_TRAILING_WHITESPACE
    COMMAND_ERROR_IS_FATAL ANY)
endif()
set(VELTRA_ARM64_DEPENDENCIES "${VELTRA_ARM64_DEPENDENCIES}" CACHE PATH
  "Where packaging/arm64-dependencies has put the libraries for arm64")
if(NOT IS_DIRECTORY "${VELTRA_ARM64_DEPENDENCIES}")
  message(FATAL_ERROR "The libraries for arm64 are not in "
    "${VELTRA_ARM64_DEPENDENCIES}: run packaging/arm64-dependencies first.")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELTRA_ARM64_DEPENDENCIES)

set(CMAKE_SYSROOT "${VELTRA_ARM64_DEPENDENCIES}")
find_program(VELTRA_QEMU NAMES qemu-aarch64-static qemu-aarch64 DOC "Runs programs for arm64")
if(VELTRA_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${VELTRA_QEMU}" -L "${VELTRA_ARM64_DEPENDENCIES}")
endif()

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
