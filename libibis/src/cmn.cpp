#include "libibis/src/cmn.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "libibis/src/chars.h"
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

// The factor of every letter after a number: a scale letter's, or 1 for a unit letter.
constexpr std::array<double, 256> make_scale_table() {
  std::array<double, 256> t{};
  t.fill(1.0);
  for (size_t i = std::size(kScale); i-- > 0;)  // the first row of a letter wins
    t[static_cast<unsigned char>(kScale[i].letter)] = kScale[i].factor;
  return t;
}
constexpr std::array<double, 256> kScaleOf = make_scale_table();

// The next item from `*pos`: runs of blanks and tabs separate items, and a `delimiter` (0 for
// none) ends an item and is an item of its own. Empty at the end of the line.
std::string_view next_item(std::string_view line, size_t* pos, char delimiter) {
  size_t i = *pos;
  const size_t n = line.size();
  while (i < n && is_space(line[i])) ++i;
  const size_t start = i;
  while (i < n && !is_space(line[i]) && (delimiter == 0 || line[i] != delimiter)) ++i;
  if (i == start && i < n) ++i;
  *pos = i;
  return line.substr(start, i - start);
}

// The longest leading decimal number of a text: sign, digits, point, digits, and an exponent
// only when digits follow it (so "1e" is 1 with the unit letter e). The digits are gathered
// on the way, so that the common short number needs no second pass.
struct NumberSpan {
  const char* mantissa = nullptr;  // first character after the sign
  const char* end = nullptr;
  bool negative = false;
  long int_digits = 0;
  long frac_digits = 0;
  long exponent = 0;
  uint64_t significand = 0;  // all the digits, when there are few enough to fit
};

constexpr long kMaxExactDigits = 19;  // decimal digits that always fit in 64 bits

bool is_decimal(char c) { return static_cast<unsigned char>(c - '0') < 10; }

[[gnu::always_inline]] inline const char* take_digits(const char* p, const char* e,
                                                      uint64_t* significand) {
  uint64_t m = *significand;
  for (; p < e; ++p) {
    const unsigned digit = static_cast<unsigned char>(*p) - unsigned{'0'};
    if (digit > 9) break;
    m = m * 10 + digit;
  }
  *significand = m;
  return p;
}

const char* take_exponent(const char* p, const char* e, long* exponent) {
  const char* q = p + 1;
  bool negative = false;
  if (q < e && (*q == '+' || *q == '-')) negative = *q++ == '-';
  if (q >= e || !is_decimal(*q)) return p;  // not an exponent: a unit letter
  long v = 0;
  for (; q < e && is_decimal(*q); ++q)
    if (v < 100000) v = v * 10 + (*q - '0');
  *exponent = negative ? -v : v;
  return q;
}

[[gnu::always_inline]] inline bool scan_number(const char* p, const char* e, NumberSpan* span) {
  while (p < e && is_c_space(*p)) ++p;
  if (p < e && (*p == '+' || *p == '-')) span->negative = *p++ == '-';
  span->mantissa = p;
  p = take_digits(p, e, &span->significand);
  span->int_digits = p - span->mantissa;
  if (p < e && *p == '.') {
    const char* fraction = ++p;
    p = take_digits(p, e, &span->significand);
    span->frac_digits = p - fraction;
  }
  if (span->int_digits + span->frac_digits == 0) return false;
  if (p < e && (*p == 'e' || *p == 'E')) p = take_exponent(p, e, &span->exponent);
  span->end = p;
  return true;
}

constexpr long kMaxExactPower = 22;  // the largest power of ten that is an exact double
constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                              1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                              1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// Exact when the significand and the power of ten are both exact doubles: one multiplication
// or division then rounds correctly, as the full conversion would.
[[gnu::always_inline]] inline bool convert_short(const NumberSpan& span, double* value) {
  constexpr uint64_t kMaxExact = uint64_t(1) << 53;
  if (span.int_digits + span.frac_digits > kMaxExactDigits) return false;
  if (span.significand == 0) {
    *value = 0.0;
    return true;
  }
  const long power = span.exponent - span.frac_digits;
  if (span.significand > kMaxExact || power > kMaxExactPower || power < -kMaxExactPower)
    return false;
  const double m = static_cast<double>(span.significand);
  *value = power >= 0 ? m * kPowers[power] : m / kPowers[-power];
  return true;
}

