#include "host/output/streamed_secrets.h"

#include <utility>

#include "host/output/pcapng_blocks.h"
#include "host/output/tls_hello.h"

namespace veltra::host {

streamed_secrets::streamed_secrets(output_file& file, tls_key_log& key_log, clock now)
    : file_(file), key_log_(key_log), now_(std::move(now)) {}

void streamed_secrets::before_ip_packet(std::span<const std::uint8_t> packet) {
  if (!begins_with_server_hello(packet)) return;
  if (!holds()) since_ = now_();
  ++awaited_;
}

void streamed_secrets::write(std::string_view blocks) {
  if (!holds()) {
    file_.write(blocks);
    return;
  }
  held_ += blocks;
  if (held_.size() > most_held) release();
}

void streamed_secrets::random_bytes_came() {
  put_secrets(key_log_.take());
}

void streamed_secrets::master_came() {
  put_secrets(key_log_.take());
  if (holds() && --awaited_ == 0) release();
}

void streamed_secrets::finish() {
  put_secrets(key_log_.take_rest());
  release();
}

bool streamed_secrets::flush() {
  if (holds() && now_() - since_ >= patience) release();
  file_.flush();
  return holds();
}

void streamed_secrets::put_secrets(const std::string& key_log) {
  if (key_log.empty()) return;
  std::string block;
  pcapng::append_secrets(block, key_log);
  file_.write(block);
}

void streamed_secrets::release() {
  awaited_ = 0;
  file_.write(held_);
  held_.clear();
}

}  // namespace veltra::host
