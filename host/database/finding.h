// finding.h - what a check of a trace database comes upon.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace veltra::host {

enum class severity {
  warning,  // the file works, and something in it is probably not as meant
  fault,    // a part of the file is lost, or a trace can end the run
  fatal,    // the plug-in refuses the file, or stops the process
};

struct finding {
  host::severity severity = severity::fault;
  std::string member;  // of an archive; empty: the file itself
  std::string path;    // in the JSON text, a JSON pointer (RFC 6901); empty: all of it
  std::string text;    // the fault, to be read behind the place
};

inline bool has_any(const std::vector<finding>& findings, severity at_least) {
  return std::any_of(findings.begin(), findings.end(),
                     [=](const finding& each) { return each.severity >= at_least; });
}

}  // namespace veltra::host
