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
  set(VELTRA_NATIVE_BUILD "" CACHE PATH
    "Build directory of this tree for this machine, which tests under Wine need as well")
  set(wine_session "${PROJECT_SOURCE_DIR}/tests/support/windows/wine_session.sh")
  add_test(NAME wine.begin COMMAND
    "${wine_session}" begin "${PROJECT_BINARY_DIR}/wine" ${CMAKE_CROSSCOMPILING_EMULATOR})
  add_test(NAME wine.end COMMAND "${wine_session}" end "${PROJECT_BINARY_DIR}/wine")
  set_tests_properties(wine.begin PROPERTIES FIXTURES_SETUP wine)
  set_tests_properties(wine.end PROPERTIES FIXTURES_CLEANUP wine)
endif()

# Under Wine, the test runs in the one session that all tests share; else nothing changes.
function(veltra_share_wine name)
  if(WIN32 AND CMAKE_CROSSCOMPILING)
    set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED wine)
  endif()
endfunction()

# veltra_add_test(NAME [LINES] [SHARDS n] SOURCES file... [LIBRARIES target...]
#   [ENVIRONMENT VAR=value...])
# Builds one GoogleTest program and makes it a ctest of its name: starting a process for
# each test takes longer than most tests do. SHARDS: the program takes long, so that it
# is n ctests, NAME.1 to NAME.n, each with its part of the tests; not in an emulator,
# which takes longer to start. LINES: it has serial lines, see tests/support/modem_line.h.
function(veltra_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "LINES" "SHARDS" "SOURCES;LIBRARIES;ENVIRONMENT")
  if(arg_LINES)
    list(APPEND arg_LIBRARIES veltra_test_line)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} veltra_build GTest::gmock_main)
  if(VELTRA_FAST_BUILD)
    target_precompile_headers(${name} REUSE_FROM veltra_test_headers)
  endif()

  # Says nothing of what passes: the failures are the whole output.
  set(command $<TARGET_FILE:${name}> --gtest_brief=1)
  if(CMAKE_CROSSCOMPILING)
    set(arg_SHARDS)
    list(PREPEND command ${CMAKE_CROSSCOMPILING_EMULATOR})
    if(arg_LINES AND WIN32)
      list(PREPEND command
        "${VELTRA_NATIVE_BUILD}/tests/far_end" "${PROJECT_BINARY_DIR}/wine/dosdevices")
    endif()
  endif()
  if(NOT arg_SHARDS)
    add_test(NAME ${name} COMMAND ${command})
    veltra_share_wine(${name})
    set_property(TEST ${name} PROPERTY ENVIRONMENT ${arg_ENVIRONMENT})
    return()
  endif()
  foreach(shard RANGE 1 ${arg_SHARDS})
    math(EXPR index "${shard} - 1")
    add_test(NAME ${name}.${shard} COMMAND ${command})
    veltra_share_wine(${name}.${shard})
    set_property(TEST ${name}.${shard} PROPERTY ENVIRONMENT
      ${arg_ENVIRONMENT} GTEST_TOTAL_SHARDS=${arg_SHARDS} GTEST_SHARD_INDEX=${index})
  endforeach()
endfunction()
