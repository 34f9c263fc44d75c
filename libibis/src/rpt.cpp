#include "libibis/src/rpt.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
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
  RptHeldList* held = nullptr;
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
  // The line is put together here and written at once: thousands of findings each paid for
  // three formatted writes.
  const std::string_view text = message;
  const std::string_view shown = g_rpt.shown_name;
  char buffer[kWorkBuffer + kNameLimit + 64];
  char* p = buffer;
  const auto put = [&p](std::string_view part) {
    std::memcpy(p, part.data(), part.size());
    p += part.size();
  };
  put(word);
  put(" ");
  put(shown.substr(0, kNameLimit));
  if (at_line) {
    char number[16];
    const char* end = std::to_chars(number, number + sizeof number, line).ptr;
    const auto digits = static_cast<size_t>(end - number);
    put(" (line ");
    put(std::string_view("    ", digits < 4 ? 4 - digits : 0));
    put(std::string_view(number, digits));
    put(") -");
  } else {
    put(" -");
  }
  put(wants_two_lines(sev, at_line, text.size()) ? "\n    " : " ");
  put(text.substr(0, kWorkBuffer - 1));
  put("\n");
  std::fwrite(buffer, 1, static_cast<size_t>(p - buffer), g_rpt.stream);
}

// Formatting a finding: the checks of a large file word thousands of findings with several
// numbers each, where the C library's printf of a double costs as much as reading a table
// row. The conversions the findings use are done here, each as printf does it to the byte;
// any other (a flag other than '-', a NaN...) leaves the whole message to vsnprintf.

// The text of a message as vsnprintf keeps it in `size` bytes: what fits, the rest dropped.
class MessageSink {
 public:
  MessageSink(char* buffer, size_t size) : p_(buffer), end_(buffer + size - 1) {}
  void put(const char* text, size_t n) {
    n = std::min(n, static_cast<size_t>(end_ - p_));
    std::memcpy(p_, text, n);
    p_ += n;
  }
  void fill(size_t n) {
    n = std::min(n, static_cast<size_t>(end_ - p_));
    std::memset(p_, ' ', n);
    p_ += n;
  }
  // A converted field padded to `width`, on the left unless `left` is set.
  void field(const char* text, size_t n, size_t width, bool left) {
    const size_t pad = width > n ? width - n : 0;
    if (!left) fill(pad);
    put(text, n);
    if (left) fill(pad);
  }
  void finish() { *p_ = '\0'; }

 private:
  char* p_;
  char* end_;
};

// One conversion's flags, width and precision (-1: none given).
struct ConversionSpec {
  bool left = false;
  size_t width = 0;
  int precision = -1;
  int longs = 0;  // 'l' modifiers
  char conversion = 0;
};

constexpr uint64_t kTens[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000,
                              1000000000};

// %.Nf of a finite double whose digits fit 64 bits, exactly: the double is m * 2^e, so
// m * 10^N * 2^e rounded to an integer (ties to even, as printf under the default rounding)
// gives the digits. False when the value is too large for this path.
bool fixed_digits(double value, int precision, char* out, size_t* length) {
  const auto bits = std::bit_cast<uint64_t>(value);
  const int biased = static_cast<int>((bits >> 52) & 0x7ff);
  const uint64_t fraction = bits & ((uint64_t{1} << 52) - 1);
  const uint64_t m = biased == 0 ? fraction : fraction | (uint64_t{1} << 52);
  const int e = biased == 0 ? -1074 : biased - 1075;
  if (e >= 0) return false;
  const unsigned __int128 scaled = static_cast<unsigned __int128>(m) * kTens[precision];
  unsigned __int128 q = 0;
  if (-e < 128) {
    const int shift = -e;
    q = scaled >> shift;
    const unsigned __int128 rest = scaled - (q << shift);
    const unsigned __int128 half = static_cast<unsigned __int128>(1) << (shift - 1);
    if (rest > half || (rest == half && (q & 1) != 0)) ++q;
  }  // else below 2^-1074 * 2^83 / 2^127: far under half a unit, so 0
  if (q > UINT64_MAX) return false;
  char digits[24];
  const char* digits_end =
      std::to_chars(digits, digits + sizeof digits, static_cast<uint64_t>(q)).ptr;
  auto n = static_cast<size_t>(digits_end - digits);
  char* o = out;
  if (std::signbit(value)) *o++ = '-';
  const auto places = static_cast<size_t>(precision);
  if (n <= places) {  // leading zeros up to one before the point
    const size_t zeros = places + 1 - n;
    std::memmove(digits + zeros, digits, n);
    std::memset(digits, '0', zeros);
    n += zeros;
  }
  std::memcpy(o, digits, n - places);
  o += n - places;
  if (places > 0) {
    *o++ = '.';
    std::memcpy(o, digits + n - places, places);
    o += places;
  }
  *length = static_cast<size_t>(o - out);
  return true;
}

