// Line reader and keyword dispatcher: reads a source line by line, recognises keywords in the
// table of the IBIS version in force and hands every line to the section that owns it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

/// The sections a keyword can belong to. Top: a keyword of a later IBIS version that stands
/// outside every section of IBIS 3.2 ([Test Data], [External Circuit]...).
enum class Section : uint8_t {
  Reader, Header, Component, Model, PackageModel, Board, Selector, Submodel, Top, None
};

/// The keyword tables: IBIS 2.1, IBIS 3.2, and 3.2 with the keywords of later versions up to
/// the one the file declares.
enum class KeywordTable : uint8_t { V21, V32, Newer };

struct KeywordRow {
  std::string_view name;  // underscores for blanks; upper case up to 3.2, later ones as IBIS spells them
  Kw code;
  Section section;  // for a later keyword, the section whose data it belongs to
  uint8_t since;    // the first table that lists it: 21, 32, or a later version (10 x major + minor)
};

/// The keyword table in code order ([Comment Char] stands just before [End]); a keyword that
/// recurs in another section is listed again with its own code, after its first row.
extern const KeywordRow kKeywordRows[];
extern const size_t kKeywordRowCount;

/// The section that owns a keyword code (None for NOT_KEY).
Section PRS_SectionOf(Kw code);
/// Whether `code` is a keyword of a later version that belongs to `section`, so that the
/// section stays open across it.
bool PRS_NewerIn(Kw code, Section section);
/// The table row of a code, or null.
const KeywordRow* PRS_KeywordRow(Kw code);
/// The code of a keyword line in the table in force, without reporting anything and without
/// the adjustments by context; 0 when it names no keyword.
[[nodiscard]] int PRS_FindKeyword(std::string_view line, Kw* code_out);

/// Reader of physical lines with the illegal-character rules, over an open file (read in
/// chunks) or over a text held in memory (walked in place).
class LineSource {
 public:
  explicit LineSource(std::FILE* file, bool report = true);
  explicit LineSource(std::string_view text, bool report = true);
  LineSource(const LineSource&) = delete;
  LineSource& operator=(const LineSource&) = delete;
  ~LineSource();

  /// One physical line into `buffer` (at most size - 1 characters, the line feed kept when
  /// there is room, NUL-terminated). Returns the length stored, or -1 at end of file.
  long read_line(char* buffer, size_t size);

  /// What the pass that read the last line saw in the characters it stored.
  struct LineMarks {
    bool tab = false;
    size_t comment = std::string_view::npos;  // the first comment character
  };
  const LineMarks& marks() const { return marks_; }
  /// The comment character that the next lines mark (0: none).
  void set_comment(char comment) { comment_ = static_cast<unsigned char>(comment); }

 private:
  bool refill();
  int peek();
  void illegal(unsigned char c, bool room);

  std::FILE* file_ = nullptr;  // null: the whole text is in `data_`
  bool report_;
  std::unique_ptr<unsigned char[]> chunk_;
  const unsigned char* data_ = nullptr;  // the chunk, or the text
  size_t pos_ = 0;
  size_t end_ = 0;
  bool eof_ = false;
  unsigned char comment_ = 0;
  LineMarks marks_;
};

/// Reads one line through `source`; returns `buffer`, or nullptr at end of file.
char* PRS_ReadLine(char* buffer, size_t size, LineSource& source);

/// A source to read: the file `name`, or `text` read as though it were that file (no file is
/// opened for it; files it names are still looked for beside `name`).
struct SourceInput {
  const char* name = nullptr;
  std::optional<std::string_view> text;
};

/// Reads one file completely; 1 when it could be opened and was read, else 0.
int PRS_ReadFile(const char* name, FileKind kind);
/// The same for a source that may be held in memory.
int PRS_ReadSource(const SourceInput& input, FileKind kind);

/// Recognises the keyword of a keyword line (which begins with "["), adjusting recurring
/// keywords by the previous keyword, the file kind and the submodel context.
[[nodiscard]] int PRS_LookupKeyword(std::string_view line, KeywordTable table, Kw previous,
                                    Kw* code_out);
/// The table name of a code, for messages; only the IBIS 2.1 keywords have one.
std::string PRS_KeywordName(Kw code);

const std::string& PRS_GetFileName();
uint32_t PRS_GetLineNumber();
std::time_t PRS_GetFileTime();
FileKind PRS_GetFileKind();
Kw PRS_CurrentKeyword();
bool PRS_SubmodelContext();

/// The IBIS version code in force: below 3 the IBIS 2.1 rules, 3 the IBIS 3.2 rules.
void PRS_SetVersion(int version);
int PRS_GetVersion();

/// Set while a switch-group entry still lacks its closing "/".
void PRS_SetSwitchGroupOpen(bool open);
bool PRS_SwitchGroupOpen();

/// What the dispatcher does with a line, for tools that trace a reading.
enum class DispatchEvent : uint8_t { Init, Line, KeywordDone };
using DispatchObserver = void (*)(DispatchEvent event, Section section, LineKind kind, Kw code,
                                  std::string_view line);
/// Installs an observer of every section call (nullptr removes it).
void PRS_SetDispatchObserver(DispatchObserver observer);

/// Whether [IBIS Ver] prints the compatibility banner; a file read in the middle of another
/// keeps quiet, so the banner announces only the files the caller asked for.
void PRS_SetBannerEnabled(bool enabled);
bool PRS_BannerEnabled();

/// A reader setting that silences the illegal-character reports; off by default.
void PRS_SetSilenceIllegalChars(bool silence);

}  // namespace tarn
