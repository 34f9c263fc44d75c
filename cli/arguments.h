// The tool's command line: each command with its options and help, parsed into one record.
#pragma once

#include <string>
#include <vector>

#include "check_output.h"

namespace tarn::cli {

// What a command was given; a text option left out stays empty (an empty value is refused).
struct Arguments {
  std::string command;
  // check and report: PATH...; compile, doc, plot: FILE; index: FOLDER; lib: COMPONENT.
  std::vector<std::string> operands;
  std::string component;
  std::string model;
  std::string output;
  std::string cache;
  std::vector<std::string> indexes;
  std::string stdin_name;
  std::string color = "auto";
  Format format = Format::Text;
  bool quiet = false;
  bool werror = false;
  bool accept_newer = false;
};

constexpr int kExitPassed = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

// "tarn: MESSAGE" and where to find help, on standard error; returns kExitUsage.
int usage_error(const std::string& command, const std::string& message);

// Parses the command line into `out`. Returns -1 when the command is to run; otherwise the
// exit status, after the help or version was printed or the usage error reported.
int parse_arguments(int argc, char** argv, Arguments* out);

}  // namespace tarn::cli