// Converts without the host's locale. A magnitude beyond a double is not a number; one
// below the smallest is zero.
[[gnu::always_inline]] inline bool convert_number(const NumberSpan& span, double* value) {
  double v = 0.0;
  if (!convert_short(span, &v)) {
    auto [ptr, ec] = std::from_chars(span.mantissa, span.end, v, std::chars_format::general);
    if (ec == std::errc::result_out_of_range) {
      if (span.int_digits + span.exponent > 0) return false;
      v = 0.0;
    } else if (ec != std::errc() || ptr != span.end) {
      return false;
    }
  }
  *value = span.negative ? -v : v;
  return true;
}

// Where the item from `p` ends: at `e`, or within a line at the next blank or tab.
template <bool InLine>
const char* item_end(const char* p, const char* e) {
  if (!InLine) return e;
  while (p < e && !is_space(*p)) ++p;
  return p;
}

// The rest of an item after its number, from `p`: nothing, or a letter (a scale or a unit)
// and anything after it; a digit there makes the value suspicious. `*end_out` is the end of
// the item.
template <bool InLine>
int finish_number(double value, const char* p, const char* e, double* value_out,
                  const char** end_out) {
  if (p == item_end<InLine>(p, e)) {
    *end_out = p;
    *value_out = value;
    return kNumberValid;
  }
  if (!is_alpha(*p)) {
    *end_out = item_end<InLine>(p, e);
    return kNumberInvalid;
  }
  *value_out = value * kScaleOf[static_cast<unsigned char>(*p)];
  bool digit = false;
  for (++p; p < e && !(InLine && is_space(*p)); ++p) digit |= is_digit(*p);
  *end_out = p;
  return digit ? kNumberSuspicious : kNumberValid;
}

// Past the blanks and tabs from `p`, a word of eight characters at a time: the columns of a
// table are mostly blanks, and the first character that is not one ends the run.
const char* skip_blanks(const char* p, const char* e) {
  constexpr uint64_t kBlanks = 0x2020202020202020ull;
  while (e - p >= 8) {
    uint64_t word;
    std::memcpy(&word, p, sizeof word);
    const uint64_t other = word ^ kBlanks;  // nonzero bytes are not blanks
    if (other == 0) {
      p += 8;
      continue;
    }
    if constexpr (std::endian::native == std::endian::little) {
      p += std::countr_zero(other) / 8;
      if (*p != '\t') return p;
    }
    break;
  }
  while (p < e && is_space(*p)) ++p;
  return p;
}

// The scale letter that may follow a number at `p` and the letters after it up to the blank:
// gives their end and the factor, or null when a digit among them makes the value suspicious
// or the first is no letter (or is e, which the general path reads as unit or exponent).
[[gnu::always_inline]] inline const char* take_scale(const char* p, const char* e,
                                                     double* factor) {
  if (p == e || is_space(*p)) return p;
  if (*p == 'e' || *p == 'E' || !is_alpha(*p)) return nullptr;
  *factor = kScaleOf[static_cast<unsigned char>(*p)];
  for (++p; p < e; ++p) {
    const uint8_t cls = kCharTable[static_cast<unsigned char>(*p)];
    if (cls & kCharSpace) break;
    if (cls & kCharDigit) return nullptr;
  }
  return p;
}

// The rest of a table item whose mantissa is followed by an exponent, from the "e" at `p`; as
// scan_plain_item, null for what the general path must read. Apart, as generators write one
// form or the other and the common one stays short.
[[gnu::noinline]] const char* scan_exponent_item(bool negative, uint64_t m, long frac_digits,
                                                 const char* p, const char* e,
                                                 double* value_out) {
  long exponent = 0;
  const char* const after = take_exponent(p, e, &exponent);
  const long power = exponent - frac_digits;
  // The unit letter e, or a power beyond the exact ones.
  if (after == p || power > kMaxExactPower || power < -kMaxExactPower) return nullptr;
  double factor = 1.0;
  p = take_scale(after, e, &factor);
  if (!p) return nullptr;
  const double m_exact = static_cast<double>(m);
  const double value = power >= 0 ? m_exact * kPowers[power] : m_exact / kPowers[-power];
  *value_out = (negative ? -value : value) * factor;
  return p;
}

