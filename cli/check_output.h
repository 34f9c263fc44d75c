// The forms the tool gives a run's findings in besides the text report.
#pragma once

#include <string>
#include <vector>

#include "tarn/document.h"

namespace tarn::cli {

enum class Format { Text, Gcc, Json, Sarif };

// "text", "gcc", "json" or "sarif"; false for anything else.
bool parse_format(const std::string& name, Format* format);

// One checked source: the name shown for it and what its reading (and, for compile and doc,
// the writing) found.
struct CheckedFile {
  std::string path;
  int ibis_version = 0;  // 0: it cannot be told
  bool passed = false;   // read, with no error and no program bug
  Counts counts;
  std::vector<Finding> findings;
};

CheckedFile checked_file(std::string path, const ReadResult& result);

// Whether the file counts as failed; with `werror` a warning fails it too.
bool file_failed(const CheckedFile& file, bool werror);

// `FILE:LINE: error: MESSAGE` lines, one per finding.
std::string gcc_lines(const CheckedFile& file);

// The whole run as one JSON document.
std::string json_report(const std::vector<CheckedFile>& files, bool werror);

// The whole run as a SARIF 2.1.0 log with one run.
std::string sarif_report(const std::vector<CheckedFile>& files);

// "3 files: 2 passed, 1 failed; 4 errors, 1 warning".
std::string totals_line(const std::vector<CheckedFile>& files, bool werror);

// The findings in one of the forms besides text: gcc lines of every file, or one JSON or SARIF
// document of the run.
std::string structured_report(Format format, const std::vector<CheckedFile>& files, bool werror);

}  // namespace tarn::cli
