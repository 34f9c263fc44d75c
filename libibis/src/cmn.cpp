#include "libibis/src/cmn.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "libibis/src/chars.h"
#include "libibis/src/parse.h"
#include "libibis/src/reading_state.h"

namespace tarn {
namespace {

struct ScaleSuffix {
  char letter;
  double factor;
};

// Searched in this order, letters compared with case: "M" is mega, "m" milli, and "K" is
// not a suffix at all (it reads as a unit letter).
constexpr ScaleSuffix kScale[] = {
    {'T', 1e12}, {'G', 1e9}, {'M', 1e6}, {'k', 1e3}, {'m', 1e-3},
    {'u', 1e-6}, {'n', 1e-9}, {'p', 1e-12}, {'f', 1e-15},
};

constexpr const char* kReservedWords[] = {"GND", "NC", "POWER", "NA"};

struct CmnState {
  std::string source_directory;
};
CmnState g_cmn;
SavedWithReading<CmnState> g_cmn_saved(&g_cmn);

bool is_c_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

double scale_factor(char letter) {
  for (const ScaleSuffix& s : kScale)
    if (s.letter == letter) return s.factor;
  return 1.0;
}

// The extent of the longest leading decimal number: sign, digits, point, digits, and an
// exponent only when digits follow it (so "1e" is 1 with the unit letter e).
struct NumberSpan {
  size_t mantissa = 0;  // first character after the sign
  size_t end = 0;
  bool negative = false;
  long int_digits = 0;
  long exponent = 0;
};

bool scan_number(std::string_view t, NumberSpan* span) {
  size_t i = 0;
  const size_t n = t.size();
  while (i < n && is_c_space(t[i])) ++i;
  if (i < n && (t[i] == '+' || t[i] == '-')) span->negative = t[i++] == '-';
  span->mantissa = i;
  size_t digits = 0;
  while (i < n && is_digit(t[i])) ++i, ++digits;
  span->int_digits = static_cast<long>(digits);
  if (i < n && t[i] == '.') {
    ++i;
    while (i < n && is_digit(t[i])) ++i, ++digits;
  }
  if (digits == 0) return false;
  if (i < n && (t[i] == 'e' || t[i] == 'E')) {
    size_t j = i + 1;
    bool exp_negative = false;
    if (j < n && (t[j] == '+' || t[j] == '-')) exp_negative = t[j++] == '-';
    if (j < n && is_digit(t[j])) {
      long e = 0;
      while (j < n && is_digit(t[j])) {
        if (e < 100000) e = e * 10 + (t[j] - '0');
        ++j;
      }
      span->exponent = exp_negative ? -e : e;
      i = j;
    }
  }
  span->end = i;
  return true;
}

// Converts without the host's locale. A magnitude beyond a double is not a number; one
// below the smallest is zero.
bool convert_number(std::string_view t, const NumberSpan& span, double* value) {
  const char* first = t.data() + span.mantissa;
  const char* last = t.data() + span.end;
  double v = 0.0;
  auto [ptr, ec] = std::from_chars(first, last, v, std::chars_format::general);
  if (ec == std::errc::result_out_of_range) {
    if (span.int_digits + span.exponent > 0) return false;
    v = 0.0;
  } else if (ec != std::errc() || ptr != last) {
    return false;
  }
  *value = span.negative ? -v : v;
  return true;
}

std::string str(std::string_view v) { return std::string(v); }

}  // namespace

int CMN_ParseNumber(std::string_view text, double* value_out) {
  TARN_ASSERT(value_out != nullptr);
  NumberSpan span;
  double value = 0.0;
  if (!scan_number(text, &span) || !convert_number(text, span, &value)) return kNumberInvalid;
  if (span.end == text.size()) {
    *value_out = value;
    return kNumberValid;
  }
  const char next = text[span.end];
  if (!is_alpha(next)) return kNumberInvalid;
  *value_out = value * scale_factor(next);
  for (size_t i = span.end; i < text.size(); ++i)
    if (is_digit(text[i])) return kNumberSuspicious;
  return kNumberValid;
}

int CMN_GetValueOrNA(std::string_view text, double* value_out, bool* is_na_out) {
  TARN_ASSERT(value_out != nullptr && is_na_out != nullptr);
  if (CMN_EqualNoCase(text, "NA")) {
    *value_out = 0.0;
    *is_na_out = true;
    return kNumberValid;
  }
  *is_na_out = false;
  return CMN_ParseNumber(text, value_out);
}

namespace {

// The findings on a number that CMN_ParseNumber or CMN_GetValueOrNA has read; 0 when invalid.
int report_number(int result, std::string_view text, const char* label, const char* keyword) {
  if (result == kNumberInvalid) {
    RPT_ErrorAtLine("Invalid %s Value (\"%s\")", keyword, str(text).c_str());
    return 0;
  }
  if (result == kNumberSuspicious)
    RPT_WarningAtLine("Suspicious %s %s Value (\"%s\"); Numeric in Scale", keyword, label,
                      str(text).c_str());
  return 1;
}

}  // namespace

int CMN_ParseValueField(std::string_view text, const char* label, const char* keyword,
                        double* value_out, ValueStatus* status_out) {
  TARN_ASSERT(value_out != nullptr && status_out != nullptr && label && keyword);
  if (text.empty()) {
    *status_out = ValueStatus::Absent;
    return 1;
  }
  bool is_na = false;
  if (!report_number(CMN_GetValueOrNA(text, value_out, &is_na), text, label, keyword)) return 0;
  *status_out = is_na ? ValueStatus::NA : ValueStatus::Value;
  return 1;
}

int CMN_ParseScaledField(std::string_view text, const char* label, const char* keyword,
                         double* value_out) {
  TARN_ASSERT(value_out != nullptr && label && keyword);
  return report_number(CMN_ParseNumber(text, value_out), text, label, keyword);
}

int CMN_SplitLine(std::string_view line, size_t max_items, char delimiter, ItemList* items_out) {
  TARN_ASSERT(items_out != nullptr);
  ItemList& list = *items_out;
  list.items.clear();
  list.max_items = max_items;
  list.found = 0;
  try {
    if (list.items.capacity() < max_items) list.items.reserve(max_items);
  } catch (const std::bad_alloc&) {
    RPT_Bug("Unable to Allocate Memory: %s %d", __FILE__, __LINE__);
    return 0;
  }
  size_t i = 0;
  const size_t n = line.size();
  while (true) {
    while (i < n && is_space(line[i])) ++i;
    if (i >= n) break;
    size_t start = i;
    while (i < n && !is_space(line[i]) && (delimiter == 0 || line[i] != delimiter)) ++i;
    if (i == start) ++i;  // the delimiter stands as an item of its own
    if (list.items.size() < max_items) list.items.push_back(line.substr(start, i - start));
    ++list.found;
  }
  return 1;
}

int CMN_AssignedValue(const ItemList& items, const char* label, std::string_view* value_out) {
  TARN_ASSERT(label != nullptr && value_out != nullptr);
  constexpr size_t kAssignmentItems = 3;  // name, "=", value
  if (items.found < kAssignmentItems) return 0;
  if (items.found != kAssignmentItems)
    RPT_ErrorAtLine("Incorrect Number of Line Items (%d) For %s: Expecting %d",
                    static_cast<int>(items.found), label, static_cast<int>(kAssignmentItems));
  if (items[1] != "=") return 0;
  *value_out = items[2];
  return 1;
}

void CMN_CheckKeywordAlone(std::string_view line, const char* label) {
  TARN_ASSERT(label != nullptr);
  ItemList items;  // counts only, so nothing is allocated
  (void)CMN_SplitLine(CMN_KeywordArgument(line), 0, 0, &items);
  if (items.found != 0)
    RPT_ErrorAtLine("Incorrect Number of Line Items (%d) For %s: Expecting %d",
                    static_cast<int>(items.found + 1), label, 1);
}

void CMN_FreeItems(ItemList* items) {
  TARN_ASSERT(items != nullptr);
  items->items.clear();
  items->items.shrink_to_fit();
  items->found = 0;
  items->max_items = 0;
}

void CMN_CopyField(std::string* dest, std::string_view text, size_t limit, const char* keyword) {
  TARN_ASSERT(dest != nullptr && keyword != nullptr);
  if (text.size() > limit) {
    RPT_WarningAtLine("%s string '%s' is too long, truncating to %u characters.", keyword,
                      str(text).c_str(), static_cast<unsigned>(limit));
  } else if (text.empty()) {
    RPT_WarningAtLine("Zero length value for keyword '%s'.", keyword);
  }
  dest->assign(text.substr(0, limit));
}

int CMN_SetOnce(std::string* dest, std::string_view text, size_t limit, const char* keyword) {
  TARN_ASSERT(dest != nullptr && keyword != nullptr);
  if (!dest->empty()) {
    RPT_ErrorAtLine("Duplicate '%s' keyword.", keyword);
    return 0;
  }
  CMN_CopyField(dest, text, limit, keyword);
  return 1;
}

void CMN_RequireKeyword(const char* keyword, bool found) {
  TARN_ASSERT(keyword != nullptr);
  if (found) return;
  RPT_Error("Required keyword '%s' not found in file '%s'.", keyword, PRS_GetFileName().c_str());
}

int CMN_IsReservedWord(std::string_view text) {
  for (const char* word : kReservedWords)
    if (CMN_EqualNoCase(text, word)) return 0;
  return 1;
}

void CMN_CheckReservedWord(std::string_view text) {
  if (CMN_IsReservedWord(text) == 0)
    RPT_ErrorAtLine("Illegal use of Reserved Word '%s'.", str(text).c_str());
}

bool CMN_EqualNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CMN_EqualNoCaseN(a, b, a.size());
}

