# The loopback servers, for any test that wants them.
include_guard(GLOBAL)
include("${CMAKE_CURRENT_LIST_DIR}/socket.cmake")
add_library(veltra_test_http STATIC
  "${PROJECT_SOURCE_DIR}/tests/support/forward_proxy.cpp"
  "${PROJECT_SOURCE_DIR}/tests/support/http_server.cpp"
  "${PROJECT_SOURCE_DIR}/tests/support/loopback.cpp")
target_link_libraries(veltra_test_http PUBLIC veltra_build veltra_test_socket fmt::fmt)
