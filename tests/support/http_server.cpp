#include "tests/support/http_server.h"

#include <fmt/format.h>

namespace test_support {

namespace {

std::string target_of(const std::string& head) {
  const std::size_t begin = head.find(' ') + 1;
  return head.substr(begin, head.find(' ', begin) - begin);
}

std::string head_of(const http_response& response) {
  std::string head = fmt::format("HTTP/1.1 {} Answer\r\nContent-Length: {}\r\n", response.status,
                                 response.body.size());
  for (const auto& [name, value] : response.fields) head += fmt::format("{}: {}\r\n", name, value);
  return head + "Connection: close\r\n\r\n";
}

}  // namespace

http_server::~http_server() {
  release();
  stop_serving();
}

std::string http_server::url(std::string_view path) const {
  return fmt::format("http://127.0.0.1:{}{}", port(), path);
}

void http_server::answer(const std::string& path, http_response response) {
  const std::lock_guard lock(mutex_);
  answers_[path] = std::move(response);
}

std::vector<http_request> http_server::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<std::string> http_server::targets() const {
  std::vector<std::string> targets;
  for (const http_request& request : requests()) targets.push_back(request.target);
  return targets;
}

void http_server::wait_for_requests(std::size_t count) const {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return requests_.size() >= count; });
}

void http_server::release() {
  const std::lock_guard lock(mutex_);
  released_ = true;
  changed_.notify_all();
}

void http_server::serve(connection peer) {
  const auto head = peer.read_head();
  if (!head) return;
  http_response response{"not here\n", 404, {}, false, std::string::npos, false};
  {
    std::unique_lock lock(mutex_);
    const std::string target = target_of(*head);
    requests_.push_back({target, *head});
    changed_.notify_all();
    if (const auto found = answers_.find(target); found != answers_.end()) response = found->second;
    if (response.held) changed_.wait(lock, [&] { return released_; });
  }
  if (!peer.send(head_of(response))) return;
  const std::string_view body = std::string_view(response.body).substr(0, response.cut_off_after);
  const std::size_t piece = response.one_byte_at_a_time ? 1 : body.size();
  for (std::size_t sent = 0; sent < body.size(); sent += piece) {
    if (!peer.send(body.substr(sent, piece))) return;
  }
}

}  // namespace test_support
