# A library of its own, so that only what checks digests depends on a crypto library.
add_library(veltra_sha256 STATIC ${platform}/sha256.cpp)
target_link_libraries(veltra_sha256 PUBLIC veltra_build)
if(WIN32)
  target_link_libraries(veltra_sha256 PRIVATE bcrypt)
else()
  find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
  target_link_libraries(veltra_sha256 PRIVATE OpenSSL::Crypto)
endif()
