# The loopback servers, for any test that wants them.
include_guard(GLOBAL)
add_library(veltra_test_http STATIC
  "${PROJECT_SOURCE_DIR}/tests/support/forward_proxy.cpp"
  "${PROJECT_SOURCE_DIR}/tests/support/http_server.cpp"
  "${PROJECT_SOURCE_DIR}/tests/support/loopback.cpp"
  "${PROJECT_SOURCE_DIR}/tests/support/${VELTRA_TEST_PLATFORM}/tcp_socket.cpp")
target_link_libraries(veltra_test_http PUBLIC veltra_build fmt::fmt Threads::Threads)
if(WIN32)
  target_link_libraries(veltra_test_http PRIVATE veltra_platform ws2_32)
endif()