// %f, %e or %g of a double; false for a value printf would spell as inf or nan.
bool format_double(double value, const ConversionSpec& spec, MessageSink* sink) {
  if (!std::isfinite(value)) return false;
  char text[420];  // the widest %f of a double, at the largest precision taken
  size_t n = 0;
  const int precision = spec.precision < 0 ? 6 : spec.precision;
  if (spec.conversion == 'f' && precision <= 9 && fixed_digits(value, precision, text, &n)) {
  } else if (spec.conversion == 'g' && value == std::trunc(value) &&
             std::fabs(value) < static_cast<double>(kTens[std::clamp(precision, 1, 9)])) {
    // A whole number of no more digits than the precision prints as an integer ("-0" too).
    text[0] = '-';
    const size_t sign = std::signbit(value) ? 1 : 0;
    n = static_cast<size_t>(
        std::to_chars(text + sign, text + sizeof text,
                      static_cast<uint64_t>(std::fabs(value))).ptr - text);
  } else {
    const std::chars_format form = spec.conversion == 'f'   ? std::chars_format::fixed
                                   : spec.conversion == 'e' ? std::chars_format::scientific
                                                            : std::chars_format::general;
    const auto [end, ec] = std::to_chars(text, text + sizeof text, value, form, precision);
    if (ec != std::errc()) return false;
    n = static_cast<size_t>(end - text);
  }
  sink->field(text, n, spec.width, spec.left);
  return true;
}

template <class T>
void format_integer(T value, const ConversionSpec& spec, MessageSink* sink, int base = 10) {
  char text[24];
  const char* end = std::to_chars(text, text + sizeof text, value, base).ptr;
  sink->field(text, static_cast<size_t>(end - text), spec.width, spec.left);
}

// Reads the conversion after a '%' at `*fmt`; false for a form left to vsnprintf.
bool parse_spec(const char** fmt, va_list* args, ConversionSpec* spec) {
  const char* f = *fmt;
  for (; *f == '-'; ++f) spec->left = true;
  if (*f == '0') return false;  // zero padding
  if (*f == '*') {
    const int width = va_arg(*args, int);
    if (width < 0) spec->left = true;
    spec->width = static_cast<size_t>(width < 0 ? -static_cast<long>(width) : width);
    ++f;
  } else {
    for (; *f >= '0' && *f <= '9'; ++f)
      spec->width = spec->width * 10 + static_cast<size_t>(*f - '0');
  }
  if (*f == '.') {
    spec->precision = 0;
    for (++f; *f >= '0' && *f <= '9'; ++f) spec->precision = spec->precision * 10 + (*f - '0');
    if (spec->precision > 99) return false;
  }
  for (; *f == 'l'; ++f) ++spec->longs;
  spec->conversion = *f;
  if (spec->conversion == '\0') return false;
  *fmt = f + 1;
  return true;
}

