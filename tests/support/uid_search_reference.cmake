# The plain UUID search, for what compares the real one with it.
include_guard(GLOBAL)
add_library(veltra_uid_search_reference STATIC
  "${PROJECT_SOURCE_DIR}/tests/support/uid_search_reference.cpp")
target_link_libraries(veltra_uid_search_reference PUBLIC veltra_build)
# GCC 12 warns of its own std::regex when it adds sanitizers.
target_compile_options(veltra_uid_search_reference PRIVATE
  $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
