// session_slot.h - the one instance of the plug-in that a run has at a time.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "host/source/plugin_library.h"
#include "host/source/source_session.h"

namespace veltra::host {

// An instance reads its input once; the next connection needs a new one. One thread, except
// for stop().
class session_slot {
 public:
  // Both must outlive the object.
  session_slot(const plugin_library& plugin, source_listener& listener)
      : plugin_(plugin), listener_(listener) {}

  // Creates an instance, after the one before is gone and its port free. stop() reaches it
  // from then on. Returns the failure of its init, if any.
  source_failure open(const std::string& parameters) {
    close();
    auto session = std::make_unique<source_session>(plugin_, listener_);
    source_failure failure = session->init(parameters);
    const std::lock_guard lock(mutex_);
    if (!failure) session_ = std::move(session);
    return failure;
  }

  void close() {
    const std::lock_guard lock(mutex_);
    session_.reset();
  }

  // See source_session; after open().
  source_failure run() { return session_->run(); }

  // Any thread; without effect while there is no instance.
  void stop() {
    const std::lock_guard lock(mutex_);
    if (session_) session_->stop();
  }

 private:
  const plugin_library& plugin_;
  source_listener& listener_;
  std::mutex mutex_;
  std::unique_ptr<source_session> session_;  // replaced and stopped under the mutex
};

}  // namespace veltra::host