// The common item of a table, such as -92.89mA or -4.541E+00, in one loop: a sign, at most 19
// digits with a point, an exponent that keeps the conversion exact, then nothing or letters
// without a digit up to the blank. Gives its end, or null for anything else (a long mantissa,
// a large exponent, a digit after the scale), which the general path reads. The value is the
// one the general path gives, bit for bit.
[[gnu::always_inline]] inline const char* scan_plain_item(const char* p, const char* e,
                                                         double* value_out) {
  const bool negative = *p == '-';
  if (negative || *p == '+') ++p;
  const char* const mantissa = p;
  uint64_t m = 0;
  p = take_digits(p, e, &m);
  const long int_digits = p - mantissa;
  long frac_digits = 0;
  if (p < e && *p == '.') {
    const char* const fraction = ++p;
    p = take_digits(p, e, &m);
    frac_digits = p - fraction;
  }
  const long digits = int_digits + frac_digits;
  if (static_cast<unsigned long>(digits - 1) >= kMaxExactDigits || m > (uint64_t(1) << 53))
    return nullptr;  // no digit, or too many for the exact path
  if (p < e && (*p == 'e' || *p == 'E'))
    return scan_exponent_item(negative, m, frac_digits, p, e, value_out);
  double factor = 1.0;
  p = take_scale(p, e, &factor);
  if (!p) return nullptr;
  // Exact: both operands are exact doubles, so the one division rounds as a full conversion.
  const double value = static_cast<double>(m) / kPowers[frac_digits];
  *value_out = (negative ? -value : value) * factor;
  return p;
}

// One item of a line of values from `p` (not a separator), read in the one pass that also
// finds its end. An item that starts with white space of another kind is read as a view.
const char* scan_value_item(const char* p, const char* e, ValueItem* v) {
  if (const char* plain_end = scan_plain_item(p, e, &v->value)) {
    v->result = kNumberValid;
    v->is_na = false;
    v->text = std::string_view(p, static_cast<size_t>(plain_end - p));
    return plain_end;
  }
  NumberSpan span;
  double value = 0.0;
  const char* end = nullptr;
  v->is_na = false;
  if (!is_c_space(*p) && scan_number(p, e, &span) && convert_number(span, &value)) {
    v->result = finish_number<true>(value, span.end, e, &v->value, &end);
  } else {
    end = item_end<true>(p, e);
    v->result = CMN_GetValueOrNA(std::string_view(p, static_cast<size_t>(end - p)), &v->value,
                                 &v->is_na);
  }
  v->text = std::string_view(p, static_cast<size_t>(end - p));
  return end;
}

std::string str(std::string_view v) { return std::string(v); }

// Characters a DOS file name may hold besides letters, digits and the period.
bool dos_character(char c) {
  constexpr std::string_view kExtra = "_^$~!#%&-{}()@'`";
  return is_alpha(c) || is_digit(c) || c == '.' || kExtra.find(c) != std::string_view::npos;
}

}  // namespace

int CMN_ParseNumber(std::string_view text, double* value_out) {
  TARN_ASSERT(value_out != nullptr);
  const char* const e = text.data() + text.size();
  NumberSpan span;
  double value = 0.0;
  if (!scan_number(text.data(), e, &span) || !convert_number(span, &value)) return kNumberInvalid;
  const char* end = nullptr;
  return finish_number<false>(value, span.end, e, value_out, &end);
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
  ValueItem item;
  item.text = text;
  if (!text.empty()) item.result = CMN_GetValueOrNA(text, &item.value, &item.is_na);
  return CMN_ReportValue(item, label, keyword, value_out, status_out);
}

int cmn_report_value(const ValueItem& item, const char* label, const char* keyword,
                     double* value_out, ValueStatus* status_out) {
  TARN_ASSERT(value_out != nullptr && status_out != nullptr && label && keyword);
  if (item.text.empty()) {
    *status_out = ValueStatus::Absent;
    return 1;
  }
  if (!report_number(item.result, item.text, label, keyword)) return 0;
  *value_out = item.value;
  *status_out = item.is_na ? ValueStatus::NA : ValueStatus::Value;
  return 1;
}

int CMN_ParseScaledField(std::string_view text, const char* label, const char* keyword,
                         double* value_out) {
  TARN_ASSERT(value_out != nullptr && label && keyword);
  return report_number(CMN_ParseNumber(text, value_out), text, label, keyword);
}

