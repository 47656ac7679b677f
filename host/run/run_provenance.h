// run_provenance.h - what a run says about itself in its captures.
#pragma once

#include "host/output/provenance.h"
#include "host/run/input.h"
#include "host/run/run_options.h"
#include "host/source/plugin_library.h"

namespace veltra::host {

// The plug-in and the decoder that it is bound to: their files, the plug-in's version, and
// the digest of the decoder, which has no version to ask for.
provenance describe_program(const plugin_library& plugin);

// The input, the program, and the options that a capture depends on.
provenance describe_run(const input& input, const plugin_library& plugin,
                        const run_options& options);

// The time base of a run whose options may leave it open.
time_base times_of(const input& input, const run_options& options);

}  // namespace veltra::host
