// gzip_member.h - bytes as a gzip member (RFC 1952).
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace veltra::host {

// Compresses blocks that are worth something each by itself: members behind each other are
// one gzip file, so that a file may end behind any of them. One thread.
class gzip_member_writer {
 public:
  gzip_member_writer();
  gzip_member_writer(const gzip_member_writer&) = delete;
  gzip_member_writer& operator=(const gzip_member_writer&) = delete;
  ~gzip_member_writer();

  // The view is valid until the next call.
  std::string_view compress(std::string_view bytes);

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace veltra::host