int CMN_ParseUnsigned(std::string_view text, uint32_t* value_out) {
  TARN_ASSERT(value_out != nullptr);
  double value = 0.0;
  const int result = CMN_ParseNumber(text, &value);
  if (result == kNumberInvalid || !(value >= 0.0) || value > 4294967295.0 ||
      value != std::floor(value))
    return kNumberInvalid;
  *value_out = static_cast<uint32_t>(value);
  return result;
}

int CMN_ReadCount(std::string_view text, const char* label, bool already_set,
                  uint32_t* value_out) {
  TARN_ASSERT(label != nullptr && value_out != nullptr);
  if (text.empty()) {
    RPT_ErrorAtLine("Blank %s value.", label);
    return 0;
  }
  if (already_set) {
    RPT_ErrorAtLine("Duplicate %s keyword.", label);
    return 0;
  }
  uint32_t value = 0;
  const int result = CMN_ParseUnsigned(text, &value);
  if (result == kNumberSuspicious) {
    RPT_WarningAtLine("Suspicious %s value.", label);
  } else if (result == kNumberInvalid) {
    RPT_ErrorAtLine("Bad %s value.", label);
    value = 0;
  }
  if (result != kNumberInvalid && value == 0) RPT_ErrorAtLine("%s = 0.", label);
  *value_out = value;
  return 1;
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
    CMN_ReportNoMemory();
    return 0;
  }
  size_t pos = 0;
  for (std::string_view item = next_item(line, &pos, delimiter); !item.empty();
       item = next_item(line, &pos, delimiter)) {
    if (list.items.size() < max_items) list.items.push_back(item);
    ++list.found;
  }
  return 1;
}

std::string_view CMN_FirstItem(std::string_view line, char delimiter) {
  size_t pos = 0;
  return next_item(line, &pos, delimiter);
}

size_t CMN_ScanValues(std::string_view line, size_t max_items, ValueItem* out) {
  TARN_ASSERT(out != nullptr || max_items == 0);
  const char* p = line.data();
  const char* const e = p + line.size();
  size_t found = 0;
  while (true) {
    p = skip_blanks(p, e);
    if (p == e) break;
    p = found < max_items ? scan_value_item(p, e, &out[found]) : item_end<true>(p, e);
    ++found;
  }
  for (size_t i = found; i < max_items; ++i) out[i] = ValueItem{};
  return found;
}

bool CMN_ScanPlainValues(std::string_view line, size_t count, double* out) {
  TARN_ASSERT(out != nullptr || count == 0);
  const char* p = line.data();
  const char* const e = p + line.size();
  for (size_t i = 0; i < count; ++i) {
    p = skip_blanks(p, e);
    if (p == e) return false;
    p = scan_plain_item(p, e, &out[i]);
    if (!p) return false;
  }
  return skip_blanks(p, e) == e;
}

int CMN_AssignedValue(const ItemList& items, const char* label, std::string_view* value_out) {
  TARN_ASSERT(label != nullptr && value_out != nullptr);
  constexpr size_t kAssignmentItems = 3;  // name, "=", value
  if (items.found < kAssignmentItems) return 0;
  if (items.found != kAssignmentItems)
    CMN_ReportItemCount(items.found, label, kAssignmentItems);
  if (items[1] != "=") return 0;
  *value_out = items[2];
  return 1;
}

int CMN_SettingValue(const ItemList& items, const char* name, std::string_view* value_out) {
  TARN_ASSERT(name != nullptr && value_out != nullptr);
  constexpr size_t kSettingItems = 2;  // name, setting
  if (items.found == 1) {
    RPT_ErrorAtLine("'%s' Subparameter Missing Setting", name);
    return 0;
  }
  if (items.found != kSettingItems) {
    if (items[1] == "=") RPT_ErrorAtLine(kInvalidLine, name);
    else CMN_ReportItemCount(items.found, name, kSettingItems);
    return 0;
  }
  *value_out = items[1];
  return 1;
}

void cmn_report_case_mismatch(const char* what, std::string_view value, std::string_view name) {
  RPT_ErrorAtLine("Invalid %s (\"%s\") (try \"%s\")", what, std::string(value).c_str(),
                  std::string(name).c_str());
}

void cmn_report_unknown_name(const char* what, std::string_view value) {
  RPT_ErrorAtLine("Invalid %s (\"%s\")", what, std::string(value).c_str());
}

