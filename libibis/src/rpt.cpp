#include "libibis/src/rpt.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tarn {
namespace {

constexpr size_t kNameLimit = 512;
constexpr size_t kWorkBuffer = 2176;

struct ReporterState {
  std::FILE* stream = nullptr;
  uint32_t errors = 0;
  uint32_t warnings = 0;
  uint32_t bugs = 0;
  int32_t indent = 0;
  std::string current_name;
  std::string shown_name;
  uint32_t name_mode = 0;
  RptCollector collector;
  std::vector<RptHeld>* held = nullptr;
};

ReporterState g_rpt;
// Installed while the library starts, so constant-initialised, apart from the state above.
constinit RptLineSource g_line_source = nullptr;

std::string bounded(const char* text) {
  std::string s = text ? text : "";
  if (s.size() > kNameLimit) s.resize(kNameLimit);
  return s;
}

void write_indent() {
  for (int32_t i = 0; i < g_rpt.indent; ++i) std::fputc(' ', g_rpt.stream);
}

// The two-line form is chosen only where the one-line form would just overrun an 80-column
// line; longer messages overrun anyway and stay on one line.
bool wants_two_lines(RptSeverity sev, bool at_line, size_t len) {
  size_t low = 0;
  if (sev == RptSeverity::Error) low = at_line ? 60 : 72;
  else if (sev == RptSeverity::Warning) low = at_line ? 58 : 70;
  else return false;
  return len >= low && len <= 75;
}

void emit(RptSeverity sev, bool at_line, uint32_t line, const char* message) {
  if (!g_rpt.stream && !g_rpt.collector) return;
  switch (sev) {
    case RptSeverity::Bug: ++g_rpt.bugs; break;
    case RptSeverity::Error: ++g_rpt.errors; break;
    case RptSeverity::Warning: ++g_rpt.warnings; break;
  }
  const char* word = RPT_SeverityWord(sev);
  if (g_rpt.collector) g_rpt.collector({sev, g_rpt.shown_name, at_line, line, message});
  if (!g_rpt.stream) return;
  write_indent();
  std::FILE* out = g_rpt.stream;
  const char* shown = g_rpt.shown_name.c_str();
  const bool two = wants_two_lines(sev, at_line, std::strlen(message));
  if (at_line) {
    std::fprintf(out, "%s %s (line %*lu) -", word, shown, 4, static_cast<unsigned long>(line));
  } else {
    std::fprintf(out, "%s %s -", word, shown);
  }
  std::fprintf(out, two ? "\n    %s\n" : " %s\n", message);
}

void report(RptSeverity sev, bool at_line, const char* fmt, va_list args) {
  if (!g_rpt.held && !g_rpt.stream && !g_rpt.collector) return;
  char message[kWorkBuffer];
  std::vsnprintf(message, sizeof message, fmt, args);
  const uint32_t line = at_line && g_line_source ? g_line_source() : 0;
  if (g_rpt.held) {
    try {
      g_rpt.held->push_back({sev, at_line, line, message});
      return;
    } catch (const std::bad_alloc&) {
      // Reported at once rather than lost.
    }
  }
  emit(sev, at_line, line, message);
}

}  // namespace

const char* RPT_SeverityWord(RptSeverity severity) {
  switch (severity) {
    case RptSeverity::Bug: return "PROGRAM BUG";
    case RptSeverity::Error: return "ERROR";
    case RptSeverity::Warning: break;
  }
  return "WARNING";
}

void RPT_SetStream(std::FILE* stream) { g_rpt.stream = stream; }
std::FILE* RPT_GetStream() { return g_rpt.stream; }

void RPT_SetCollector(RptCollector collector) { g_rpt.collector = std::move(collector); }
bool RPT_HasCollector() { return static_cast<bool>(g_rpt.collector); }

RptCountingScope::RptCountingScope() {
  if (RPT_HasCollector()) return;
  RPT_SetCollector([](const RptFinding&) {});
  installed_ = true;
}

RptCountingScope::~RptCountingScope() {
  if (installed_) RPT_SetCollector({});
}

void RPT_ResetCounts() {
  g_rpt.errors = 0;
  g_rpt.warnings = 0;
  g_rpt.bugs = 0;
}

void RPT_SetIndent(int32_t indent) { g_rpt.indent = indent; }
int32_t RPT_GetIndent() { return g_rpt.indent; }

void RPT_SetFileName(const char* name) {
  g_rpt.current_name = bounded(name);
  RPT_RefreshShownName();
}

const std::string& RPT_GetFileName() { return g_rpt.current_name; }

uint32_t RPT_GetFileNameMode() { return g_rpt.name_mode; }

void RPT_SetFileNameMode(uint32_t mode) {
  g_rpt.name_mode = mode;
  RPT_RefreshShownName();
}

void RPT_RefreshShownName() {
  if (g_rpt.name_mode == 0) g_rpt.shown_name = g_rpt.current_name;
  else if (g_rpt.name_mode == 1) g_rpt.shown_name.clear();
}

void RPT_GetCounts(uint32_t* errors, uint32_t* warnings, uint32_t* bugs) {
  if (errors) *errors = g_rpt.errors;
  if (warnings) *warnings = g_rpt.warnings;
  if (bugs) *bugs = g_rpt.bugs;
}

int RPT_Passed() { return g_rpt.bugs == 0 && g_rpt.errors == 0 ? 1 : 0; }

#define TARN_REPORT(sev, at_line) \
  va_list args; \
  va_start(args, fmt); \
  report(sev, at_line, fmt, args); \
  va_end(args)

void RPT_Bug(const char* fmt, ...) { TARN_REPORT(RptSeverity::Bug, false); }
void RPT_BugAtLine(const char* fmt, ...) { TARN_REPORT(RptSeverity::Bug, true); }
void RPT_Error(const char* fmt, ...) { TARN_REPORT(RptSeverity::Error, false); }
void RPT_ErrorAtLine(const char* fmt, ...) { TARN_REPORT(RptSeverity::Error, true); }
void RPT_Warning(const char* fmt, ...) { TARN_REPORT(RptSeverity::Warning, false); }
void RPT_WarningAtLine(const char* fmt, ...) { TARN_REPORT(RptSeverity::Warning, true); }

#undef TARN_REPORT

void RPT_PrintSummary() {
  if (!g_rpt.stream) return;
  write_indent();
  std::FILE* out = g_rpt.stream;
  std::fprintf(out, "File %s  ", g_rpt.current_name.c_str());
  if (g_rpt.bugs != 0) std::fprintf(out, "Bugs: %u  ", g_rpt.bugs);
  std::fprintf(out, "Errors: %u  ", g_rpt.errors);
  if (g_rpt.warnings != 0) std::fprintf(out, "Warnings: %u  ", g_rpt.warnings);
  std::fprintf(out, "Compile %s\n\n", RPT_Passed() ? "Passed" : "Failed");
}

RptHoldScope::RptHoldScope(std::vector<RptHeld>* into) : outer_(g_rpt.held) { g_rpt.held = into; }
RptHoldScope::~RptHoldScope() { g_rpt.held = outer_; }

void RPT_Replay(const std::vector<RptHeld>& held) {
  for (const RptHeld& h : held) emit(h.severity, h.at_line, h.line, h.message.c_str());
}

void RPT_AssertFailed(const char* file, int line) {
  std::fflush(nullptr);
  std::printf("%s:%d:assertion failed.\n", file, line);
  std::fflush(stdout);
  std::abort();
}

void RPT_SetLineSource(RptLineSource source) { g_line_source = source; }

}  // namespace tarn