bool CMN_EqualNoCaseN(std::string_view a, std::string_view b, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const char ca = i < a.size() ? a[i] : '\0';
    const char cb = i < b.size() ? b[i] : '\0';
    if (to_upper(ca) != to_upper(cb)) return false;
    if (ca == '\0') return true;
  }
  return true;
}

bool CMN_KeywordEqual(std::string_view name, std::string_view text) {
  if (name.size() != text.size()) return false;
  for (size_t i = 0; i < name.size(); ++i) {
    const char c = text[i] == ' ' ? '_' : text[i];
    if (to_upper(c) != to_upper(name[i])) return false;
  }
  return true;
}

size_t CMN_SkipSpace(std::string_view text, size_t pos) {
  while (pos < text.size() && is_space(text[pos])) ++pos;
  return pos;
}

size_t CMN_SkipWord(std::string_view text, size_t pos) {
  while (pos < text.size() && !is_space(text[pos])) ++pos;
  return pos;
}

std::string_view CMN_TrimRight(std::string_view text) {
  size_t n = text.size();
  while (n > 0 && is_space(text[n - 1])) --n;
  return text.substr(0, n);
}

size_t CMN_SkipKeyword(std::string_view text) {
  const size_t close = text.find(']');
  if (close == std::string_view::npos) return close;
  return CMN_SkipSpace(text, close + 1);
}

