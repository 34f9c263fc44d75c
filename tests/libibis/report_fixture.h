// Helpers of the table tests: values and rows shown as text, lines read inside a component, and
// the report of direct calls into a reader module at a chosen line of a chosen file.
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "libibis/src/rng.h"
#include "libibis/src/rpt.h"
#include "report_table.h"
#include "test_support.h"

namespace tarn::test {

/// Reads `lines` inside component C, whose keyword is line 1: the first of them is line 2.
inline ReadResult read_in_component(const std::string& lines) {
  return read_lines("[Component] C\n" + lines + "\n[End]\n");
}

/// A value as read: the number, NA, or - when absent.
inline std::string shown(ValueStatus status, double value) {
  if (status == ValueStatus::NA) return "NA";
  if (status == ValueStatus::Absent) return "-";
  std::ostringstream out;
  out << value;
  return out.str();
}

/// A range as read: "typ min max".
inline std::string shown(const Range& r) {
  return shown(r.typ_status, r.typ) + " " + shown(r.min_status, r.min) + " " +
         shown(r.max_status, r.max);
}

/// Collects what direct calls report, as if at line `line` of `name`.
class Reported : public ::testing::Test {
 protected:
  void at(uint32_t line, const char* name) {
    read_lines(std::string(line, '\n'), "lines.ibs");  // the reporter shows the last line read
    RPT_SetFileNameMode(0);
    RPT_SetStream(out_.get());
    RPT_ResetCounts();
    RPT_SetFileName(name);
    taken_ = out_.text().size();
  }
  // The reporter is process-wide: a test that changed the name mode must not change the next.
  void TearDown() override {
    RPT_SetStream(nullptr);
    RPT_SetFileNameMode(0);
  }
  /// What was reported since the last call.
  std::string report() {
    const std::string all = out_.text();
    const std::string fresh = all.substr(taken_);
    taken_ = all.size();
    return fresh;
  }

  MemStream out_;
  size_t taken_ = 0;
};

}  // namespace tarn::test
