// session_fuzz.cpp - any text as a modem's session.
//
// Every outcome is a list of messages within the limits, or a sentence for a person.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "host/simulate/session_file.h"
#include "host/user_error.h"
#include "implementation/contract.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace host = veltra::host;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const host::session session = host::parse_session(text, "session.tsv");
    KOVAX_CONTRACT(!session.messages.empty());
    std::size_t line = 0;
    for (const host::session_message& message : session.messages) {
      KOVAX_CONTRACT(message.time_us <= host::max_session_time_us);
      KOVAX_CONTRACT(message.line > line && !message.layer.empty());
      KOVAX_CONTRACT(message.payload.size() <= size / 2);
      line = message.line;
    }
  } catch (const host::user_error& refusal) {
    const std::string_view sentence = refusal.what();
    KOVAX_CONTRACT(refusal.code() == host::exit_code::bad_input);
    KOVAX_CONTRACT(sentence.starts_with("session.tsv"));
    for (const char byte : sentence) KOVAX_CONTRACT(static_cast<unsigned char>(byte) >= ' ');
  }
  return 0;
}