std::string_view CMN_OpenerName(const ItemList& items, const char* label, size_t limit,
                                bool* cut_out) {
  TARN_ASSERT(label != nullptr && cut_out != nullptr);
  *cut_out = false;
  if (items.found == 0) {
    RPT_ErrorAtLine("'%s' Keyword Missing name", label);
    return {};
  }
  if (items.found > 1)
    RPT_ErrorAtLine(kKeywordItemCount, static_cast<int>(items.found), label, 1);
  const std::string_view name = items[0];
  if (name.size() <= limit) return name;
  RPT_ErrorAtLine("%s Name Over %d Characters Long", label, static_cast<int>(limit));
  *cut_out = true;
  return name.substr(0, limit);
}

void CMN_CheckKeywordAlone(std::string_view line, const char* label) {
  TARN_ASSERT(label != nullptr);
  ItemList items;  // counts only, so nothing is allocated
  (void)CMN_SplitLine(CMN_KeywordArgument(line), 0, 0, &items);
  if (items.found != 0)
    CMN_ReportItemCount(items.found + 1, label, 1);
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

int CMN_IsReservedWord(std::string_view text) {
  for (const char* word : kReservedWords)
    if (CMN_EqualNoCase(text, word)) return 0;
  return 1;
}

void CMN_CheckReservedWord(std::string_view text) {
  if (CMN_IsReservedWord(text) == 0)
    RPT_ErrorAtLine("Illegal use of Reserved Word '%s'.", str(text).c_str());
}

void CMN_MarkerKeyword(bool* seen, const char* label, std::string_view argument) {
  TARN_ASSERT(seen != nullptr && label != nullptr);
  if (*seen) RPT_ErrorAtLine("Duplicate '%s' keyword found.", label);
  if (!argument.empty()) RPT_ErrorAtLine("Extraneous data on '%s' line.", label);
  *seen = true;
}

size_t CMN_CheckFileNameCharacters(std::string_view name, bool capitals_allowed) {
  const std::string text = str(name);
  size_t periods = 0;
  for (char c : text) {
    if (is_upper(c) && !capitals_allowed) {
      RPT_ErrorAtLine("File_name '%s' contains an upper case character '%c'.", text.c_str(), c);
    } else if (!dos_character(c)) {
      RPT_ErrorAtLine("File_name '%s' contains a character '%c' that is illegal for DOS.",
                      text.c_str(), c);
    }
    if (c == '.' && ++periods > 1)
      RPT_ErrorAtLine("File_name '%s' contains more than one period.", text.c_str());
  }
  return periods;
}

bool CMN_PinSlotFree(uint32_t declared, size_t stored) {
  if (declared == 0) {
    RPT_ErrorAtLine("Number of Pins is zero, unable to add Pin Number.");
    return false;
  }
  if (stored >= declared) {
    RPT_ErrorAtLine("More Pin Numbers names than Number of pins.");
    return false;
  }
  return true;
}

void CMN_ReportPinNotAllocated() { RPT_ErrorAtLine("Unable to allocate PIN."); }

void CMN_ReportDuplicatePin(std::string_view name) {
  RPT_ErrorAtLine("Duplicate Pin <%s>.", str(name).c_str());
}

void CMN_CheckPinNamesFound(uint32_t declared, uint32_t found) {
  if (declared != 0 && found == 0) RPT_Error("No Pin Numbers names found.");
  else if (found != declared)
    RPT_Error("Number of Pins <%u> not the same as count of Pin Numbers names found <%u>.",
              declared, found);
}

void CMN_WarnPinNameSyntax(std::string_view name, std::span<const std::string_view> words) {
  const std::string text = str(name);
  if (name.find('=') != std::string_view::npos)
    RPT_WarningAtLine("Found a Pin Name '%s' containing '='. Possible syntax error", text.c_str());
  if (name.find('/') != std::string_view::npos)
    RPT_WarningAtLine("Found a Pin Name '%s' containing '/'. Possible syntax error", text.c_str());
  for (std::string_view word : words) {
    if (name == word) {
      RPT_WarningAtLine("Found a Pin Name '%s'. Possible syntax error", text.c_str());
      break;
    }
  }
}

bool CMN_PinTableColumns(const ItemList& headers, const char* keyword, const char* count_label,
                         int short_count, int long_count, int* columns_out) {
  TARN_ASSERT(keyword != nullptr && count_label != nullptr && columns_out != nullptr);
  *columns_out = static_cast<int>(headers.found) + 1;
  if (headers.found == 0) {
    RPT_ErrorAtLine("Unable to find column headers after %s keyword.", keyword);
    return false;
  }
  if (*columns_out != short_count && *columns_out != long_count)
    RPT_ErrorAtLine("%s keyword column count must be %d or %d, found %d columns.", count_label,
                    short_count, long_count, *columns_out);
  return true;
}

void CMN_CheckColumnHeaders(const ItemList& headers, std::span<const char* const> expected,
                            size_t required) {
  const size_t checked = std::min(expected.size(), std::max(required, headers.found));
  for (size_t i = 0; i < checked; ++i)
    if (!CMN_EqualNoCase(headers[i], expected[i]))
      RPT_ErrorAtLine("'%s' column header not found or out of order.", expected[i]);
}

void CMN_CopyRowName(std::string* dest, std::string_view text, size_t limit, const char* label,
                     const char* missing) {
  TARN_ASSERT(dest != nullptr && label != nullptr);
  if (text.empty()) {
    if (missing) RPT_ErrorAtLine("%s", missing);
    return;
  }
  CMN_CopyField(dest, text, limit, label);
  CMN_CheckReservedWord(*dest);
}

void CMN_ReportExtraColumns() { RPT_ErrorAtLine("Extra data columns on this line."); }

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
  static constexpr char kPrematureEnd[] = "Premature end of R/L/C section";
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
    RPT_ErrorAtLine(kPrematureEnd);
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
    RPT_ErrorAtLine(kPrematureEnd);
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

bool CMN_ResolveSource(std::string_view name, FileKind kind, std::string* base_out,
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
      return false;
    }
  } else if (wanted) {
    if (base.size() + std::strlen(wanted) > kPathMax) {
      RPT_Error("Unable to append filename extension.");
      return false;
    }
    base += wanted;
  }
  if (directory.size() + base.size() > kPathMax) {
    RPT_Error("Unable to assemble filename.");
    return false;
  }
  g_cmn.source_directory = directory;
  *full_out = directory + base;
  *base_out = base;
  return true;
}

