// host.cpp - a host in C++: decodes a trace file, or a modem's trace live from a serial port,
// counts the packets of each layer and prints the counts at the end. Ctrl-C ends it.
//   c++ -std=c++17 host.cpp $(pkg-config --cflags kovax-veltra-source) -pthread -ldl -o host
//   host file TRACE DATABASE
//   host port DEVICE DATABASE
#include <dlfcn.h>
#include <kovax/source.h>
#include <signal.h>

#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#ifndef PLUGIN_DIRECTORY  // pkg-config --variable=plugindir kovax-veltra-source
#define PLUGIN_DIRECTORY "/usr/lib/kovax"
#endif

namespace {

// The plug-in's functions; the plug-in stays loaded while this lives.
class plugin {
 public:
  explicit plugin(const std::string& file) : library_(dlopen(file.c_str(), RTLD_NOW), dlclose) {
    if (library_ == nullptr) throw std::runtime_error(dlerror());
    find(init, "kovax_source_init");
    find(start, "kovax_source_start");
    find(stop, "kovax_source_stop");
    find(release, "kovax_source_release");
    find(get_last_error, "kovax_source_get_last_error");
  }

  kovax_source_init_fn init;
  kovax_source_start_fn start;
  kovax_source_stop_fn stop;
  kovax_source_release_fn release;
  kovax_source_get_last_error_fn get_last_error;

 private:
  template <typename Function>
  void find(Function& function, const char* name) {
    function = reinterpret_cast<Function>(dlsym(library_.get(), name));
    if (function == nullptr) throw std::runtime_error(dlerror());
  }

  std::unique_ptr<void, int (*)(void*)> library_;
};

void keep_error(void* text, kovax_error_t error) {
  *static_cast<std::string*>(text) = error.message;
}

void print_log(kovax_source*, void*, int32_t level, const char* message) {
  if (level == KOVAX_LOG_RECOVERABLE_FAILURE) std::cerr << "note: " << message << '\n';
}

// How a run ended.
enum class end { complete, stopped };

// One instance of the plug-in. Throws std::runtime_error for every failure.
class source {
 public:
  using packet_counts = std::map<std::string, unsigned long>;

  source(const plugin& plugin, const std::string& parameters) : plugin_(plugin) {
    std::string failure;
    const kovax_source_init_args args = {parameters.c_str(), nullptr, print_log, &failure,
                                         keep_error};
    if (plugin_.init(&handle_, &args) != KOVAX_RESULT_OK) throw std::runtime_error(failure);
  }
  source(const source&) = delete;
  source& operator=(const source&) = delete;
  ~source() { plugin_.release(handle_); }

  // Returns when the input has ended, or stop() has ended it.
  end run(packet_counts& counts) {
    if (plugin_.start(handle_, &counts, count_packet) == KOVAX_RESULT_OK) return end::complete;
    std::string failure;
    plugin_.get_last_error(handle_, &failure, keep_error);
    // A serial run that waits when it is stopped ends with KOVAX_RESULT_FAILED and this text.
    // That is what was asked for and not a failure; a port that was lost has another text.
    if (failure == "stop extracting") return end::stopped;
    throw std::runtime_error(failure);
  }

  // Any thread.
  void stop() { plugin_.stop(handle_); }

 private:
  // An exception that leaves a callback would end the run as a failure. What the packet
  // points to is valid until this returns.
  static void count_packet(kovax_source*, void* counts, kovax_stream_packet_t packet) {
    ++(*static_cast<packet_counts*>(counts))[packet.format];
  }

  const plugin& plugin_;
  kovax_source* handle_ = nullptr;
};

std::string json_string(const std::string& text) {
  std::string json = "\"";
  for (const char byte : text) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(byte));
    const bool needs_escape =
        byte == '"' || byte == '\\' || static_cast<unsigned char>(byte) < 0x20;
    json += needs_escape ? std::string(escape) : std::string(1, byte);
  }
  return json + '"';
}

}  // namespace

int main(int argc, char** argv) try {
  const std::string kind = argc == 4 ? argv[1] : "";
  if (kind != "file" && kind != "port") {
    std::cerr << "usage: host file TRACE DATABASE | host port DEVICE DATABASE\n";
    return 2;
  }
  // A live read waits for "chunk_size" bytes and then takes all there are.
  const std::string name = json_string(argv[2]);
  const std::string input = kind == "file"
                                ? "\"file_path\":" + name
                                : "\"chunk_size\":1,\"serialport\":{\"path\":" + name + "}";
  const plugin plugin(PLUGIN_DIRECTORY "/kovax-veltra-source.kovax");
  source source(plugin, "{" + input + ",\"db_file_path\":" + json_string(argv[3]) + "}");

  // stop must not be called from a signal handler, so a thread waits for signals. They are
  // blocked before there are threads, so that only this one gets them.
  sigset_t signals;
  sigemptyset(&signals);
  for (const int each : {SIGINT, SIGTERM, SIGUSR1}) sigaddset(&signals, each);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread waiter([&] {
    for (int signal = 0; sigwait(&signals, &signal) == 0 && signal != SIGUSR1;) source.stop();
  });
  const auto end_waiter = [](std::thread* thread) {
    pthread_kill(thread->native_handle(), SIGUSR1);
    thread->join();
  };
  const std::unique_ptr<std::thread, decltype(end_waiter)> waiting(&waiter, end_waiter);

  source::packet_counts counts;
  const end ended = source.run(counts);
  for (const auto& [layer, count] : counts) std::cout << layer << ' ' << count << '\n';
  std::cout << (ended == end::stopped ? "stopped" : "complete") << '\n';
  return 0;
} catch (const std::exception& error) {
  std::cerr << "error: " << error.what() << '\n';
  return 1;
}
