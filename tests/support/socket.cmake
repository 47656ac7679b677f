# TCP on 127.0.0.1, for any test that wants it.
include_guard(GLOBAL)
add_library(veltra_test_socket STATIC
  "${PROJECT_SOURCE_DIR}/tests/support/${VELTRA_TEST_PLATFORM}/tcp_socket.cpp")
target_link_libraries(veltra_test_socket PUBLIC veltra_build Threads::Threads)
if(WIN32)
  target_link_libraries(veltra_test_socket PRIVATE veltra_platform ws2_32)
endif()