std::FILE* CMN_OpenSource(std::string_view name, FileKind kind, std::string* base_out,
                          std::string* full_out) {
  if (!CMN_ResolveSource(name, kind, base_out, full_out)) return nullptr;
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

void CMN_ReportItemCount(size_t found, const char* label, size_t expected) {
  RPT_ErrorAtLine("Incorrect Number of Line Items (%d) For %s: Expecting %d",
                  static_cast<int>(found), label, static_cast<int>(expected));
}

void CMN_ReportNoMemory(CodeSite where) {
  RPT_Bug("Unable to Allocate Memory: %s %d", where.file, where.line);
}

void CMN_ReportUnparsed(const char* what, CodeSite where) {
  RPT_BugAtLine("Unable to Parse %s: %s %d", what, where.file,
                where.line);
}

void CMN_ReportIllegalKeyword(CodeSite where) {
  RPT_BugAtLine("%s:%d:Illegal keyword.", where.file, where.line);
}

namespace {

void report_section_bug(const char* text, BugForm form, const CodeSite& where) {
  switch (form) {
    case BugForm::Plain: RPT_Bug("%s", text); break;
    case BugForm::AtLine: RPT_BugAtLine("%s", text); break;
    case BugForm::Located:
      RPT_BugAtLine("%s:%d:%s", where.file, where.line, text);
      break;
  }
}

}  // namespace

bool CMN_SectionTakesLine(LineKind kind, bool owned, bool open, const SectionWords& words,
                          CodeSite where) {
  if (kind != LineKind::Keyword && kind != LineKind::Data) {
    report_section_bug(words.bad_line_kind, words.bug_form, where);
    return false;
  }
  if (!owned) {
    report_section_bug(words.bad_keyword, words.bug_form, where);
    return false;
  }
  if (!open) {
    RPT_ErrorAtLine("%s", kind == LineKind::Keyword ? words.orphan_keyword : words.orphan_data);
    return false;
  }
  return true;
}

void cmn_report_no_document(const SectionWords& words, const CodeSite& where) {
  TARN_ASSERT(words.no_document != nullptr);
  report_section_bug(words.no_document, words.no_document_form, where);
}

void cmn_report_no_record(const SectionWords& words, const CodeSite& where) {
  if (words.no_record) RPT_ErrorAtLine("%s", words.no_record);
  else CMN_ReportNoMemory(where);
}

}  // namespace tarn
