// commands.h - what the subcommands of `veltra` do, apart from the command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/batch/trace_list.h"
#include "host/database/database_options.h"
#include "host/database/publishing.h"
#include "host/exit_code.h"
#include "host/run/piece_keeper.h"
#include "host/run/run_options.h"
#include "host/simulate/live_simulation.h"
#include "platform/serial_devices.h"

namespace veltra::host {

// Each function does the work of one subcommand on the caller's thread, prints its result
// to stdout and what a person should know to stderr, and throws user_error for everything
// that fails. Names are UTF-8.

struct decode_options {
  std::vector<std::string>
      traces;  // one ("-": standard input), or with an output directory also directories of them
  run_options run;
  bool is_strict = false;      // refuse a database that the trace does not name
  bool wireshark = false;      // open the capture when it is written
  std::string summary;         // where to write a line about each trace; empty: nowhere
  bool fails_on_loss = false;  // whatever is lost makes a failure of the run

  std::string output_directory;  // for the captures of many traces; empty: one trace
  unsigned jobs = 0;             // traces at a time; 0: one for each processor
  bool skip_existing = false;    // decode no trace whose capture is there
  shard part;
  std::vector<std::string> suffixes;   // of traces' names in directories; empty: the default ones
  std::vector<std::string> passed_on;  // options that the process of each trace gets
  std::vector<std::string> passed_on_cache;  // the same of those that find its database

  bool are_joined = false;  // `traces` are one, in the order of their names
};
exit_code decode(decode_options options);

struct capture_options {
  std::vector<std::string> ports;
  bool all_ports = false;  // instead of `ports`: those that this machine has
  line_options line;       // its port is one of them
  run_options run;
  std::optional<std::string> raw;  // keep the raw trace; empty: under a name of its own
  bool wireshark = false;      // open the capture: when it is written, or live if it has no name
  keeping_options keeping;     // without the bases, which follow from the names
  std::string status_file;     // JSON for programs that watch; empty: none
  std::string metrics_file;    // the same for Prometheus
  std::string summary;         // where to write a line about each port's run; empty: nowhere
  bool fails_on_loss = false;  // whatever is lost makes a failure of the run
};
// Each port has a capture of its own, see split_by_port().
exit_code capture(const capture_options& options);

// Makes a report of captures and traces; a trace is decoded as the run options say.
struct report_arguments {
  std::vector<std::string> inputs;
  std::string output;
  std::string format = "html";
  std::string tshark;    // empty: the installed one
  std::string baseline;  // directory; empty: none
  run_options run;
};
exit_code make_report(const report_arguments& arguments);

// Makes whole captures of parts that were left behind, one after the other. Throws for the
// first one that is not such a file.
exit_code recover(const std::vector<std::string>& parts);

struct explain_options {
  std::string trace;
  database_options database;
  std::string plugin;  // empty: the one that belongs to this program
  bool as_json = false;
};
exit_code explain_trace(const explain_options& options);

exit_code list_devices(bool as_json);

struct doctor_options {
  std::string port;  // empty: any
  database_options database;
  std::string plugin;  // empty: the one that belongs to this program
  bool as_json = false;
};
exit_code check_machine(const doctor_options& options);

// One line for each port under a line of headings: its name, its state, and what the
// system knows of it. Empty for no ports. Looks for the holders under `roots`.
std::string format_devices(const std::vector<platform::serial_device>& devices,
                           const platform::device_roots& roots);

// The same as a JSON array of objects.
std::string format_devices_json(const std::vector<platform::serial_device>& devices,
                                const platform::device_roots& roots);

exit_code sync_cache(const database_options& options, bool as_json);
exit_code list_cache(const database_options& options, bool as_json);
exit_code verify_cache(const database_options& options, bool as_json);
exit_code show_database(const std::string& file, bool as_json);

struct publish_options {
  std::string place;  // the directory to publish, or the file to add
  std::string cache;  // to add to
  listing_names names;
};
exit_code publish_directory(const publish_options& options);
exit_code add_to_cache(const publish_options& options);

struct lint_options {
  std::string file;
  bool is_strict = false;  // a warning is a failure, too
  bool as_json = false;
};
exit_code lint_database(const lint_options& options);

struct wireshark_options {
  bool for_all_users = false;
  bool overwrite = false;  // files of the profile that were changed
};
exit_code install_for_wireshark(const wireshark_options& options);
exit_code uninstall_from_wireshark(const wireshark_options& options);
exit_code show_wireshark_installation(const wireshark_options& options);
// The program's version; if `verbose`, its parts as well and where they are.
std::string describe_version(bool verbose);

exit_code simulate_to_files(const simulate_options& options);
exit_code simulate_on_line(const live_simulate_options& options);

}  // namespace veltra::host
