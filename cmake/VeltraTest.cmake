# How tests are built and run.

# Where tests find their one source per platform.
if(WIN32)
  set(VELTRA_TEST_PLATFORM windows)
else()
  set(VELTRA_TEST_PLATFORM posix)
endif()

# Before the absolute paths that are handed to test programs: under Wine the
# machine's own files are on this drive, whatever the working directory is.
set(VELTRA_TEST_DRIVE "")
if(WIN32 AND CMAKE_CROSSCOMPILING)
  set(VELTRA_TEST_DRIVE "Z:")
  set(VELTRA_NATIVE_BUILD "${PROJECT_SOURCE_DIR}/build/release" CACHE PATH
    "Build directory of this tree for this machine, which tests under Wine need as well")
  set(wine_session "${PROJECT_SOURCE_DIR}/tests/support/windows/wine_session.sh")
  add_test(NAME wine.begin COMMAND
    "${wine_session}" begin "${PROJECT_BINARY_DIR}/wine" ${CMAKE_CROSSCOMPILING_EMULATOR})
  add_test(NAME wine.end COMMAND "${wine_session}" end "${PROJECT_BINARY_DIR}/wine")
  set_tests_properties(wine.begin PROPERTIES FIXTURES_SETUP wine TIMEOUT 300)
  set_tests_properties(wine.end PROPERTIES FIXTURES_CLEANUP wine TIMEOUT 60)
endif()

# veltra_set_test_properties(TEST property value...): what every test has, and more.
function(veltra_set_test_properties name)
  if(WIN32 AND CMAKE_CROSSCOMPILING)
    set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED wine)
  endif()
  set_tests_properties(${name} PROPERTIES ${ARGN})
endfunction()

# veltra_add_test(NAME [LINES] SOURCES file... [LIBRARIES target...]
#   [ENVIRONMENT VAR=value...] [TIMEOUT seconds])
# Builds one GoogleTest program and makes each of its tests a ctest of its own. Where
# the program runs in an emulator, whose start takes longer than most tests, the
# whole program is one ctest. LINES: it has serial lines, see
# tests/support/modem_line.h.
function(veltra_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "LINES" "TIMEOUT" "SOURCES;LIBRARIES;ENVIRONMENT")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 60)
  endif()
  if(arg_LINES)
    list(APPEND arg_LIBRARIES veltra_test_line)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} veltra_build GTest::gmock_main)
  target_precompile_headers(${name} REUSE_FROM veltra_test_headers)
  set(properties)
  if(arg_ENVIRONMENT)
    list(APPEND properties ENVIRONMENT "${arg_ENVIRONMENT}")
  endif()
  if(CMAKE_CROSSCOMPILING)
    set(far_end)
    if(arg_LINES)
      set(far_end "${VELTRA_NATIVE_BUILD}/tests/far_end" "${PROJECT_BINARY_DIR}/wine/dosdevices")
    endif()
    add_test(NAME ${name}
      COMMAND ${far_end} ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${name}>)
    veltra_set_test_properties(${name} TIMEOUT 300 ${properties})
  else()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST NO_PRETTY_VALUES TEST_PREFIX "${name}."
      PROPERTIES TIMEOUT ${arg_TIMEOUT} ${properties})
  endif()
endfunction()
