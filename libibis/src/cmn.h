// Common field parsing shared by every section: scaled numbers, NA, items, bounded texts,
// reserved words, R/L/C section items, source names and guarded allocation; the texts that
// several sections report and the start of each section's _Init and _Line. Below every
// reader module: it includes none of them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "libibis/src/defs.h"
#include "libibis/src/rpt.h"

namespace tarn {

// Texts that several sections report, each kept once here. The program-bug forms name the
// place that found the fault, as a bug report needs it.

/// A data line while no record of its section is open (in each section's wording).
inline constexpr char kOrphanDataLine[] = "Orphan Data Line.";
inline constexpr char kOrphanDataLineKeyword[] = "Orphan data line keyword.";
/// A line neither keyword nor data handed to a section, which names no module of its own.
inline constexpr char kIllegalLineType[] = "Illegal line type received.";
/// A data line under a keyword that takes none.
inline constexpr char kOrphanDataLineOfKeyword[] = "Orphan Data line.";
/// A subparameter or value line given a second time.
inline constexpr char kAlreadyDefinedForModel[] = "%s Already Defined For Model '%s'";
inline constexpr char kAlreadyDefinedForSubmodel[] = "%s Already Defined For Submodel '%s'";
/// A "name = value" line without its "=" or value.
inline constexpr char kInvalidLine[] = "Invalid %s Line";
/// A typ/min/max or delay column missing from a line.
inline constexpr char kNoValueProvided[] = "No %s Value Was Provided for %s";
inline constexpr char kModelNameTooLong[] = "Model Name Over %d Characters Long";
inline constexpr char kKeywordItemCount[] =
    "Incorrect Number of Line Items (%d) For Keyword %s: Expecting %d";

/// A line of `found` items where `expected` belong, the line named by `label`.
void CMN_ReportItemCount(size_t found, const char* label, size_t expected);
/// The place in the reader that found a program bug: the caller's file and line, taken where a
/// defaulted argument of this type is filled in. (std::source_location would do, but clang 14
/// with this standard library lacks it and the fuzz build uses clang.)
struct CodeSite {
  constexpr CodeSite(const char* f = __builtin_FILE(), int l = __builtin_LINE())
      : file(f), line(l) {}
  const char* file;
  int line;
};

/// Memory failed where a record or list was to grow.
void CMN_ReportNoMemory(CodeSite where = {});
/// A line the splitter could not take apart (memory), `what` naming the line.
void CMN_ReportUnparsed(const char* what,
                        CodeSite where = {});
/// A keyword routed to a section whose switch has no case for it.
void CMN_ReportIllegalKeyword(CodeSite where = {});

// The start of each section's _Init and _Line is shared; each section keeps its own words for
// the faults found there.

/// How a program bug is written: plainly, at the line being read, or at that line and prefixed
/// with the place in the code that found it.
enum class BugForm : int { Plain, AtLine, Located };

/// A section's words for the faults at the start of its _Init and _Line: no document to hold
/// a new record (null: the reader always has one), memory for the record (null: the common
/// memory bug), a line that is neither keyword nor data, a keyword the section does not own,
/// and a keyword or data line while none of its records is open.
struct SectionWords {
  BugForm bug_form;
  const char* no_document;
  BugForm no_document_form;
  const char* no_record;
  const char* bad_line_kind;
  const char* bad_keyword;
  const char* orphan_keyword;
  const char* orphan_data;
};

/// The common start of a section's _Line: true when the line is the section's to read;
/// otherwise its fault is reported in the section's words. `owned`: the section owns the
/// line's keyword; `open`: one of its records is open.
[[nodiscard]] bool CMN_SectionTakesLine(LineKind kind, bool owned, bool open,
                                        const SectionWords& words,
                                        CodeSite where = {});

/// The common start of a section's _Init: a new record at the end of `records` (null when
/// there is no document to hold it), or null once the fault is reported.
template <class T>
T* CMN_OpenRecord(std::vector<std::unique_ptr<T>>* records, const SectionWords& words,
                  CodeSite where = {});

/// Result of reading a scaled number.
enum NumberResult : int { kNumberInvalid = 0, kNumberValid = 1, kNumberSuspicious = 2 };

/// Scaled number such as 1.5n, 10mA or 2Meg: 0 invalid, 1 valid, 2 valid but a digit follows
/// the scale letter. The value is stored whenever the result is not 0.
[[nodiscard]] int CMN_ParseNumber(std::string_view text, double* value_out);
/// "NA" in any case gives 0.0 with the NA flag; otherwise as CMN_ParseNumber.
[[nodiscard]] int CMN_GetValueOrNA(std::string_view text, double* value_out, bool* is_na_out);
/// The reporting form: an empty text is absent; an invalid one is reported and gives 0.
int CMN_ParseValueField(std::string_view text, const char* label, const char* keyword,
                        double* value_out, ValueStatus* status_out);
/// The reporting form for a value that must be a number ("NA" is invalid): 1 and the value,
/// or 0 after the error; a digit after the scale letter is warned about.
[[nodiscard]] int CMN_ParseScaledField(std::string_view text, const char* label,
                                       const char* keyword, double* value_out);

/// An unsigned 32-bit count written as a scaled number: the results of CMN_ParseNumber, and
/// invalid for a negative, fractional or too large value.
[[nodiscard]] int CMN_ParseUnsigned(std::string_view text, uint32_t* value_out);
/// The value of a count keyword such as [Number Of Pins], named `label` in the findings.
/// 0 when the keyword is refused (a blank value, or `already_set`); otherwise 1 and the count,
/// which is 0 when it is bad.
[[nodiscard]] int CMN_ReadCount(std::string_view text, const char* label, bool already_set,
                                uint32_t* value_out);

/// The items of one data line. The views point into the line, so a list is used while the
/// line is; `found` may exceed the number stored.
struct ItemList {
  size_t max_items = 0;
  size_t found = 0;
  std::vector<std::string_view> items;

