// emulated_line.c - line settings where an emulator does not know their newer form.
//
// qemu-user 7.2 (Debian 12) answers TCGETS2 and TCSETS2 with ENOSYS. Preloaded, this has the
// older TCGETS and TCSETS do their work, which have the same members in front; the speeds,
// which those cannot carry, are kept here. A pseudo-terminal does not need them. Not part of
// the product, and of no use on a machine.
#define _GNU_SOURCE
#include <asm/termbits.h>
#include <dlfcn.h>
#include <stdarg.h>
#include <stddef.h>
#include <string.h>
#include <sys/ioctl.h>

static const size_t common = offsetof(struct termios2, c_ispeed);
static unsigned input_speed = 38400;
static unsigned output_speed = 38400;

__attribute__((visibility("default"))) int ioctl(int descriptor, unsigned long request, ...) {
  static int (*real)(int, unsigned long, ...);
  if (!real) *(void**)&real = dlsym(RTLD_NEXT, "ioctl");
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);

  struct termios older;
  struct termios2* const settings = argument;
  if (request == TCGETS2) {
    const int result = real(descriptor, TCGETS, &older);
    if (result != 0) return result;
    memcpy(settings, &older, common);
    settings->c_cflag = (settings->c_cflag & ~(unsigned)CBAUD) | BOTHER;
    settings->c_ispeed = input_speed;
    settings->c_ospeed = output_speed;
    return 0;
  }
  if (request == TCSETS2 || request == TCSETSW2 || request == TCSETSF2) {
    memset(&older, 0, sizeof older);
    memcpy(&older, settings, common);
    older.c_cflag = (older.c_cflag & ~(unsigned)CBAUD) | B38400;
    const int result = real(descriptor, TCSETS + (request - TCSETS2), &older);
    if (result != 0) return result;
    input_speed = settings->c_ispeed;
    output_speed = settings->c_ospeed;
    return 0;
  }
  return real(descriptor, request, argument);
}
