#include "host/run/many_runs.h"

#include <algorithm>
#include <exception>
#include <thread>

#include "host/user_error.h"
#include "platform/interrupt.h"

namespace veltra::host {

exit_code run_side_by_side(const std::vector<grouped_run>& runs,
                           const std::function<void(std::string_view line)>& show_line) {
  run_group group(runs.size(), true);
  // Before the threads, which must not get the signals.
  const platform::interrupt_watch watch([&group] { group.interrupts.request(); });
  std::vector<exit_code> codes(runs.size(), exit_code::ok);
  const auto work = [&](std::size_t index) {
    try {
      codes[index] = runs[index](group);
    } catch (const std::exception&) {
      const failure_line failure = describe_failure(std::current_exception());
      show_line(failure.text);
      codes[index] = failure.code;
    }
  };
  {
    std::vector<std::jthread> threads;
    try {
      for (std::size_t index = 0; index < runs.size(); ++index) {
        threads.emplace_back([&work, index] { work(index); });
      }
    } catch (...) {
      group.interrupts.request();
      throw;
    }
  }
  const auto failed = std::find_if(codes.begin(), codes.end(),
                                   [](exit_code each) { return each != exit_code::ok; });
  return failed == codes.end() ? exit_code::ok : *failed;
}

}  // namespace veltra::host
