// http_server.h - a small HTTP/1.1 server (RFC 9112) on the loopback interface.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/loopback.h"

namespace test_support {

struct http_request {
  std::string target;  // as in the request line: a path, or a whole URL at a proxy
  std::string head;    // request line and header fields as they came
};

struct http_response {
  std::string body;
  int status = 200;
  std::vector<std::pair<std::string, std::string>> fields;  // header fields besides the usual
  bool one_byte_at_a_time = false;                          // each in a segment of its own
  std::size_t cut_off_after = std::string::npos;            // bytes of the body, then the end
  bool held = false;                                        // answered only after release()
};

// Serves one connection after the other on a thread of its own and answers GET
// requests with what was set for their path; anything else gets status 404 and
// the page "not here\n". All members may be called from any thread.
class http_server : public loopback_server {
 public:
  http_server() { start_serving(); }
  ~http_server() override;

  // "http://127.0.0.1:PORT" + `path`
  std::string url(std::string_view path) const;

  void answer(const std::string& path, http_response response);
  void answer(const std::string& path, std::string body) {
    answer(path, http_response{std::move(body), 200, {}, false, std::string::npos, false});
  }

  std::vector<http_request> requests() const;
  std::vector<std::string> targets() const;

  // Waits until `count` requests have come.
  void wait_for_requests(std::size_t count) const;

  // Lets the held answers go, now and later.
  void release();

 private:
  void serve(connection peer) override;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::map<std::string, http_response> answers_;
  std::vector<http_request> requests_;
  bool released_ = false;
};

}  // namespace test_support
