// sync_progress.h - the lines that a synchronisation of the cache shows.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "host/database/database_events.h"
#include "plugin/database/cache_sync.h"

namespace veltra::host {

// Reports the step to `events`.
void take_step(database_events& events, sync_step step, const std::string& detail);

// Makes one line for the catalogue and one for each database of a synchronisation: the
// file below the cache, and what became of it. A line begins when the work on it does, so
// that a slow download is seen by its name. One thread.
class sync_progress : public sync_listener {
 public:
  // `cache` as the user named it; `out` must outlive this object.
  sync_progress(std::filesystem::path cache, std::FILE* out);

  void on_step(sync_step step, const std::string& detail) override;

  // Ends the last line, after a failure as failed.
  void finish(bool failed);

  std::size_t databases() const { return databases_; }
  std::size_t downloads() const { return downloads_; }
  const database_events& events() const { return events_; }

 private:
  void begin_line(const std::string& subject, const char* outcome);
  void show(const std::string& text);
  std::string below_cache(std::string_view file) const;

  const std::filesystem::path cache_;
  std::FILE* const out_;
  database_events events_;
  std::string outcome_;  // how the line that has begun will end; empty: none has begun
  std::size_t databases_ = 0;
  std::size_t downloads_ = 0;
};

}  // namespace veltra::host
