// console.h - what a person sees of stdout and stderr.
#pragma once

namespace platform {

// While an object lives, a console shows what is written to it as UTF-8 and follows
// escape sequences (ECMA-48); where it does so by itself (POSIX) nothing is done to it.
// What was in force before is restored at the end, also when Ctrl-C ends the
// process. Files are not touched. A pipe whose reader went away makes a write fail
// (EPIPE) and does not end the process, from here to the process's end: SIGPIPE is
// ignored (POSIX). Create one at the start of main(), before any interrupt_watch.
class console_setup {
 public:
  console_setup();
  console_setup(const console_setup&) = delete;
  console_setup& operator=(const console_setup&) = delete;
  ~console_setup();
};

}  // namespace platform