// One conversion with its argument; false for a form left to vsnprintf.
bool convert(const ConversionSpec& spec, va_list* args, MessageSink* sink) {
  const bool precise = spec.precision >= 0;
  if (spec.longs > 2) return false;
  switch (spec.conversion) {
    case 's': {
      if (spec.longs != 0) return false;
      const char* text = va_arg(*args, const char*);
      if (!text) return false;
      const size_t n =
          precise ? strnlen(text, static_cast<size_t>(spec.precision)) : std::strlen(text);
      sink->field(text, n, spec.width, spec.left);
      return true;
    }
    case 'c': {
      if (spec.longs != 0) return false;
      const char c = static_cast<char>(va_arg(*args, int));
      sink->field(&c, 1, spec.width, spec.left);
      return true;
    }
    case 'd':
    case 'i':
      if (precise) return false;
      if (spec.longs == 0) format_integer(va_arg(*args, int), spec, sink);
      else if (spec.longs == 1) format_integer(va_arg(*args, long), spec, sink);
      else format_integer(va_arg(*args, long long), spec, sink);
      return true;
    case 'u':
    case 'x': {
      if (precise) return false;
      const int base = spec.conversion == 'u' ? 10 : 16;
      if (spec.longs == 0) format_integer(va_arg(*args, unsigned), spec, sink, base);
      else if (spec.longs == 1) format_integer(va_arg(*args, unsigned long), spec, sink, base);
      else format_integer(va_arg(*args, unsigned long long), spec, sink, base);
      return true;
    }
    case 'f':
    case 'e':
    case 'g':
      return spec.longs == 0 && format_double(va_arg(*args, double), spec, sink);
    default: return false;
  }
}

// vsnprintf(message, size, fmt, args), the common conversions done without the C library.
void format_message(char* message, size_t size, const char* fmt, va_list args) {
  va_list walk;
  va_copy(walk, args);
  MessageSink sink(message, size);
  bool done = true;
  for (const char* f = fmt; *f != '\0';) {
    const char* percent = std::strchr(f, '%');
    if (!percent) {
      sink.put(f, std::strlen(f));
      break;
    }
    sink.put(f, static_cast<size_t>(percent - f));
    f = percent + 1;
    if (*f == '%') {
      sink.put(f++, 1);
      continue;
    }
    ConversionSpec spec;
    if (!parse_spec(&f, &walk, &spec) || !convert(spec, &walk, &sink)) {
      done = false;
      break;
    }
  }
  va_end(walk);
  if (done) sink.finish();
  else std::vsnprintf(message, size, fmt, args);
}

void report(RptSeverity sev, bool at_line, const char* fmt, va_list args) {
  if (!g_rpt.held && !g_rpt.stream && !g_rpt.collector) return;
  char message[kWorkBuffer];
  format_message(message, sizeof message, fmt, args);
  const uint32_t line = at_line && g_line_source ? g_line_source() : 0;
  if (g_rpt.held) {
    try {
      g_rpt.held->add(sev, at_line, line, message);
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

void RptHeldList::add(RptSeverity severity, bool at_line, uint32_t line,
                      std::string_view message) {
  // Room for a few findings at once, rather than growing a step at a time from one.
  constexpr size_t kFirstRoom = 4;
  if (entries_.empty()) {
    entries_.reserve(kFirstRoom);
    texts_.reserve(kFirstRoom * (message.size() + 1));
  }
  const size_t text = texts_.size();
  try {
    texts_.append(message);
    texts_.push_back('\0');
    entries_.push_back(Entry{severity, at_line, line, text});
  } catch (const std::bad_alloc&) {
    texts_.resize(text);
    throw;
  }
}

RptHoldScope::RptHoldScope(RptHeldList* into) : outer_(g_rpt.held) { g_rpt.held = into; }
RptHoldScope::~RptHoldScope() { g_rpt.held = outer_; }

void RPT_Replay(const RptHeldList& held) {
  for (const RptHeldList::Entry& e : held.entries_)
    emit(e.severity, e.at_line, e.line, held.texts_.c_str() + e.text);
}

void RPT_AssertFailed(const char* file, int line) {
  std::fflush(nullptr);
  std::printf("%s:%d:assertion failed.\n", file, line);
  std::fflush(stdout);
  std::abort();
}

void RPT_SetLineSource(RptLineSource source) { g_line_source = source; }

bool RPT_FixedText(double value, int precision, char* out, size_t* length) {
  TARN_ASSERT(precision >= 0 && precision <= 9 && out != nullptr && length != nullptr);
  return std::isfinite(value) && fixed_digits(value, precision, out, length);
}

}  // namespace tarn
