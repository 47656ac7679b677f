/* host.c - a host in C: decodes a trace file, or a modem's trace live from a serial port, and
 * prints a line for each packet. Ctrl-C ends it.
 *   cc host.c $(pkg-config --cflags kovax-veltra-source) -pthread -ldl -o host
 *   host file TRACE DATABASE
 *   host port DEVICE DATABASE
 */
#include <dlfcn.h>
#include <inttypes.h>
#include <kovax/source.h>
#include <pthread.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <string.h>

#ifndef PLUGIN_DIRECTORY /* pkg-config --variable=plugindir kovax-veltra-source */
#define PLUGIN_DIRECTORY "/usr/lib/kovax"
#endif

/* What the program knows of the run. */
struct host {
  kovax_source* source;
  kovax_source_stop_fn stop;
  atomic_bool stop_requested;
  sigset_t signals;
};

static void print_log(kovax_source* source, void* user_data, int32_t level, const char* message) {
  (void)source;
  (void)user_data;
  if (level == KOVAX_LOG_RECOVERABLE_FAILURE) fprintf(stderr, "note: %s\n", message);
}

static void print_error(void* user_data, kovax_error_t error) {
  (void)user_data;
  fprintf(stderr, "error %" PRId32 ": %s\n", error.code, error.message);
}

/* The packet's texts and bytes are valid until this returns. */
static void print_packet(kovax_source* source, void* user_data, kovax_stream_packet_t packet) {
  (void)source;
  (void)user_data;
  if (strcmp(packet.format, "modem_trace") == 0) return; /* the input's own bytes */
  printf("%" PRIu64 " %" PRIu64 " %s %" PRIu32 " bytes\n", packet.sequence_number, packet.timestamp,
         packet.format, packet.data_size);
  fflush(stdout); /* for a reader that waits for packets of a live trace */
}

static void is_stop(void* user_data, kovax_error_t error) {
  *(int*)user_data = strcmp(error.message, "stop extracting") == 0;
}

/* Thread B. stop must not be called from a signal handler, so this thread waits for signals. */
static void* stop_at_signal(void* argument) {
  struct host* host = argument;
  int signal = 0;
  while (sigwait(&host->signals, &signal) == 0 && signal != SIGUSR1) { /* the run has ended */
    atomic_store(&host->stop_requested, 1);
    host->stop(host->source);
  }
  return NULL;
}

/* Appends `text` as a JSON string to `json`; 0 if it does not fit. */
static int append_string(char* json, size_t size, const char* text) {
  size_t used = strlen(json);
  if (used + 1 < size) json[used++] = '"';
  for (; *text != '\0' && used + 8 < size; ++text) {
    const unsigned char byte = (unsigned char)*text;
    if (byte == '"' || byte == '\\' || byte < 0x20) {
      used += (size_t)snprintf(json + used, size - used, "\\u%04x", byte);
    } else {
      json[used++] = (char)byte;
    }
  }
  json[used] = '\0';
  if (*text != '\0' || used + 4 >= size) return 0;
  strcpy(json + used, "\"");
  return 1;
}

int main(int argc, char** argv) {
  if (argc != 4 || (strcmp(argv[1], "file") != 0 && strcmp(argv[1], "port") != 0)) {
    fprintf(stderr, "usage: host file TRACE DATABASE | host port DEVICE DATABASE\n");
    return 2;
  }
  const int is_live = strcmp(argv[1], "port") == 0;

  void* plugin = dlopen(PLUGIN_DIRECTORY "/kovax-veltra-source.kovax", RTLD_NOW);
  if (plugin == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  kovax_source_init_fn init = (kovax_source_init_fn)dlsym(plugin, "kovax_source_init");
  kovax_source_start_fn start = (kovax_source_start_fn)dlsym(plugin, "kovax_source_start");
  kovax_source_release_fn release = (kovax_source_release_fn)dlsym(plugin, "kovax_source_release");
  kovax_source_get_last_error_fn get_last_error =
      (kovax_source_get_last_error_fn)dlsym(plugin, "kovax_source_get_last_error");
  struct host host = {.stop = (kovax_source_stop_fn)dlsym(plugin, "kovax_source_stop")};

  /* A live read waits for "chunk_size" bytes and then takes all there are. */
  char parameters[8192] = "";
  strcpy(parameters, is_live ? "{\"chunk_size\":1,\"serialport\":{\"path\":" : "{\"file_path\":");
  int fits = append_string(parameters, sizeof parameters - 32, argv[2]);
  strcat(parameters, is_live ? "},\"db_file_path\":" : ",\"db_file_path\":");
  fits = fits && append_string(parameters, sizeof parameters - 8, argv[3]);
  strcat(parameters, "}");
  const kovax_source_init_args args = {parameters, NULL, print_log, NULL, print_error};
  if (!fits || init(&host.source, &args) != KOVAX_RESULT_OK) return 1;

  /* Blocked before there are threads, so that only stop_at_signal() gets them. */
  sigemptyset(&host.signals);
  sigaddset(&host.signals, SIGINT);
  sigaddset(&host.signals, SIGTERM);
  sigaddset(&host.signals, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &host.signals, NULL);
  pthread_t waiter;
  if (pthread_create(&waiter, NULL, stop_at_signal, &host) != 0) return 1;

  int32_t result = start(host.source, NULL, print_packet); /* returns when the run has ended */
  pthread_kill(waiter, SIGUSR1);
  pthread_join(waiter, NULL);

  /* A serial run that waits when it is stopped ends with a code and a text of its own. That is
   * what was asked for and not a failure; a port that was lost has another text. */
  if (result == KOVAX_RESULT_FAILED && atomic_load(&host.stop_requested)) {
    int was_stopped = 0;
    get_last_error(host.source, &was_stopped, is_stop);
    if (was_stopped) result = KOVAX_RESULT_OK;
  }
  if (result != KOVAX_RESULT_OK) get_last_error(host.source, NULL, print_error);
  if (release(host.source) != KOVAX_RESULT_OK) result = KOVAX_RESULT_FAILED;
  dlclose(plugin);
  return result == KOVAX_RESULT_OK ? 0 : 1;
}
