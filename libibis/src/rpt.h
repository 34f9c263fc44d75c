// Diagnostics reporter: one line per finding on the current log stream, counted by severity.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

#define TARN_PRINTF(fmt_index, first_arg) __attribute__((format(printf, fmt_index, first_arg)))

enum class RptSeverity : uint8_t { Bug, Error, Warning };

/// One finding as data: what a line of the report says, its message joined on one line.
struct RptFinding {
  RptSeverity severity;
  std::string_view file;  // the shown name
  bool at_line;
  uint32_t line;          // the current line number, when at_line
  std::string_view message;
};
using RptCollector = std::function<void(const RptFinding&)>;
/// The word a report line begins with: "ERROR", "WARNING", "PROGRAM BUG".
const char* RPT_SeverityWord(RptSeverity severity);

/// Where every line goes; nullptr silences the reporter (and, without a collector, nothing is
/// counted).
void RPT_SetStream(std::FILE* stream);
/// Installs a collector that is handed every finding beside the stream (an empty one removes
/// it). While one is installed, findings are counted even without a stream.
void RPT_SetCollector(RptCollector collector);
bool RPT_HasCollector();

/// For the span of a public reading: findings are counted even when no report stream is given,
/// so that a file with errors never reads as clean. Does nothing when a collector is installed.
class RptCountingScope {
 public:
  RptCountingScope();
  ~RptCountingScope();
  RptCountingScope(const RptCountingScope&) = delete;
  RptCountingScope& operator=(const RptCountingScope&) = delete;

 private:
  bool installed_ = false;
};
std::FILE* RPT_GetStream();
void RPT_ResetCounts();
void RPT_SetIndent(int32_t indent);
int32_t RPT_GetIndent();
/// Where the line number of a finding at a line comes from: the line reader installs it, so the
/// reporter, below every reader module, asks without knowing them. 0 until installed.
using RptLineSource = uint32_t (*)();
void RPT_SetLineSource(RptLineSource source);
/// The name of the file being read; used by the summary and (by mode) in each line.
void RPT_SetFileName(const char* name);
const std::string& RPT_GetFileName();
/// 0: show the current file name, 1: show nothing, other: keep the shown name as it is.
void RPT_SetFileNameMode(uint32_t mode);
uint32_t RPT_GetFileNameMode();
void RPT_RefreshShownName();
void RPT_GetCounts(uint32_t* errors, uint32_t* warnings, uint32_t* bugs);
/// 1 when neither a program bug nor an error was counted.
int RPT_Passed();

void RPT_Bug(const char* fmt, ...) TARN_PRINTF(1, 2);
void RPT_BugAtLine(const char* fmt, ...) TARN_PRINTF(1, 2);
void RPT_Error(const char* fmt, ...) TARN_PRINTF(1, 2);
void RPT_ErrorAtLine(const char* fmt, ...) TARN_PRINTF(1, 2);
void RPT_Warning(const char* fmt, ...) TARN_PRINTF(1, 2);
void RPT_WarningAtLine(const char* fmt, ...) TARN_PRINTF(1, 2);

void RPT_PrintSummary();

/// Findings kept back to be reported later, each as it was worded when it was found. Their texts
/// share one buffer: a file of many models holds many findings.
class RptHeldList {
 public:
  /// May throw std::bad_alloc.
  void add(RptSeverity severity, bool at_line, uint32_t line, std::string_view message);
  size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }

 private:
  friend void RPT_Replay(const RptHeldList& held);
  struct Entry {
    RptSeverity severity;
    bool at_line;
    uint32_t line;
    size_t text;  // where its message starts in `texts_`, ended by a NUL
  };
  std::vector<Entry> entries_;
  std::string texts_;
};
/// For its span, findings are kept in `into` instead of being reported or counted, so checks
/// can run while their data is at hand and report in the order the report wants.
class RptHoldScope {
 public:
  explicit RptHoldScope(RptHeldList* into);
  ~RptHoldScope();
  RptHoldScope(const RptHoldScope&) = delete;
  RptHoldScope& operator=(const RptHoldScope&) = delete;

 private:
  RptHeldList* outer_;
};
/// Reports held findings now, in the order they were found.
void RPT_Replay(const RptHeldList& held);

/// printf's "%.Nf" of `value` for a precision of 0 to 9, exactly, in at most 32 bytes at `out`
/// with its length in `*length`; false (nothing written) for a value too large for this path,
/// or not finite, which the caller converts otherwise. Findings and written files share it.
[[nodiscard]] bool RPT_FixedText(double value, int precision, char* out, size_t* length);

/// An internal fault that a correct file cannot cause: prints the assertion line and stops.
[[noreturn]] void RPT_AssertFailed(const char* file, int line);

}  // namespace tarn

#define TARN_ASSERT(cond) \
  do { \
    if (!(cond)) ::tarn::RPT_AssertFailed(__FILE__, __LINE__); \
  } while (0)
