#include "component_findings.h"

#include "libibis/src/parse.h"
#include "libibis/src/rpt.h"
#include "tarn/reader.h"

namespace tarn::cli {
namespace {

Severity severity_of(RptSeverity severity) {
  switch (severity) {
    case RptSeverity::Bug:
      return Severity::ProgramBug;
    case RptSeverity::Error:
      return Severity::Error;
    case RptSeverity::Warning:
      break;
  }
  return Severity::Warning;
}

// The writers report through the reader's reporter, so its collector sees their errors as well
// as the reading's; the banner, meant for the text report, is off meanwhile.
class QuietCollection {
 public:
  explicit QuietCollection(CheckedFile* out) : banner_(PRS_BannerEnabled()) {
    PRS_SetBannerEnabled(false);
    RPT_SetCollector([out](const RptFinding& f) {
      Finding finding{severity_of(f.severity), std::string(f.file), std::nullopt,
                      std::string(f.message)};
      if (f.at_line) finding.line = f.line;
      out->findings.push_back(std::move(finding));
    });
  }
  ~QuietCollection() {
    RPT_SetCollector({});
    PRS_SetBannerEnabled(banner_);
  }
  QuietCollection(const QuietCollection&) = delete;
  QuietCollection& operator=(const QuietCollection&) = delete;

 private:
  bool banner_;
};

}  // namespace

bool write_collecting(ComponentWriter write, const std::string& source, const char* component,
                      const std::string& output, CheckedFile* out) {
  out->path = source;
  out->ibis_version = IBIS_DetectVersion(source.c_str(), nullptr, IBIS_KindOf(source.c_str()));
  bool written = false;
  {
    QuietCollection collection(out);
    written = write(source.c_str(), component, output.c_str(), nullptr) == 1;
  }
  IBIS_GetCounts(&out->counts.errors, &out->counts.warnings, &out->counts.bugs);
  // What failed the writing failed the file, whether the reading or the writer found it.
  out->passed = written;
  return written;
}

}  // namespace tarn::cli