std::string_view CMN_KeywordArgument(std::string_view line) {
  const size_t pos = CMN_SkipKeyword(line);
  return pos == std::string_view::npos ? std::string_view() : line.substr(pos);
}

int CMN_ParseRlcToken(std::string_view text, double* value_out, std::string_view* rest_out) {
  TARN_ASSERT(value_out != nullptr && rest_out != nullptr);
  auto skip_blanks = [&](size_t p) { return CMN_SkipSpace(text, p); };
  size_t pos = skip_blanks(0);
  *rest_out = text.substr(pos);
  if (pos >= text.size()) return kRlcEndLine;
  if (text[pos] == '/') {
    *rest_out = text.substr(skip_blanks(pos + 1));
    return kRlcEndSection;
  }
  if (text[pos] == '=') {
    RPT_ErrorAtLine("Unexpected '=' found");
    return kRlcError;
  }
  const size_t name_start = pos;
  while (pos < text.size() && !is_space(text[pos]) && text[pos] != '=' && text[pos] != '/') ++pos;
  const std::string_view name = text.substr(name_start, pos - name_start);
  *rest_out = text.substr(pos);
  int code = kRlcError;
  if (name == "Len") code = kRlcLen;
  else if (name == "R") code = kRlcR;
  else if (name == "C") code = kRlcC;
  else if (name == "L") code = kRlcL;
  if (code == kRlcError) {
    RPT_ErrorAtLine("Unexpected token '%s' found in R/L/C section", str(name).c_str());
    return kRlcError;
  }
  pos = skip_blanks(pos);
  if (pos >= text.size()) {
    RPT_ErrorAtLine("Premature end of R/L/C section");
    *rest_out = text.substr(pos);
    return kRlcEndLine;
  }
  if (text[pos] != '=') {
    RPT_ErrorAtLine("Error parsing R/L/C section. Missing '='");
    *rest_out = text.substr(pos);
    return kRlcError;
  }
  pos = skip_blanks(pos + 1);
  if (pos >= text.size()) {
    RPT_ErrorAtLine("Premature end of R/L/C section");
    *rest_out = text.substr(pos);
    return kRlcEndLine;
  }
  const size_t value_start = pos;
  while (pos < text.size() && !is_space(text[pos]) && text[pos] != '/') ++pos;
  const std::string_view number = text.substr(value_start, pos - value_start);
  if (number.empty()) {
    RPT_ErrorAtLine("Numerical value expected");
    *value_out = 0.0;
  } else if (CMN_ParseNumber(number, value_out) != kNumberValid) {
    RPT_ErrorAtLine("Illegal number found '%s'", str(number).c_str());
  }
  *rest_out = text.substr(skip_blanks(pos));
  return code;
}

