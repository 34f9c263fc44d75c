// Helpers for the model tests: the findings of a report that name a line, those that do not,
// and the models a reading made.
#pragma once

#include <sstream>
#include <string>

#include "libibis/src/ibis.h"
#include "libibis/src/mdl.h"
#include "test_support.h"

namespace tarn::test {

/// The diagnostics of `report`, each with the continuation line of the two-line form, kept
/// when naming a line is what `with_line` asks for.
inline std::string findings(const std::string& report, bool with_line) {
  std::istringstream in(report);
  std::string line;
  std::string kept;
  bool keeping = false;
  while (std::getline(in, line)) {
    if (line.rfind("    ", 0) != 0)
      keeping = (line.find(" (line ") != std::string::npos) == with_line;
    if (keeping) kept += line + "\n";
  }
  return kept;
}
inline std::string at_lines(const std::string& report) { return findings(report, true); }
inline std::string without_lines(const std::string& report) { return findings(report, false); }

/// The i-th model of the reading in file order, or null.
inline const IbisModel* model_at(const ReadResult& r, size_t i = 0) {
  if (!r.document || i >= r.document->models.size()) return nullptr;
  return r.document->models[i].get();
}

}  // namespace tarn::test
