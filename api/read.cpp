// read_file and read_text: one reading through the reader's own check of a source, its findings
// collected through the reporter as it writes them, the document kept whatever it holds.
#include <stdio.h>
#include <sys/types.h>

#include <new>
#include <string>
#include <vector>

#include "api/view_access.h"
#include "libibis/src/guard.h"
#include "libibis/src/hdr.h"
#include "libibis/src/parse.h"
#include "libibis/src/rpt.h"
#include "libibis/src/source.h"

namespace tarn {

struct ReadResult::State {
  std::unique_ptr<IbisDocument> document;
  std::vector<Finding> findings;
  Counts counts;
  bool read = false;
  bool passed = false;
  std::string file_name;
  SourceKind kind = SourceKind::Unknown;
  int version = 0;
  std::string report_text;
};

namespace {

// The reader's settings a reading takes from its options, put back as they were afterwards.
class ScopedSettings {
 public:
  explicit ScopedSettings(const ReadOptions& options)
      : banner_(PRS_BannerEnabled()), version1_(HDR_AcceptsVersion1()),
        newer_(HDR_AcceptNewer()),
        name_mode_(RPT_GetFileNameMode()) {
    PRS_SetBannerEnabled(options.banner);
    HDR_SetAcceptVersion1(options.accept_version_1);
    HDR_SetAcceptNewer(options.accept_newer);
    RPT_SetFileNameMode(options.shown_name == ShownName::None ? 1 : 0);
  }
  ~ScopedSettings() {
    PRS_SetBannerEnabled(banner_);
    HDR_SetAcceptVersion1(version1_);
    HDR_SetAcceptNewer(newer_);
    RPT_SetFileNameMode(name_mode_);
  }
  ScopedSettings(const ScopedSettings&) = delete;
  ScopedSettings& operator=(const ScopedSettings&) = delete;

 private:
  bool banner_;
  bool version1_;
  bool newer_;
  uint32_t name_mode_;
};

// The stream the report is written to: the caller's, or, when the text is to be kept, one that
// keeps it and passes every write on to the caller's stream as it comes (so a report on standard
// output keeps its place beside the banner).
class ReportStream {
 public:
  ReportStream(std::FILE* forward, bool keep) : forward_(forward) {
    if (!keep) {
      stream_ = forward;
      return;
    }
    const cookie_io_functions_t io{nullptr, &ReportStream::write, nullptr, nullptr};
    stream_ = fopencookie(this, "w", io);
    if (stream_) {
      own_ = true;
      std::setvbuf(stream_, nullptr, _IONBF, 0);
    } else {
      stream_ = forward;
    }
  }
  ~ReportStream() {
    if (own_) std::fclose(stream_);
  }
  ReportStream(const ReportStream&) = delete;
  ReportStream& operator=(const ReportStream&) = delete;

  std::FILE* get() const { return stream_; }
  std::string take() {
    if (own_) std::fflush(stream_);
    return std::move(text_);
  }

 private:
  static ssize_t write(void* cookie, const char* data, size_t size) {
    auto* self = static_cast<ReportStream*>(cookie);
    self->text_.append(data, size);
    if (self->forward_) std::fwrite(data, 1, size, self->forward_);
    return static_cast<ssize_t>(size);
  }

