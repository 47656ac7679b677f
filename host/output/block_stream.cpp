#include "host/output/block_stream.h"

#include "host/output/pcapng_blocks.h"
#include "host/output/tls_hello.h"

namespace veltra::host {

block_stream::block_stream(output_file& file, tls_key_log& key_log, limits how_long)
    : file_(file), key_log_(key_log), limits_(how_long) {}

void block_stream::before_ip_packet(std::span<const std::uint8_t> packet) {
  if (begins_with_server_hello(packet)) ++awaited_masters_;
}

void block_stream::random_bytes_came() {
  put_secrets(key_log_.take());
}

void block_stream::master_came() {
  put_secrets(key_log_.take());
  if (holds() && --awaited_masters_ == 0) release();
}

bool block_stream::flush(time_point now) {
  if (holds() && limits_.max_wait) {
    if (!held_since_) held_since_ = now;
    if (now - *held_since_ >= *limits_.max_wait) release();
  }
  file_.flush();
  return holds();
}

void block_stream::finish() {
  put_secrets(key_log_.take_rest());
  release();
}

void block_stream::put_secrets(const std::string& key_log) {
  if (key_log.empty()) return;
  std::string block;
  pcapng::append_secrets(block, key_log);
  file_.write(block);
}

void block_stream::release() {
  awaited_masters_ = 0;
  held_since_.reset();
  file_.write(held_);
  held_.clear();
}

}  // namespace veltra::host
