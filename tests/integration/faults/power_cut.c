// power_cut.c - what a disk would keep of a program's files if the power went (LD_PRELOAD).
//
// A file's bytes are on the disk when fsync(2) returns; names are at once. Environment:
//   POWER_CUT      the call after which the process is killed, 1 is the first; 0 none.
//                  Counted are writes, syncs, closes and renames of any file.
//   POWER_DISK     a directory: of each file that was synced it gets a copy, under the
//                  inode's number; and, in "count", how many calls there were
// A new name that no sync of a directory followed is kept in POWER_DISK as "unsynced".
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#define REAL(name)               \
  static __typeof__(name)* real; \
  if (real == NULL) real = (__typeof__(name)*)dlsym(RTLD_NEXT, #name)

static long cut;
static const char* disk;
static atomic_long calls;

__attribute__((constructor)) static void begin(void) {
  const char* const number = getenv("POWER_CUT");
  cut = number == NULL ? 0 : atol(number);
  disk = getenv("POWER_DISK");
}

static FILE* open_on_disk(const char* name) {
  char path[4096];
  snprintf(path, sizeof path, "%s/%s", disk, name);
  static __typeof__(fopen)* real;
  if (real == NULL) real = (__typeof__(fopen)*)dlsym(RTLD_NEXT, "fopen");
  return real(path, "w");
}

static void remove_from_disk(const char* name) {
  char path[4096];
  snprintf(path, sizeof path, "%s/%s", disk, name);
  unlink(path);
}

static void count(void) {
  if (disk == NULL) return;
  if (++calls == cut) kill(getpid(), SIGKILL);
}

static size_t (*real_fwrite(void))(const void*, size_t, size_t, FILE*) {
  REAL(fwrite);
  return real;
}

static int (*real_fclose(void))(FILE*) {
  REAL(fclose);
  return real;
}

__attribute__((destructor)) static void end(void) {
  if (disk == NULL) return;
  FILE* const file = open_on_disk("count");
  if (file == NULL) return;
  char text[32];
  const int size = snprintf(text, sizeof text, "%ld\n", (long)calls);
  real_fwrite()(text, 1, (size_t)size, file);
  real_fclose()(file);
}

static void note_new_name(void) {
  real_fclose()(open_on_disk("unsynced"));
}

// A number may be that of a file that is gone.
static void forget(int descriptor) {
  struct stat status;
  char name[32];
  if (fstat(descriptor, &status) != 0) return;
  snprintf(name, sizeof name, "%lu", (unsigned long)status.st_ino);
  remove_from_disk(name);
}

static FILE* open_counted(__typeof__(fopen)* real, const char* path, const char* mode) {
  const int is_new = disk != NULL && mode[0] == 'w' && access(path, F_OK) != 0;
  FILE* const file = real(path, mode);
  if (file == NULL || !is_new) return file;
  forget(fileno(file));
  note_new_name();
  return file;
}

FILE* fopen(const char* restrict path, const char* restrict mode) {
  REAL(fopen);
  return open_counted(real, path, mode);
}

FILE* fopen64(const char* restrict path, const char* restrict mode) {
  REAL(fopen64);
  return open_counted(real, path, mode);
}

static void keep(int descriptor) {
  struct stat status;
  if (disk == NULL || fstat(descriptor, &status) != 0) return;
  if (S_ISDIR(status.st_mode)) {
    remove_from_disk("unsynced");
    return;
  }
  char name[32];
  snprintf(name, sizeof name, "%lu", (unsigned long)status.st_ino);
  FILE* const copy = open_on_disk(name);
  if (copy == NULL) return;
  char block[65536];
  // Descriptors of outputs may not be readable.
  char self[64];
  snprintf(self, sizeof self, "/proc/self/fd/%d", descriptor);
  const int from = open(self, O_RDONLY | O_CLOEXEC);
  for (ssize_t size; from >= 0 && (size = read(from, block, sizeof block)) > 0;) {
    real_fwrite()(block, 1, (size_t)size, copy);
  }
  real_fclose()(copy);
  static int (*real_close)(int);
  if (real_close == NULL) real_close = (int (*)(int))dlsym(RTLD_NEXT, "close");
  if (from >= 0) real_close(from);
}

int fsync(int descriptor) {
  REAL(fsync);
  keep(descriptor);
  const int result = disk == NULL ? real(descriptor) : 0;
  count();
  return result;
}

ssize_t write(int descriptor, const void* from, size_t size) {
  REAL(write);
  const ssize_t result = real(descriptor, from, size);
  if (descriptor > 2) count();
  return result;
}

size_t fwrite(const void* restrict from, size_t size, size_t items, FILE* restrict file) {
  const size_t result = real_fwrite()(from, size, items, file);
  if (fileno(file) > 2) count();
  return result;
}

int fclose(FILE* file) {
  const int result = real_fclose()(file);
  count();
  return result;
}

int rename(const char* from, const char* to) {
  REAL(rename);
  const int result = real(from, to);
  if (disk != NULL) note_new_name();
  count();
  return result;
}
