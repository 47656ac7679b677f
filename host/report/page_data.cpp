#include "host/report/page_data.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <unordered_map>

#include "host/report/html_text.h"
#include "host/report/radio_connections.h"
#include "host/report/report_json.h"

namespace veltra::report {

namespace {

using kovax::json;

// Points of the throughput; more would not show.
constexpr std::uint64_t max_traffic_points = 1500;

// A clock before 2000-01-01 counts from the modem's start, not from 1970.
constexpr std::uint64_t first_real_time = 946'684'800'000'000'000;

// Lanes of the time axis, from top to bottom.
constexpr std::string_view lane_radio = "RRC";
constexpr std::string_view lane_registration = "registration";
constexpr std::string_view lane_security = "security";
constexpr std::string_view lane_bearer = "bearers";
constexpr std::string_view lane_service = "service, paging";
constexpr std::string_view lane_mobility = "handover";
constexpr std::string_view lane_sms = "SMS";

std::string_view lane_of(procedure_kind kind) {
  switch (kind) {
    case procedure_kind::attach:
    case procedure_kind::attach_back_off:
    case procedure_kind::tracking_area_update:
    case procedure_kind::detach_by_modem:
    case procedure_kind::detach_by_network:
      return lane_registration;
    case procedure_kind::identification:
    case procedure_kind::authentication:
    case procedure_kind::nas_security:
    case procedure_kind::as_security:
      return lane_security;
    case procedure_kind::esm_information:
    case procedure_kind::pdn_connectivity:
    case procedure_kind::pdn_disconnect:
    case procedure_kind::default_bearer:
    case procedure_kind::dedicated_bearer:
    case procedure_kind::bearer_modification:
    case procedure_kind::bearer_deactivation:
      return lane_bearer;
    case procedure_kind::service_request:
    case procedure_kind::paging:
      return lane_service;
    case procedure_kind::handover:
      return lane_mobility;
    case procedure_kind::sms_sent:
    case procedure_kind::sms_received:
      return lane_sms;
    default:
      return lane_radio;
  }
}

// Texts that many messages share, each once.
class text_table {
 public:
  std::size_t index_of(const std::string& text) {
    const auto [position, is_new] = indices_.try_emplace(text, texts_.size());
    if (is_new) texts_.push_back(text);
    return position->second;
  }
  const std::vector<std::string>& texts() const { return texts_; }

 private:
  std::unordered_map<std::string, std::size_t> indices_;
  std::vector<std::string> texts_;
};

char layer_letter(layer which) {
  return layer_name(which).front();
}

char way_letter(direction which) {
  const std::string_view name = direction_name(which);
  return name.empty() ? '-' : name.front();
}

class page_writer {
 public:
  explicit page_writer(const analysis& all) : all_(all) {
    for (std::size_t i = 0; i < all.messages.size(); ++i) {
      index_of_[all.messages[i].frame] = i;
    }
  }

  json write() {
    json result = messages();
    result["duration"] = all_.end - all_.begin;
    // Milliseconds, as scripts count time.
    result["clock"] =
        all_.begin >= first_real_time ? json(static_cast<double>(all_.begin) / 1e6) : json(nullptr);
    result["lanes"] = {lane_radio,  lane_mobility, lane_registration, lane_security,
                       lane_bearer, lane_service,  lane_sms};
    result["procedures"] = procedures();
    result["connections"] = json::array();
    for (const radio_connection& each : find_radio_connections(all_.messages)) {
      result["connections"].push_back({relative(each.begin), relative(each.end)});
    }
    result["commands"] = commands();
    result["sessions"] = sessions();
    result["losses"] = json::array();
    for (const loss& each : all_.losses) {
      result["losses"].push_back(
          {{"begin", relative(each.begin)}, {"end", relative(each.end)}, {"traces", each.traces}});
    }
    result["traffic"] = traffic();
    result["retransmissions"] = json::array();
    for (const retransmission& each : all_.ip.retransmissions) {
      result["retransmissions"].push_back(relative(each.time));
    }
    return result;
  }

 private:
  std::uint64_t relative(std::uint64_t time) const { return time - all_.begin; }

  // Frames of IP packets that were left out have no message.
  json index_or_null(std::uint32_t frame) const {
    const auto found = index_of_.find(frame);
    return found != index_of_.end() ? json(found->second) : json(nullptr);
  }

