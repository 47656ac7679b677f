# curlpp over libcurl, as the target Curlpp::Curlpp. Not through pkg-config:
# Debian's curlpp.pc names its directories relative to nothing.
find_package(CURL REQUIRED)
find_path(Curlpp_INCLUDE_DIR curlpp/cURLpp.hpp)
find_library(Curlpp_LIBRARY curlpp)
mark_as_advanced(Curlpp_INCLUDE_DIR Curlpp_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Curlpp REQUIRED_VARS Curlpp_LIBRARY Curlpp_INCLUDE_DIR)

if(Curlpp_FOUND AND NOT TARGET Curlpp::Curlpp)
  add_library(Curlpp::Curlpp UNKNOWN IMPORTED)
  set_target_properties(Curlpp::Curlpp PROPERTIES
    IMPORTED_LOCATION "${Curlpp_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${Curlpp_INCLUDE_DIR}")
  target_link_libraries(Curlpp::Curlpp INTERFACE CURL::libcurl)
endif()
