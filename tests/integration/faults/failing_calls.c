// failing_calls.c - makes one system call of a program fail (LD_PRELOAD).
//
// Counted are calls on files below the working directory, by a relative name or by its
// own, and on descriptors that come of them; and of these only the calls that can fail
// with the wanted error. Standard streams always work. Environment:
//   FAILING_CALL   the call that fails, 1 is the first; 0 none
//   FAILING_WITH   EIO, ENOSPC, EINTR, ENOMEM; SHORT: half of the bytes are taken;
//                  EAGAIN: no thread can be started
//   FAILING_ON     set: all later calls fail, too
//   FAILING_COUNT  a file that gets the number of counted calls and the name of the one
//                  that failed
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

enum errors {
  on_eio = 1,
  on_enospc = 2,
  on_eintr = 4,
  on_enomem = 8,
  on_short = 16,
  on_eagain = 32
};
enum { no_fault = 0, short_count = -1, descriptors = 1024 };

static enum errors wanted;
static int wanted_errno;
static long failing_call;
static bool and_later;
static char root[4096];
static const char* count_file;
static atomic_long calls;
static const char* _Atomic failed_name;
static atomic_bool watched[descriptors];
static bool ready;

#define REAL(name)               \
  static __typeof__(name)* real; \
  if (real == NULL) real = (__typeof__(name)*)dlsym(RTLD_NEXT, #name)

__attribute__((constructor)) static void begin(void) {
  const char* kind = getenv("FAILING_WITH");
  const char* call = getenv("FAILING_CALL");
  if (kind == NULL || call == NULL || getcwd(root, sizeof root) == NULL) return;
  const struct {
    const char* name;
    enum errors kind;
    int number;
  } known[] = {{"EIO", on_eio, EIO},
               {"ENOSPC", on_enospc, ENOSPC},
               {"EINTR", on_eintr, EINTR},
               {"ENOMEM", on_enomem, ENOMEM},
               {"SHORT", on_short, short_count},
               {"EAGAIN", on_eagain, EAGAIN}};
  for (size_t i = 0; i < sizeof known / sizeof *known; ++i) {
    if (strcmp(kind, known[i].name) != 0) continue;
    wanted = known[i].kind;
    wanted_errno = known[i].number;
  }
  failing_call = atol(call);
  and_later = getenv("FAILING_ON") != NULL;
  count_file = getenv("FAILING_COUNT");
  ready = wanted != 0;
}

__attribute__((destructor)) static void end(void) {
  ready = false;
  if (count_file == NULL) return;
  FILE* const file = fopen(count_file, "w");
  if (file == NULL) return;
  const char* const name = failed_name;
  fprintf(file, "%ld %s\n", (long)calls, name == NULL ? "none" : name);
  fclose(file);
}

// The errno that this call fails with, no_fault or short_count.
static int fault(const char* name, unsigned possible) {
  if ((possible & wanted) == 0) return no_fault;
  const long number = ++calls;
  if (failing_call == 0 || number < failing_call || (number > failing_call && !and_later)) {
    return no_fault;
  }
  if (number == failing_call) failed_name = name;
  return wanted_errno;
}

static bool is_ours(const char* path) {
  if (!ready || path == NULL) return false;
  return path[0] != '/' || strncmp(path, root, strlen(root)) == 0;
}

static bool is_watched(int descriptor) {
  return ready && descriptor > 2 && descriptor < descriptors && watched[descriptor];
}

static int watch(int descriptor, const char* path) {
  if (descriptor > 2 && descriptor < descriptors) watched[descriptor] = is_ours(path);
  return descriptor;
}

#define FAIL(result) \
  do {               \
    errno = error;   \
    return result;   \
  } while (0)

#define ON_PATH(name, path, possible, failure, call) \
  REAL(name);                                        \
  if (is_ours(path)) {                               \
    const int error = fault(#name, possible);        \
    if (error != no_fault) FAIL(failure);            \
  }                                                  \
  return call

#define ON_DESCRIPTOR(name, descriptor, possible, failure, call) \
  REAL(name);                                                    \
  if (is_watched(descriptor)) {                                  \
    const int error = fault(#name, possible);                    \
    if (error != no_fault) FAIL(failure);                        \
  }                                                              \
  return call

// --- opening and closing ----------------------------------------------------------------

#define OPENING(name, parameters, path, call)                                            \
  int name parameters {                                                                  \
    va_list more;                                                                        \
    va_start(more, flags);                                                               \
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0; \
    va_end(more);                                                                        \
    REAL(name);                                                                          \
    if (is_ours(path)) {                                                                 \
      const unsigned space = (flags & O_CREAT) != 0 ? on_enospc : 0;                     \
      const int error = fault(#name, on_eio | on_eintr | on_enomem | space);             \
      if (error != no_fault) FAIL(-1);                                                   \
    }                                                                                    \
    return watch(call, path);                                                            \
  }

OPENING(open, (const char* path, int flags, ...), path, real(path, flags, mode))
OPENING(open64, (const char* path, int flags, ...), path, real(path, flags, mode))
OPENING(openat, (int at, const char* path, int flags, ...), path, real(at, path, flags, mode))
OPENING(openat64, (int at, const char* path, int flags, ...), path, real(at, path, flags, mode))

#define STREAM_OPENING(name)                                                 \
  FILE* name(const char* restrict path, const char* restrict mode) {         \
    REAL(name);                                                              \
    if (is_ours(path)) {                                                     \
      const unsigned space = mode[0] == 'r' ? 0 : on_enospc;                 \
      const int error = fault(#name, on_eio | on_eintr | on_enomem | space); \
      if (error != no_fault) FAIL(NULL);                                     \
    }                                                                        \
    FILE* const file = real(path, mode);                                     \
    if (file != NULL) watch(fileno(file), path);                             \
    return file;                                                             \
  }

STREAM_OPENING(fopen)
STREAM_OPENING(fopen64)

int close(int descriptor) {
  REAL(close);
  const bool ours = is_watched(descriptor);
  if (ours) watched[descriptor] = false;
  const int result = real(descriptor);
  const int error = ours ? fault("close", on_eio | on_enospc | on_eintr) : no_fault;
  if (error != no_fault) FAIL(-1);
  return result;
}

int fclose(FILE* file) {
  REAL(fclose);
  const int descriptor = fileno(file);
  const bool ours = is_watched(descriptor);
  if (ours) watched[descriptor] = false;
  const int result = real(file);
  const int error = ours ? fault("fclose", on_eio | on_enospc | on_eintr) : no_fault;
  if (error != no_fault) FAIL(EOF);
  return result;
}

DIR* opendir(const char* path) {
  ON_PATH(opendir, path, on_eio | on_enomem, NULL, real(path));
}

// --- data -------------------------------------------------------------------------------

#define TRANSFER(name, parameters, possible, whole, half)        \
  ssize_t name parameters {                                      \
    REAL(name);                                                  \
    if (is_watched(descriptor)) {                                \
      const int error = fault(#name, possible);                  \
      if (error == short_count) return count > 1 ? half : whole; \
      if (error != no_fault) FAIL(-1);                           \
    }                                                            \
    return whole;                                                \
  }

enum { reading = on_eio | on_eintr | on_short, writing = reading | on_enospc };

TRANSFER(read, (int descriptor, void* to, size_t count), reading, real(descriptor, to, count),
         real(descriptor, to, count / 2))
TRANSFER(pread, (int descriptor, void* to, size_t count, off_t at), reading,
         real(descriptor, to, count, at), real(descriptor, to, count / 2, at))
TRANSFER(write, (int descriptor, const void* from, size_t count), writing,
         real(descriptor, from, count), real(descriptor, from, count / 2))
TRANSFER(pwrite, (int descriptor, const void* from, size_t count, off_t at), writing,
         real(descriptor, from, count, at), real(descriptor, from, count / 2, at))

ssize_t __read_chk(int descriptor, void* to, size_t count, size_t size) {
  (void)size;
  return read(descriptor, to, count);
}

// The C library's streams do not use the functions above. A stream that failed is marked
// as such by a write that the system refuses.
static void mark_as_failed(FILE* file, int error) {
  file->_flags |= 0x20;  // _IO_ERR_SEEN
  errno = error;
}

size_t fread(void* restrict to, size_t size, size_t count, FILE* restrict file) {
  REAL(fread);
  const int error = is_watched(fileno(file)) ? fault("fread", on_eio | on_eintr) : no_fault;
  if (error == no_fault) return real(to, size, count, file);
  // Some bytes come before the failure.
  const size_t before = real(to, size, count / 2, file);
  mark_as_failed(file, error);
  return before;
}

size_t fwrite(const void* restrict from, size_t size, size_t count, FILE* restrict file) {
  REAL(fwrite);
  const int error =
      is_watched(fileno(file)) ? fault("fwrite", on_eio | on_eintr | on_enospc) : no_fault;
  if (error == no_fault) return real(from, size, count, file);
  const size_t before = real(from, size, count / 2, file);
  mark_as_failed(file, error);
  return before;
}

int fsync(int descriptor) {
  ON_DESCRIPTOR(fsync, descriptor, on_eio | on_enospc | on_eintr, -1, real(descriptor));
}
int fdatasync(int descriptor) {
  ON_DESCRIPTOR(fdatasync, descriptor, on_eio | on_enospc | on_eintr, -1, real(descriptor));
}
int ftruncate(int descriptor, off_t size) {
  ON_DESCRIPTOR(ftruncate, descriptor, on_eio | on_eintr | on_enospc, -1, real(descriptor, size));
}
int truncate(const char* path, off_t size) {
  ON_PATH(truncate, path, on_eio | on_eintr | on_enospc, -1, real(path, size));
}
off_t lseek(int descriptor, off_t at, int from) {
  ON_DESCRIPTOR(lseek, descriptor, on_eio, -1, real(descriptor, at, from));
}
int fseeko(FILE* file, off_t at, int from) {
  ON_DESCRIPTOR(fseeko, fileno(file), on_eio, -1, real(file, at, from));
}
void* mmap(void* at, size_t size, int protection, int flags, int descriptor, off_t offset) {
  ON_DESCRIPTOR(mmap, descriptor, on_enomem, MAP_FAILED,
                real(at, size, protection, flags, descriptor, offset));
}

// --- names ------------------------------------------------------------------------------

enum { naming = on_eio | on_enomem | on_enospc, looking = on_eio | on_enomem };

int rename(const char* from, const char* to) {
  ON_PATH(rename, from, naming, -1, real(from, to));
}
int link(const char* from, const char* to) {
  ON_PATH(link, from, naming, -1, real(from, to));
}
int symlink(const char* from, const char* to) {
  ON_PATH(symlink, to, naming, -1, real(from, to));
}
int unlink(const char* path) {
  ON_PATH(unlink, path, looking, -1, real(path));
}
int remove(const char* path) {
  ON_PATH(remove, path, looking, -1, real(path));
}
int mkdir(const char* path, mode_t mode) {
  ON_PATH(mkdir, path, naming, -1, real(path, mode));
}
int fchmodat(int at, const char* path, mode_t mode, int flags) {
  ON_PATH(fchmodat, path, looking, -1, real(at, path, mode, flags));
}
int stat(const char* restrict path, struct stat* restrict status) {
  ON_PATH(stat, path, looking, -1, real(path, status));
}
int lstat(const char* restrict path, struct stat* restrict status) {
  ON_PATH(lstat, path, looking, -1, real(path, status));
}
int fstatat(int at, const char* restrict path, struct stat* restrict status, int flags) {
  ON_PATH(fstatat, path, looking, -1, real(at, path, status, flags));
}
int fstat(int descriptor, struct stat* status) {
  ON_DESCRIPTOR(fstat, descriptor, looking, -1, real(descriptor, status));
}
ssize_t readlink(const char* restrict path, char* restrict to, size_t size) {
  ON_PATH(readlink, path, looking, -1, real(path, to, size));
}

// --- the line ---------------------------------------------------------------------------

int poll(struct pollfd* polled, nfds_t count, int timeout) {
  REAL(poll);
  bool ours = false;
  for (nfds_t i = 0; i < count; ++i) ours = ours || is_watched(polled[i].fd);
  const int error = ours ? fault("poll", on_eintr | on_enomem) : no_fault;
  if (error != no_fault) FAIL(-1);
  return real(polled, count, timeout);
}
int tcgetattr(int descriptor, struct termios* settings) {
  ON_DESCRIPTOR(tcgetattr, descriptor, on_eio, -1, real(descriptor, settings));
}
int tcsetattr(int descriptor, int actions, const struct termios* settings) {
  ON_DESCRIPTOR(tcsetattr, descriptor, on_eio | on_eintr, -1, real(descriptor, actions, settings));
}
int tcflush(int descriptor, int queue) {
  ON_DESCRIPTOR(tcflush, descriptor, on_eio, -1, real(descriptor, queue));
}
int ioctl(int descriptor, unsigned long request, ...) {
  va_list more;
  va_start(more, request);
  void* const argument = va_arg(more, void*);
  va_end(more);
  static int (*real)(int, unsigned long, ...);
  if (real == NULL) real = (int (*)(int, unsigned long, ...))dlsym(RTLD_NEXT, "ioctl");
  if (is_watched(descriptor)) {
    const int error = fault("ioctl", on_eio);
    if (error != no_fault) FAIL(-1);
  }
  return real(descriptor, request, argument);
}

// --- threads ----------------------------------------------------------------------------

int pthread_create(pthread_t* restrict thread, const pthread_attr_t* restrict attributes,
                   void* (*routine)(void*), void* restrict argument) {
  REAL(pthread_create);
  const int error = ready ? fault("pthread_create", on_eagain) : no_fault;
  return error != no_fault ? error : real(thread, attributes, routine, argument);
}
