#include "component_findings.h"

#include "tarn/document.h"
#include "tarn/reader.h"

namespace tarn::cli {

bool write_collecting(ComponentWriter write, const std::string& source, const char* component,
                      const std::string& output, CheckedFile* out) {
  out->path = source;
  out->ibis_version = IBIS_DetectVersion(source.c_str(), nullptr, IBIS_KindOf(source.c_str()));
  bool written = false;
  collect_findings(
      [&] { written = write(source.c_str(), component, output.c_str(), nullptr) == 1; },
      &out->findings);
  IBIS_GetCounts(&out->counts.errors, &out->counts.warnings, &out->counts.bugs);
  // What failed the writing failed the file, whether the reading or the writer found it.
  out->passed = written;
  return written;
}

}  // namespace tarn::cli