  json messages() {
    json frames = json::array();
    json times = json::array();
    json names = json::array();
    json channels = json::array();
    json sizes = json::array();
    json ends = json::array();
    json lost = json::object();
    json copies = json::object();
    std::string layers;
    std::string ways;
    text_table name_table;
    text_table channel_table;
    std::size_t end = 0;
    for (std::size_t i = 0; i < all_.messages.size(); ++i) {
      const message& each = all_.messages[i];
      frames.push_back(each.frame);
      times.push_back(relative(each.time));
      names.push_back(name_table.index_of(each.name));
      channels.push_back(channel_table.index_of(each.channel));
      sizes.push_back(each.size);
      end += all_.bytes.of(i).size();
      ends.push_back(end);
      layers += layer_letter(each.layer);
      ways += way_letter(each.direction);
      if (each.traces_lost != 0) lost[std::to_string(i)] = each.traces_lost;
      if (each.nas_copy != 0) copies[std::to_string(i)] = 1;
    }
    return {{"frame", std::move(frames)},     {"time", std::move(times)},
            {"name", std::move(names)},       {"names", name_table.texts()},
            {"channel", std::move(channels)}, {"channels", channel_table.texts()},
            {"size", std::move(sizes)},       {"byteEnds", std::move(ends)},
            {"layer", std::move(layers)},     {"way", std::move(ways)},
            {"lost", std::move(lost)},        {"copies", std::move(copies)}};
  }

  // The messages of a procedure, with the RRC messages that carry its NAS messages.
  json messages_of(const procedure& run) const {
    std::vector<std::size_t> indices;
    for (const std::uint32_t frame : run.frames) {
      const auto found = index_of_.find(frame);
      if (found == index_of_.end()) continue;
      indices.push_back(found->second);
      const auto [begin, end] = carriers_.equal_range(frame);
      for (auto each = begin; each != end; ++each) indices.push_back(each->second);
    }
    std::sort(indices.begin(), indices.end());
    // The last one is where the procedure ended, which the scripts rely on.
    const auto last = index_of_.find(run.last_frame());
    if (last != index_of_.end()) {
      std::erase(indices, last->second);
      indices.push_back(last->second);
    }
    return indices;
  }

  json procedures() {
    for (std::size_t i = 0; i < all_.messages.size(); ++i) {
      if (all_.messages[i].nas_copy != 0) carriers_.emplace(all_.messages[i].nas_copy, i);
    }
    json result = json::array();
    for (const procedure& each : all_.procedures) {
      const bool is_bad =
          each.result == procedure_result::failed || each.result == procedure_result::unanswered;
      result.push_back({{"title", procedure_title(each.kind)},
                        {"lane", lane_of(each.kind)},
                        {"begin", relative(each.begin)},
                        {"end", relative(std::max(each.begin, each.end))},
                        {"result", result_id(each.result)},
                        {"isBad", is_bad},
                        {"outcome", each.outcome},
                        {"cause", each.cause ? each.cause->text() : std::string()},
                        {"clause", each.cause ? each.cause->clause : std::string()},
                        {"messages", messages_of(each)}});
    }
    return result;
  }

  json commands() const {
    json result = json::array();
    for (const at_command& each : all_.at_commands) {
      result.push_back({{"command", each.command},
                        {"result", each.result},
                        {"isError", each.is_error},
                        {"begin", relative(each.begin)},
                        {"end", relative(std::max(each.begin, each.end))},
                        {"index", index_or_null(each.first_frame)}});
    }
    return result;
  }

  json sessions() const {
    json result = json::array();
    for (const tls_session& each : all_.ip.sessions) {
      result.push_back({{"name", each.server_name},
                        {"isEstablished", each.is_established},
                        {"failure", each.failure},
                        {"begin", relative(each.begin)},
                        {"end", relative(std::max(each.begin, each.end))},
                        {"index", index_or_null(each.first_frame)}});
    }
    return result;
  }

  json traffic() const {
    const std::uint64_t intervals = (all_.end - all_.begin) / ip_traffic::interval_length + 1;
    const std::uint64_t merged = (intervals + max_traffic_points - 1) / max_traffic_points;
    const std::uint64_t length = merged * ip_traffic::interval_length;
    std::map<std::uint64_t, traffic_interval> points;
    for (const auto& [interval, bytes] : all_.ip.intervals) {
      traffic_interval& into = points[interval / merged];
      into.up += bytes.up;
      into.down += bytes.down;
    }
    json list = json::array();
    for (const auto& [point, bytes] : points) {
      const std::uint64_t time = point * length;
      list.push_back({time > all_.begin ? time - all_.begin : 0, bytes.up, bytes.down});
    }
    return {{"interval", length}, {"points", std::move(list)}};
  }

  const analysis& all_;
  std::unordered_map<std::uint32_t, std::size_t> index_of_;
  std::unordered_multimap<std::uint32_t, std::size_t> carriers_;  // by the frame of the NAS line
};

}  // namespace

std::string page_data(const analysis& all) {
  return escape_script_json(dump_json(page_writer(all).write()));
}

std::string page_bytes(const analysis& all) {
  const std::span<const std::uint8_t> bytes = all.bytes.all();
  return base64({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

}  // namespace veltra::report
