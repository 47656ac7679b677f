#include "host/output/gzip_member.h"

#include <libdeflate.h>

#include <new>

namespace veltra::host {

namespace {

// gzip's own default.
constexpr int level = 6;

}  // namespace

struct gzip_member_writer::state {
  struct releaser {
    void operator()(libdeflate_compressor* released) const noexcept {
      libdeflate_free_compressor(released);
    }
  };

  std::unique_ptr<libdeflate_compressor, releaser> compressor{libdeflate_alloc_compressor(level)};
  std::string member;
};

gzip_member_writer::gzip_member_writer() : state_(std::make_unique<state>()) {
  if (!state_->compressor) throw std::bad_alloc();
}

gzip_member_writer::~gzip_member_writer() = default;

std::string_view gzip_member_writer::compress(std::string_view bytes) {
  libdeflate_compressor* const compressor = state_->compressor.get();
  std::string& member = state_->member;
  member.resize(libdeflate_gzip_compress_bound(compressor, bytes.size()));
  member.resize(libdeflate_gzip_compress(compressor, bytes.data(), bytes.size(), member.data(),
                                         member.size()));
  return member;
}

}  // namespace veltra::host