  std::FILE* forward_;
  std::FILE* stream_ = nullptr;
  bool own_ = false;
  std::string text_;
};

Severity severity_of(RptSeverity severity) {
  switch (severity) {
    case RptSeverity::Bug: return Severity::ProgramBug;
    case RptSeverity::Error: return Severity::Error;
    case RptSeverity::Warning: break;
  }
  return Severity::Warning;
}

// Hands every finding of the reading to `findings` while it lives.
class ScopedCollector {
 public:
  explicit ScopedCollector(std::vector<Finding>* findings) {
    RPT_SetCollector([findings](const RptFinding& f) {
      Finding finding;
      finding.severity = severity_of(f.severity);
      finding.file.assign(f.file);
      if (f.at_line) finding.line = f.line;
      finding.message.assign(f.message);
      findings->push_back(std::move(finding));
    });
  }
  ~ScopedCollector() { RPT_SetCollector({}); }
  ScopedCollector(const ScopedCollector&) = delete;
  ScopedCollector& operator=(const ScopedCollector&) = delete;
};

}  // namespace

void ViewAccess::read_into(ReadResult::State* state, const SourceInput& input,
                           const ReadOptions& options) {
  state->kind = static_cast<SourceKind>(SRC_KindOf(state->file_name));
  ScopedSettings settings(options);
  ReportStream report(options.report, options.keep_report_text);
  CheckOutcome outcome;
  {
    ScopedCollector collector(&state->findings);
    outcome = SRC_Check(input, report.get(), {}, options.keep_document);
  }
  RPT_GetCounts(&state->counts.errors, &state->counts.warnings, &state->counts.bugs);
  state->document = std::move(outcome.document);
  state->read = outcome.read;
  state->passed = outcome.passed;
  state->version = outcome.version;
  state->report_text = report.take();
}

ReadResult ViewAccess::read(std::string_view name, std::optional<std::string_view> text,
                            const ReadOptions& options) {
  ReadResult result;
  try {
    ApiGuard guard;
    auto state = std::make_unique<ReadResult::State>();
    state->file_name.assign(name);
    // The reader takes the name as a C string: an empty one, or one cut at a NUL, reads nothing.
    if (!state->file_name.empty() && state->file_name.find('\0') == std::string::npos)
      read_into(state.get(), SourceInput{state->file_name.c_str(), text}, options);
    result.state_ = std::move(state);
  } catch (const std::bad_alloc&) {
    // Out of memory: nothing read, rather than an exception in the caller's lap.
    result.state_.reset();
  }
  return result;
}

ReadResult::ReadResult() noexcept = default;
ReadResult::ReadResult(ReadResult&& other) noexcept = default;

ReadResult& ReadResult::operator=(ReadResult&& other) noexcept {
  if (this != &other) {
    ReadResult old(std::move(*this));  // freed under the hold, below
    state_ = std::move(other.state_);
  }
  return *this;
}

// The document is freed under the hold, like every other change of the reader's records.
ReadResult::~ReadResult() {
  if (!state_ || !state_->document) return;
  ApiGuard guard;
  state_.reset();
}

bool ReadResult::read() const noexcept { return state_ && state_->read; }
bool ReadResult::passed() const noexcept { return state_ && state_->passed; }
Counts ReadResult::counts() const noexcept { return state_ ? state_->counts : Counts{}; }

std::span<const Finding> ReadResult::findings() const noexcept {
  if (!state_) return {};
  return state_->findings;
}

std::string_view ReadResult::file_name() const noexcept {
  return state_ ? std::string_view(state_->file_name) : std::string_view();
}

SourceKind ReadResult::kind() const noexcept {
  return state_ ? state_->kind : SourceKind::Unknown;
}

int ReadResult::ibis_version() const noexcept { return state_ ? state_->version : 0; }

std::string_view ReadResult::report_text() const noexcept {
  return state_ ? std::string_view(state_->report_text) : std::string_view();
}

DocumentView ReadResult::document() const noexcept {
  return ViewAccess::make<DocumentView>(state_ ? state_->document.get() : nullptr);
}

void collect_findings(const std::function<void()>& work, std::vector<Finding>* findings) {
  ApiGuard guard;
  const bool banner = PRS_BannerEnabled();
  PRS_SetBannerEnabled(false);
  {
    ScopedCollector collector(findings);
    work();
  }
  PRS_SetBannerEnabled(banner);
}

ReadResult read_file(std::string_view path, const ReadOptions& options) {
  return ViewAccess::read(path, std::nullopt, options);
}

ReadResult read_text(std::string_view text, std::string_view shown_name,
                     const ReadOptions& options) {
  return ViewAccess::read(shown_name, text, options);
}

}  // namespace tarn
