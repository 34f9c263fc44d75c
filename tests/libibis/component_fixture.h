// Helpers for the tests of a component's mapping keywords: a component that passes its own
// checks, to be given pins and keywords, and the findings of a report that mention a text.
#pragma once

#include <sstream>
#include <string>

#include "test_support.h"

namespace tarn::test {

/// A component C with the pin rows `pins` (under signal_name model_name) followed by
/// `keywords`, then `models`, read with the end-of-file checks. Its lines are numbered from
/// 1 ([Component]); the pin rows start at line 8.
inline ReadResult read_component(const std::string& pins, const std::string& keywords,
                                 const std::string& models = "", int version = 3) {
  return read_lines("[Component] C\n[Manufacturer] Acme\n[Package]\nR_pkg 0.2 NA NA\n"
                    "L_pkg 2n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n" +
                        pins + keywords + models + "[End]\n",
                    "t.ibs", version, true);
}

/// A model of every pin row that names "buf".
inline constexpr const char* kBufModel =
    "[Model] buf\nModel_type Terminator\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n";

/// The diagnostics of `report` (with the continuation line of the two-line form) whose text
/// holds `part`.
inline std::string findings_with(const std::string& report, const std::string& part) {
  std::istringstream in(report);
  std::string line;
  std::string kept;
  std::string pending;
  auto flush = [&] {
    if (pending.find(part) != std::string::npos) kept += pending;
    pending.clear();
  };
  while (std::getline(in, line)) {
    if (line.rfind("    ", 0) != 0) flush();
    pending += line + "\n";
  }
  flush();
  return kept;
}

}  // namespace tarn::test