  size_t stored() const { return items.size(); }
  /// The i-th stored item, or an empty view where nothing was stored.
  std::string_view operator[](size_t i) const { return i < items.size() ? items[i] : std::string_view(); }
};

/// One item of a line of value-or-NA columns, read as CMN_GetValueOrNA reads it. An empty
/// text is an absent item.
struct ValueItem {
  std::string_view text;
  int result = kNumberValid;
  double value = 0.0;
  bool is_na = false;
};
/// Splits a line at blanks and tabs and reads its first `max_items` items as values, in one
/// pass and without reporting (items not on the line are left absent). Returns the number of
/// items found, which may exceed `max_items`.
size_t CMN_ScanValues(std::string_view line, size_t max_items, ValueItem* out);
/// The bulk of every table in one step: true when the line holds exactly `count` items, each
/// a number (not "NA") that reads without a finding and converts exactly, and their values
/// are in `out`. On false `out` is undefined and the line is read again by CMN_ScanValues.
[[nodiscard]] bool CMN_ScanPlainValues(std::string_view line, size_t count, double* out);
/// CMN_ParseValueField for an item that CMN_ScanValues has read.
inline int CMN_ReportValue(const ValueItem& item, const char* label, const char* keyword,
                           double* value_out, ValueStatus* status_out);

/// Splits a line at blanks and tabs; a `delimiter` (0 for none) also ends an item and is an
/// item of its own. Keeps the list's storage, so a reused list allocates nothing per line.
int CMN_SplitLine(std::string_view line, size_t max_items, char delimiter, ItemList* items_out);
void CMN_FreeItems(ItemList* items);
/// The first item CMN_SplitLine would give, without reading the rest of the line.
std::string_view CMN_FirstItem(std::string_view line, char delimiter);
/// The value of a "name = value" line split with "=" as an item: a count other than three is
/// reported (under `label`) and reading goes on; 0 when there are fewer than three items or
/// no "=" in second place, which each caller reports in its own words.
[[nodiscard]] int CMN_AssignedValue(const ItemList& items, const char* label,
                                    std::string_view* value_out);

/// The setting of a "name setting" line split into at most two items: 1 and the setting when
/// the line holds exactly two; otherwise the line is reported under `name` and 0.
[[nodiscard]] int CMN_SettingValue(const ItemList& items, const char* name,
                                   std::string_view* value_out);

/// A row of a table of names (Model_type, Polarity, Enable, Add Submodel modes,
/// Submodel_type). Each table is searched in order.
template <class Code>
struct NamedCode {
  std::string_view name;
  Code code;
};
/// Looks a setting up in `rows`: an exact match stores its code (1); a match only when case is
/// ignored is refused naming the table's spelling, and no match is refused (0). `what` names
/// the setting in the findings.
template <class Code>
[[nodiscard]] int CMN_LookupName(std::span<const NamedCode<Code>> rows, std::string_view value,
                                 const char* what, Code* out);

/// The name on the keyword line that opens a model, selector or submodel, from the items of the
/// text after the keyword, under the rules they share (`label`: "Model", "Sub Model"...): no
/// item is reported and gives an empty name; more items are reported and the first is taken; a
/// name over `limit` characters is reported and cut, which `*cut_out` tells.
std::string_view CMN_OpenerName(const ItemList& items, const char* label, size_t limit,
                                bool* cut_out);

/// Copies at most `limit` characters; warns when the text is too long or empty.
void CMN_CopyField(std::string* dest, std::string_view text, size_t limit, const char* keyword);
/// CMN_CopyField into an empty field (1); a second value is an error and is dropped (0).
[[nodiscard]] int CMN_SetOnce(std::string* dest, std::string_view text, size_t limit,
                              const char* keyword);

/// 0 when the text is one of GND, NC, POWER, NA (any case), else 1.
[[nodiscard]] int CMN_IsReservedWord(std::string_view text);
void CMN_CheckReservedWord(std::string_view text);

/// A keyword that takes no value and may appear once (labelled as in its findings): reports a
/// second one and any text after it, then marks it seen.
void CMN_MarkerKeyword(bool* seen, const char* label, std::string_view argument);

/// The per-character rules of a file name: capitals (unless `capitals_allowed`, as from IBIS
/// 7.0), characters a DOS name cannot hold, and every period after the first. Returns the
/// number of periods.
size_t CMN_CheckFileNameCharacters(std::string_view name, bool capitals_allowed);

// Pin lists of package models and boards: the list grows with the pins the file holds, never
// past the count it declares.

/// Whether one more pin may be stored after `stored` of `declared`; false (reported) if not.
[[nodiscard]] bool CMN_PinSlotFree(uint32_t declared, size_t stored);
/// Memory failed for a pin after the first.
void CMN_ReportPinNotAllocated();
void CMN_ReportDuplicatePin(std::string_view name);
/// Once the list ends: pins were expected but none came, or their count differs.
void CMN_CheckPinNamesFound(uint32_t declared, uint32_t found);
/// Warnings for a pin name that looks like a slip: it holds "=" or "/", or it is one of the
/// `words` that begin the other items of its line.
void CMN_WarnPinNameSyntax(std::string_view name, std::span<const std::string_view> words);

// Pin tables ([Pin] and the mapping keywords): the pin column has no header of its own.

/// The column count of a pin table's keyword line, `headers` split from the text after the
/// keyword: the headers plus one. A line without headers is reported under `keyword` and gives
/// false; a count other than `short_count` or `long_count` is reported under `count_label`.
[[nodiscard]] bool CMN_PinTableColumns(const ItemList& headers, const char* keyword,
                                       const char* count_label, int short_count, int long_count,
                                       int* columns_out);
/// Reports each header that is not the expected one at its place (compared without regard to
/// case): the first `required` always, the others as far as the line gives headers.
void CMN_CheckColumnHeaders(const ItemList& headers, std::span<const char* const> expected,
                            size_t required);
/// A name column of a row: `missing` is reported when the row lacks it (null for a column that
/// may be left out); otherwise it is copied as CMN_CopyField copies and checked against the
/// reserved words.
void CMN_CopyRowName(std::string* dest, std::string_view text, size_t limit, const char* label,
                     const char* missing);
/// A row with more items than its table has columns.
void CMN_ReportExtraColumns();

bool CMN_EqualNoCase(std::string_view a, std::string_view b);
bool CMN_EqualNoCaseN(std::string_view a, std::string_view b, size_t n);
/// A keyword name as written in a table (underscores) against a text where blanks stand
/// for underscores.
bool CMN_KeywordEqual(std::string_view name, std::string_view text);

/// Reports items after the keyword of a keyword line that takes none; the count given is the
/// number of items with the keyword counted as one.
void CMN_CheckKeywordAlone(std::string_view line, const char* label);

/// Cursor moves over a line; they never run past its end.
size_t CMN_SkipSpace(std::string_view text, size_t pos);
size_t CMN_SkipWord(std::string_view text, size_t pos);
std::string_view CMN_TrimRight(std::string_view text);
/// Position just past the first "]" and the white space after it; npos when there is none.
size_t CMN_SkipKeyword(std::string_view text);
/// The text of a keyword line after its keyword and white space (empty without a "]").
std::string_view CMN_KeywordArgument(std::string_view line);

/// One item of a package R/L/C section.
enum RlcToken : int {
  kRlcError = 0, kRlcLen = 1, kRlcR = 2, kRlcC = 3, kRlcL = 4, kRlcEndSection = 5, kRlcEndLine = 6
};
/// Reads Len=, R=, C=, L= or "/" from `text`; `rest_out` is what follows.
int CMN_ParseRlcToken(std::string_view text, double* value_out, std::string_view* rest_out);

/// Checks and completes a source file name for its kind and opens it for reading.
/// Returns the open file (nullptr on failure, reported where the name is at fault).
std::FILE* CMN_OpenSource(std::string_view name, FileKind kind, std::string* base_out,
                          std::string* full_out);
/// The same without opening: false when the name is at fault (reported).
[[nodiscard]] bool CMN_ResolveSource(std::string_view name, FileKind kind, std::string* base_out,
                                     std::string* full_out);
/// The directory part (with its separator) of the last source name resolved.
void CMN_SourceDirectory(std::string* text_out);
/// The name after the last path separator, with its extension cut.
std::string CMN_BaseName(std::string_view path);

/// The accessors' rule for a text field: 1 and the text when it is set, else 0.
[[nodiscard]] inline int CMN_GetText(const std::string& text, std::string_view* out) {
  TARN_ASSERT(out != nullptr);
  if (text.empty()) return 0;
  *out = text;
  return 1;
}

/// Guarded allocation: resizes `dest` to `count` elements; failure is reported and gives 0.
template <class T>
[[nodiscard]] int CMN_Alloc(std::vector<T>* dest, size_t count);
template <class T>
[[nodiscard]] int CMN_Realloc(std::vector<T>* dest, size_t count);

// ---------------------------------------------------------------------------------------------

int cmn_report_value(const ValueItem& item, const char* label, const char* keyword,
                     double* value_out, ValueStatus* status_out);

// A plain number or NA, the bulk of every table, is taken here; the rest is reported.
inline int CMN_ReportValue(const ValueItem& item, const char* label, const char* keyword,
                           double* value_out, ValueStatus* status_out) {
  if (item.text.empty() || item.result != kNumberValid)
    return cmn_report_value(item, label, keyword, value_out, status_out);
  TARN_ASSERT(value_out != nullptr && status_out != nullptr);
  *value_out = item.value;
  *status_out = item.is_na ? ValueStatus::NA : ValueStatus::Value;
  return 1;
}

void cmn_report_case_mismatch(const char* what, std::string_view value, std::string_view name);
void cmn_report_unknown_name(const char* what, std::string_view value);

template <class Code>
int CMN_LookupName(std::span<const NamedCode<Code>> rows, std::string_view value,
                   const char* what, Code* out) {
  TARN_ASSERT(what != nullptr && out != nullptr);
  for (const NamedCode<Code>& row : rows) {
    if (row.name == value) {
      *out = row.code;
      return 1;
    }
    if (CMN_EqualNoCase(row.name, value)) {
      cmn_report_case_mismatch(what, value, row.name);
      return 0;
    }
  }
  cmn_report_unknown_name(what, value);
  return 0;
}

void cmn_report_no_document(const SectionWords& words, const CodeSite& where);
void cmn_report_no_record(const SectionWords& words, const CodeSite& where);

template <class T>
T* CMN_OpenRecord(std::vector<std::unique_ptr<T>>* records, const SectionWords& words,
                  CodeSite where) {
  if (!records) {
    cmn_report_no_document(words, where);
    return nullptr;
  }
  try {
    records->push_back(std::make_unique<T>());
  } catch (const std::bad_alloc&) {
    cmn_report_no_record(words, where);
    return nullptr;
  }
  return records->back().get();
}

void cmn_report_alloc_failure(bool realloc, size_t count);

template <class T>
int cmn_resize(std::vector<T>* dest, size_t count, bool realloc) {
  TARN_ASSERT(dest != nullptr && count != 0);
  try {
    dest->resize(count);
  } catch (const std::bad_alloc&) {
    cmn_report_alloc_failure(realloc, count);
    return 0;
  } catch (const std::length_error&) {
    cmn_report_alloc_failure(realloc, count);
    return 0;
  }
  return 1;
}

template <class T>
int CMN_Alloc(std::vector<T>* dest, size_t count) {
  return cmn_resize(dest, count, false);
}
template <class T>
int CMN_Realloc(std::vector<T>* dest, size_t count) {
  return cmn_resize(dest, count, true);
}

}  // namespace tarn
