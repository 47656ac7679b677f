#include "host/output/provenance.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "base/hex.h"
#include "host/console.h"
#include "host/output/pcapng_blocks.h"
#include "platform/file.h"
#include "platform/sha256.h"

namespace veltra::host {

namespace {

constexpr std::string_view trace_name = "trace";
constexpr std::string_view trace_size_name = "trace size";
constexpr std::string_view separator = ": ";

// A section header is at the front, and far smaller.
constexpr std::size_t max_head = std::size_t{1} << 16;

std::string absolute_name(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::path full = std::filesystem::absolute(path, error);
  return sanitize(platform::path_to_utf8((error ? path : full).lexically_normal()));
}

std::string size_text(const std::filesystem::path& path) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  return error ? std::string() : fmt::format("{} bytes", size);
}

std::string_view text_of(const provenance& facts, std::string_view name) {
  const auto found =
      std::find_if(facts.begin(), facts.end(), [&](const fact& each) { return each.name == name; });
  return found != facts.end() ? std::string_view(found->text) : std::string_view();
}

// The first bytes of what a gzip stream (RFC 1952) compresses, of which `start` is the
// beginning.
std::string inflate_start(std::string start) {
  z_stream stream{};
  constexpr int gzip_only = 16 + MAX_WBITS;
  if (inflateInit2(&stream, gzip_only) != Z_OK) return {};
  std::string bytes(max_head, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(start.data());
  stream.avail_in = static_cast<uInt>(start.size());
  stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
  stream.avail_out = static_cast<uInt>(bytes.size());
  inflate(&stream, Z_SYNC_FLUSH);  // whatever comes out, is looked at
  bytes.resize(bytes.size() - stream.avail_out);
  inflateEnd(&stream);
  return bytes;
}

std::string read_head(const std::filesystem::path& file) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(file, ignored)) return {};
  std::ifstream from(file, std::ios::binary);
  std::string head(max_head, '\0');
  from.read(head.data(), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<std::size_t>(from.gcount()));
  return head.starts_with("\x1f\x8b") ? inflate_start(std::move(head)) : head;
}

}  // namespace

std::string to_comment(const fact& fact) {
  return fact.name + std::string(separator) + fact.text;
}

provenance provenance_of_trace(const std::filesystem::path& trace) {
  provenance facts = {{std::string(trace_name), absolute_name(trace)}};
  if (std::string size = size_text(trace); !size.empty()) {
    facts.push_back({std::string(trace_size_name), std::move(size)});
  }
  return facts;
}

provenance provenance_of_database(const std::filesystem::path& file, const std::string& uuid) {
  if (file.empty() && uuid.empty()) return {};
  std::string text = sanitize(platform::path_to_utf8(file.filename()));
  const auto add = [&text](std::string_view name, const std::string& value) {
    if (!value.empty()) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", name, value);
  };
  add("UUID", sanitize(uuid));
  add("SHA-256", sha256_of_file(file));
  return {{"database", text}};
}

std::string sha256_of_file(const std::filesystem::path& file) {
  const platform::owned_file from(platform::open_file(file, platform::open_mode::read));
  if (!from) return {};
  try {
    platform::sha256_stream stream;
    std::array<char, 65536> block;
    while (const std::size_t count = platform::read_bytes(from.get(), block.data(), block.size())) {
      stream.add({block.data(), count});
    }
    if (std::ferror(from.get()) != 0) return {};
    std::string digits;
    append_hex(digits, stream.finish());
    return digits;
  } catch (const std::runtime_error&) {
    return {};  // a machine that forbids the algorithm
  }
}

provenance read_provenance(const std::filesystem::path& file) {
  provenance facts;
  for (const std::string& comment : pcapng::section_comments(read_head(file))) {
    const std::size_t end = comment.find(separator);
    if (end == std::string::npos) continue;
    facts.push_back({comment.substr(0, end), comment.substr(end + separator.size())});
  }
  return facts;
}

bool is_capture_of(const provenance& capture, const std::filesystem::path& trace) {
  const std::string_view made_of = text_of(capture, trace_name);
  if (made_of.empty()) return false;
  if (made_of == absolute_name(trace)) return true;
  const auto name = platform::path_from_utf8(std::string(made_of)).filename();
  const std::string size = size_text(trace);
  return name == trace.filename() && !size.empty() && size == text_of(capture, trace_size_name);
}

}  // namespace veltra::host