namespace {

size_t last_separator(std::string_view path) {
  const size_t slash = path.find_last_of("/\\");
  return slash;
}

const char* extension_for(FileKind kind) {
  switch (kind) {
    case FileKind::Ibs: return ".ibs";
    case FileKind::Pkg: return ".pkg";
    case FileKind::Ebd: return ".ebd";
    default: return nullptr;
  }
}

}  // namespace

std::FILE* CMN_OpenSource(std::string_view name, FileKind kind, std::string* base_out,
                          std::string* full_out) {
  TARN_ASSERT(base_out != nullptr && full_out != nullptr);
  const size_t sep = last_separator(name);
  std::string directory;
  std::string base;
  if (sep != std::string_view::npos) {
    directory.assign(name.substr(0, sep + 1));
    base.assign(name.substr(sep + 1, kPathMax));
  } else {
    base.assign(name.substr(0, kPathMax));
  }
  const char* wanted = extension_for(kind);
  const size_t dot = base.rfind('.');
  if (dot != std::string::npos) {
    if (wanted && !CMN_EqualNoCase(std::string_view(base).substr(dot), wanted)) {
      if (kind == FileKind::Ibs) RPT_Error("File Name Requires '.ibs' Extension.");
      else if (kind == FileKind::Pkg) RPT_Error("File Name Requires '.pkg' Extension.");
      else RPT_Error("File Name Requires '.ebd' Extension.");
      return nullptr;
    }
  } else if (wanted) {
    if (base.size() + std::strlen(wanted) > kPathMax) {
      RPT_Error("Unable to append filename extension.");
      return nullptr;
    }
    base += wanted;
  }
  if (directory.size() + base.size() > kPathMax) {
    RPT_Error("Unable to assemble filename.");
    return nullptr;
  }
  g_cmn.source_directory = directory;
  *full_out = directory + base;
  *base_out = base;
  return std::fopen(full_out->c_str(), "rb");
}

void CMN_SourceDirectory(std::string* text_out) {
  TARN_ASSERT(text_out != nullptr);
  *text_out = g_cmn.source_directory;
}

std::string CMN_BaseName(std::string_view path) {
  const size_t sep = last_separator(path);
  std::string_view base = sep == std::string_view::npos ? path : path.substr(sep + 1);
  const size_t dot = base.rfind('.');
  if (dot != std::string_view::npos) base = base.substr(0, dot);
  return std::string(base);
}

void cmn_report_alloc_failure(bool realloc, size_t count) {
  if (realloc) RPT_Error("Memory reallocation failed.  This request %u.\n", static_cast<unsigned>(count));
  else RPT_Error("Memory allocation failed.  This request %u.\n", static_cast<unsigned>(count));
}

}  // namespace tarn
