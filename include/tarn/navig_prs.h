// CNavigPrs: a small table-driven parser for keyword texts (a stream of keywords, each
// followed by typed arguments, with comments and quoted strings), plus the engineering
// notation conversions the library shows at its boundary.
#pragma once

#include <array>
#include <fstream>
#include <ostream>

#include "tarn/export.h"

/// One row of a keyword table. A table is an array of rows ended by a row of length 0,
/// written as a brace list: `{"Pin", 3, 7, "tttnn", 3}, ..., {nullptr, 0, 0, nullptr, 0}`.
struct key_lookup {
  /// The keyword text, compared without regard to case.
  const char* keyword;
  /// Its length; a row only matches a word of exactly this length. 0 ends the table.
  int length;
  /// Handed through to `switch_func`.
  int tag;
  /// One character per argument: `+` number > 0, `>` number >= 0, `f` any number (all three
  /// stored as double), `t` quoted text, `p` integer >= 1, `n` integer >= 0, any other letter
  /// an integer; `*` starts a group repeated to the end, `?` makes the next item optional.
  const char* tmpl;
  /// Handed to `switch_func`; 0 only checks the arguments.
  int action;
};

/// One argument handed to `switch_func`: the member in use follows the template character.
union arg_val {
  double d;
  int i;
  char* s;
};

/// Table-driven keyword stream parser. Derive from it, pass a keyword table to `ut_parse`
/// and receive each correctly parsed keyword in `switch_func`.
class TARN_API CNavigPrs {
 public:
  /// Longest token kept, in characters; token buffers need one more byte for the NUL.
  static constexpr int kMaxToken = 2048;

  /// Token types returned by `get_token`.
  static constexpr int kTokEnd = 0;
  static constexpr int kTokText = 1;
  static constexpr int kTokWord = 2;
  static constexpr int kTokNumber = 3;
  static constexpr int kTokTooLong = 5;
  /// Pushed-back slot empty (never returned by a read).
  static constexpr int kTokNone = 99;

  /// Extra `got` codes handed to `Error`.
  static constexpr int kErrUnknownKeyword = 6;
  static constexpr int kErrOutOfRange = 7;
  static constexpr int kErrActionFailed = 8;

  /// Comment character "|", no stream, nothing pushed back.
  CNavigPrs() = default;
  /// Copies every member, the pushed-back token included.
  CNavigPrs(const CNavigPrs&) = default;
  CNavigPrs& operator=(const CNavigPrs&) = default;

  // The virtual members keep this order: derived classes built against the library rely
  // on the slots.
  virtual ~CNavigPrs() = default;

  /// Binds `s`, clears the end flag and the pushed-back token, and parses it with this
  /// class's keyword table in stop-on-error mode. 1 when no error was counted, else 0.
  virtual int ParseStream(std::ifstream& s);

  /// The next character of the input (0..255), or -1 at its end or on a read failure.
  /// Override it to parse from another source.
  virtual int ut_getc();

  /// Parses to the end of the input with `table`. `mode` 1 goes on after errors, 0 stops at
  /// the first error. Returns the number of errors reported, or -1 when memory ran out.
  virtual int ut_parse(key_lookup* table, int mode);

  /// Called once per error; does nothing here. `expected` is the token type wanted (1 text,
  /// 2 keyword, 3 number); `got` the type met, or 6 unknown keyword, 7 value out of range,
  /// 8 the action failed.
  virtual void Error(int line, int expected, int got, char* keyword, char* token);

  /// Called once per correctly parsed keyword whose row has an action. `args[0].s` is the
  /// keyword, `args[1]` to `args[count - 1]` the arguments in template order. The texts live
  /// until the call returns. 0 means success; anything else is reported as error 8.
  /// Here: 0 for action 0, -1 otherwise.
  virtual int switch_func(int action, arg_val* args, int tag, int line, int count);

  /// Restores the state of construction (comment character, end flag, pushed-back token);
  /// the bound stream stays bound, so reading goes on where it stood.
  void Reset();

  /// Compares without regard to ASCII case; 0 when equal. Otherwise (character of `b`)
  /// minus (character of `a`) at the first difference, taken as they stand. A null
  /// pointer reads as an empty text.
  static int ut_stricmp(const char* a, const char* b);

  /// Writes `text` between double quotes with each double quote doubled; null gives "".
  static void QuoteText(std::ostream& out, const char* text);

  /// Reads a number in engineering notation (`3.3n`, `10k`, `1.5M`): blanks, tabs and commas
  /// are skipped, a scale letter (f p n u m k M G T; only m/M are case-sensitive) ends the
  /// number and anything after it is ignored. Text that is no number gives 0.
  static double ut_eng2dbl(const char* text);

  /// Writes `value` in engineering notation, about `width` characters wide, into `dst` and
  /// returns `dst`. `dst` needs room for width + 2 characters and never fewer than 16:
  /// rounding can add a digit and values beyond the scale letters use exponent notation.
  static char* ut_dbl2eng(double value, int width, char* dst);

 protected:
  /// Reads one token into `buf` (kMaxToken + 1 bytes), adding the line feeds passed to
  /// `*line`, and returns its type.
  int get_token(int* line, char* buf);
  /// The pushed-back token when there is one (its line feeds added to `*line`), else a
  /// fresh one.
  int get_buf_token(int* line, char* buf);
  /// Reads one token ahead into the pushed-back slot when it is empty; returns its type.
  int get_next_token_type();
  /// Like `get_next_token_type`, also copying the token's text into `buf`.
  int ut_parse_get_next(char* buf);
  /// The first row matching `word` (exact length, case ignored), or null.
  key_lookup* parse_lookup(key_lookup* table, const char* word);
  void ut_parse_set_comchar(char c);
  /// Drops the pushed-back token.
  void ut_parse_clear_buffer();
  /// Makes every following read yield end of input, so `ut_parse` stops after the current
  /// keyword; `ut_parse_clear_buffer`, `Reset` or a new parse lift it.
  void ut_parse_stop();
  /// Skips tokens up to a word equal to one of `words` (case ignored) and leaves it pushed
  /// back. Returns its index, or -1 at end of input.
  int ut_parse_skip2keywds(int n, const char* const* words);
  /// Copies tokens to `out` up to a word equal to one of `words` (case ignored), which is
  /// left pushed back. Returns 0, or -1 at end of input.
  int ut_parse_copy2keywds(std::ostream& out, int n, const char* const* words);

  /// The input; bound by `ParseStream`, not owned.
  std::ifstream* m_stream = nullptr;
  /// Starts a comment running to the end of the line.
  char m_comChar = '|';
  /// 1 once the end of the input has been met.
  int m_end = 0;
  /// The token read ahead and not yet consumed.
  int m_pushType = kTokNone;
  std::array<char, kMaxToken + 1> m_pushText{};
  /// Line feeds passed while reading it; added to the line number when it is consumed.
  int m_pushLines = 0;

 private:
  /// Splits a positive value into a mantissa in [0.1, 1) and a decimal exponent.
  static void ut_sci(double value, double* mantissa, int* exponent);
};
