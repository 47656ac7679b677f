// forward_proxy.h - a small HTTP forward proxy (RFC 9112, 3.2.2) on loopback.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "tests/support/loopback.h"

namespace test_support {

// Passes GET requests for "http://127.0.0.1:PORT/..." on to that port, and the
// answers back as they are; to any other it answers status 502 without a body.
class forward_proxy : public loopback_server {
 public:
  forward_proxy() { start_serving(); }
  ~forward_proxy() override { stop_serving(); }

  // "127.0.0.1:PORT", as a proxy setting has it.
  std::string address() const;

  // The URLs that were asked for. Any thread.
  std::vector<std::string> targets() const;

 private:
  void serve(connection peer) override;

  mutable std::mutex mutex_;
  std::vector<std::string> targets_;
};

}  // namespace test_support
