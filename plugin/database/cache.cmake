# Keeping the cache of trace databases and finding the one that a stream needs.
find_package(Curlpp REQUIRED)

add_library(veltra_database_cache STATIC
  cache_sync.cpp
  cached_database.cpp
  catalogue.cpp
  database_locator.cpp
  digests_ahead.cpp
  limited_download.cpp
  location.cpp
  stream_uuid.cpp
  uid_search.cpp)
target_link_libraries(veltra_database_cache
  PUBLIC veltra_build veltra_platform veltra_database veltra_json fmt::fmt
  PRIVATE veltra_sha256 Curlpp::Curlpp)
