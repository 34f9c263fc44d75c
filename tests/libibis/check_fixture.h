// Helper for the checks that run once a file has been read: the report of one check alone,
// run over the document a fixture reads into.
#pragma once

#include <string>

#include "libibis/src/ibis.h"
#include "libibis/src/rpt.h"
#include "test_support.h"

namespace tarn::test {

/// Reads `text` (below the version probe, without the end-of-file checks) and returns what
/// `check(document)` reports, and nothing else.
template <class Check>
std::string check_report(const std::string& text, Check check) {
  const ReadResult r = read_lines(text);
  MemStream out;
  RPT_SetStream(out.get());
  if (r.document) check(*r.document);
  RPT_SetStream(nullptr);
  return out.text();
}

}  // namespace tarn::test
