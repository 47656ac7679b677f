// console.h - what a person sees of stdout and stderr.
#pragma once

namespace platform {

// While an object lives, a console shows what is written to it as UTF-8 and follows
// escape sequences (ECMA-48); where it does so by itself (POSIX) nothing happens.
// What was in force before is restored at the end, also when Ctrl-C ends the
// process. Create one at the start of main(), before any interrupt_watch. Files and
// pipes are not touched.
class console_setup {
 public:
  console_setup();
  console_setup(const console_setup&) = delete;
  console_setup& operator=(const console_setup&) = delete;
  ~console_setup();
};

}  // namespace platform
