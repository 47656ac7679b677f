// script.h - signalling that a test writes down, without a capture or tshark.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/report/message.h"

namespace veltra::report {

// Messages in order, 10 ms apart unless after() says otherwise. Frames count from 1.
class script {
 public:
  using values = std::vector<std::pair<field, std::string>>;

  // The next message comes so many milliseconds after the one before.
  script& after(double milliseconds) {
    time_ += static_cast<std::uint64_t>(milliseconds * 1e6) - step;
    return *this;
  }

  script& rrc(rrc_message kind, const values& fields = {}) {
    message& made = add(layer::rrc, fields);
    made.rrc = kind;
    made.narrow_band = narrow_band_;
    return *this;
  }

  script& nas(emm_message type, const values& fields = {}) {
    message& made = add(layer::nas, fields);
    if (type == emm_message::service_request) {
      made.fields.add(field::nas_security_header, "12");
    } else {
      made.fields.add(field::nas_emm_type, std::to_string(static_cast<int>(type)));
    }
    return *this;
  }

  script& nas(esm_message type, const values& fields = {}) {
    message& made = add(layer::nas, fields);
    made.fields.add(field::nas_esm_type, std::to_string(static_cast<int>(type)));
    return *this;
  }

  script& at(std::string_view text, direction way = direction::unknown) {
    message& made = add(layer::at, {});
    made.name = text;
    made.direction = way;
    return *this;
  }

  script& lost(std::uint64_t traces) {
    add(layer::at, {}).traces_lost = traces;
    return *this;
  }

  // The last message: which way it goes.
  script& going(direction way) {
    messages_.back().direction = way;
    return *this;
  }

  // The last message comes after a restart of the modem, whose clock began again.
  script& restarted() {
    messages_.back().clock_restarted = true;
    return *this;
  }

  // RRC messages from here on are those of narrow-band IoT.
  script& narrow_band() {
    narrow_band_ = true;
    return *this;
  }

  // Messages that many procedures begin and end with.
  script& connect() {
    return rrc(rrc_message::connection_request)
        .rrc(rrc_message::connection_setup)
        .rrc(rrc_message::connection_setup_complete);
  }
  script& release() { return rrc(rrc_message::release); }

  const std::vector<message>& messages() const { return messages_; }
  std::vector<message>& messages() { return messages_; }

 private:
  static constexpr std::uint64_t step = 10'000'000;  // nanoseconds

  message& add(layer where, const values& fields) {
    time_ += step;
    message& made = messages_.emplace_back();
    made.frame = static_cast<std::uint32_t>(messages_.size());
    made.time = time_;
    made.layer = where;
    for (const auto& [which, value] : fields) made.fields.add(which, value);
    return made;
  }

  std::vector<message> messages_;
  std::uint64_t time_ = 0;
  bool narrow_band_ = false;
};

}  // namespace veltra::report
