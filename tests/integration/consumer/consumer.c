/* A host of the smallest kind: loads the installed plug-in, decodes one trace
 * and prints what it got.  consumer TRACE DATABASE */
#include <dlfcn.h>
#include <kovax/source.h>
#include <stdio.h>
#include <string.h>

static void print_error(void *user_data, kovax_error_t error) {
  (void)user_data;
  fprintf(stderr, "error %d: %s\n", (int)error.code, error.message);
}

static void print_version(void *user_data, const kovax_version_t *version) {
  (void)user_data;
  printf("version %d.%d.%d\n", (int)version->major, (int)version->minor, (int)version->patch);
}

static void count_decoded(kovax_source *source, void *user_data, kovax_stream_packet_t packet) {
  (void)source;
  if (strcmp(packet.format, "modem_trace") != 0) ++*(int *)user_data;
}

int main(int argc, char **argv) {
  char parameters[4096];
  int decoded = 0;
  kovax_source *source = NULL;
  kovax_source_init_args args = {parameters, NULL, NULL, NULL, print_error};
  if (argc != 3) return 2;
  snprintf(parameters, sizeof parameters, "{\"file_path\":\"%s\",\"db_file_path\":\"%s\"}", argv[1],
           argv[2]);

  void *plugin = dlopen(PLUGIN, RTLD_NOW);
  if (plugin == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  kovax_source_version_fn version = (kovax_source_version_fn)dlsym(plugin, "kovax_source_version");
  kovax_source_init_fn init = (kovax_source_init_fn)dlsym(plugin, "kovax_source_init");
  kovax_source_start_fn start = (kovax_source_start_fn)dlsym(plugin, "kovax_source_start");
  kovax_source_release_fn release = (kovax_source_release_fn)dlsym(plugin, "kovax_source_release");

  if (version(NULL, print_version) != 0) return 1;
  if (init(&source, &args) != 0) return 1;
  if (start(source, &decoded, count_decoded) != 0) return 1;
  printf("decoded %d\n", decoded);
  return release(source) == 0 ? 0 : 1;
}
