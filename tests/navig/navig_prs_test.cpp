#include "tarn/navig_prs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <filesystem>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string shortest(double v) {
  char buf[64];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, r.ptr);
}

// Logs each error as "<line> error <expected> <got> [<keyword>] [<token>]".
class LoggingPrs : public CNavigPrs {
 public:
  void Error(int line, int expected, int got, char* keyword, char* token) override {
    log.push_back(std::to_string(line) + " error " + std::to_string(expected) + " " + std::to_string(got) +
                  " [" + keyword + "] [" + token + "]");
  }
  std::vector<std::string> log;
};

// Parses from a string. A '\x01' in the text reads as a failed read (-1) without ending
// the text, to show that the end of input sticks.
class StringPrs : public LoggingPrs {
 public:
  explicit StringPrs(std::string text = "") : text_(std::move(text)) {}

  int ut_getc() override {
    if (pos_ >= text_.size()) return -1;
    const char c = text_[pos_++];
    return c == '\x01' ? -1 : static_cast<unsigned char>(c);
  }

  using CNavigPrs::get_buf_token;
  using CNavigPrs::get_next_token_type;
  using CNavigPrs::get_token;
  using CNavigPrs::parse_lookup;
  using CNavigPrs::ut_parse_clear_buffer;
  using CNavigPrs::ut_parse_copy2keywds;
  using CNavigPrs::ut_parse_get_next;
  using CNavigPrs::ut_parse_set_comchar;
  using CNavigPrs::ut_parse_skip2keywds;
  using CNavigPrs::ut_parse_stop;

  // Reads tokens to the end as "<line after it>:<type>:<text>", the end included.
  std::vector<std::string> tokens(int first_line = 1) {
    std::vector<std::string> out;
    int line = first_line;
    std::array<char, kMaxToken + 1> buf;
    for (int type = -1; type != kTokEnd;) {
      type = get_buf_token(&line, buf.data());
      out.push_back(std::to_string(line) + ":" + std::to_string(type) + ":" + buf.data());
    }
    return out;
  }


 private:
  std::string text_;
  size_t pos_ = 0;
};

constexpr int kActFail = 9;
constexpr int kActStop = 10;

// Records each call as "<line> call <tag> [<keyword>] <args>"; `kinds` says how to show the
// arguments (t text, d double, i int), its last letter standing for all further ones.
class RecordingPrs : public StringPrs {
 public:
  RecordingPrs(std::string text, std::string kinds) : StringPrs(std::move(text)), kinds_(std::move(kinds)) {}

  int switch_func(int action, arg_val* args, int tag, int line, int count) override {
    std::string s = std::to_string(line) + " call " + std::to_string(tag) + " [" + args[0].s + "]";
    for (int i = 1; i < count; ++i) {
      const char kind = kinds_.empty() ? 'i' : kinds_[std::min<size_t>(i - 1, kinds_.size() - 1)];
      if (kind == 't') s += std::string(" \"") + args[i].s + "\"";
      else if (kind == 'd') s += " " + shortest(args[i].d);
      else s += " " + std::to_string(args[i].i);
    }
    log.push_back(s);
    if (action == kActStop) ut_parse_stop();
    return action == kActFail ? 1 : 0;
  }

 private:
  std::string kinds_;
};

// ---------------------------------------------------------------------------------------
// Tokenizer

struct TokenCase {
  const char* name;
  std::string input;
  std::vector<std::string> tokens;
};

void PrintTo(const TokenCase& c, std::ostream* os) { *os << c.name; }

class Tokens : public testing::TestWithParam<TokenCase> {};

TEST_P(Tokens, ReadsTypesTextsAndLines) {
  StringPrs p(GetParam().input);
  EXPECT_EQ(p.tokens(), GetParam().tokens);
}

INSTANTIATE_TEST_SUITE_P(
    Navig, Tokens,
    testing::Values(
        TokenCase{"words_and_numbers", "Pin +1 -2 .5 1e3 abc x1 -x",
                  {"1:2:Pin", "1:3:+1", "1:3:-2", "1:3:.5", "1:3:1e3", "1:2:abc", "1:2:x1", "1:3:-x", "1:0:"}},
        TokenCase{"blanks_tabs_and_cr", " \t a\r\n\tb \r\n", {"1:2:a", "2:2:b", "3:0:"}},
        TokenCase{"line_feed_ending_a_token_is_counted", "a\nb\n\nc", {"2:2:a", "3:2:b", "4:2:c", "4:0:"}},
        TokenCase{"quoted_text", "\"a b\" x", {"1:1:a b", "1:2:x", "1:0:"}},
        TokenCase{"doubled_quote", "\"a\"\"b\" \"\"\"\"", {"1:1:a\"b", "1:1:\"", "1:0:"}},
        TokenCase{"empty_quoted_text", "\"\" x", {"1:1:", "1:2:x", "1:0:"}},
        TokenCase{"quoted_text_over_lines", "\"a\nb\"\nc", {"3:1:a\nb", "3:2:c", "3:0:"}},
        TokenCase{"character_after_closing_quote_dropped", "\"ab\"cd", {"1:1:ab", "1:2:d", "1:0:"}},
        TokenCase{"comment_character_inside_quotes_kept", "\"x|y\" z |comment \"q\"\nw",
                  {"1:1:x|y", "1:2:z", "2:2:w", "2:0:"}},
        TokenCase{"comment_character_inside_a_word_kept", "a|b", {"1:2:a|b", "1:0:"}},
        TokenCase{"comment_up_to_end_of_input", "a |c", {"1:2:a", "1:0:"}},
        TokenCase{"unterminated_quote", "\"abc", {"1:1:abc", "1:0:"}},
        TokenCase{"empty_input", "", {"1:0:"}},
        TokenCase{"failed_read_ends_input", "a\x01 b", {"1:2:a", "1:0:"}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(NavigTokens, LongTokensAreCutWholeAndReadingGoesOn) {
  const std::string limit(CNavigPrs::kMaxToken, 'a');
  const std::string quoted_long = std::string(CNavigPrs::kMaxToken, 'q') + "tail\nmore";
  StringPrs p(limit + " " + limit + "b next \"" + quoted_long + "\" after");
  EXPECT_EQ(p.tokens(), (std::vector<std::string>{"1:2:" + limit, "1:5:" + limit, "1:2:next",
                                                   "2:5:" + std::string(CNavigPrs::kMaxToken, 'q'),
                                                   "2:2:after", "2:0:"}));
}

TEST(NavigTokens, CommentCharacterCanBeChanged) {
  StringPrs p("a # b\n| c");
  p.ut_parse_set_comchar('#');
  EXPECT_EQ(p.tokens(), (std::vector<std::string>{"1:2:a", "2:2:|", "2:2:c", "2:0:"}));
}

TEST(NavigTokens, ResetResumesAfterEndAndStop) {
  StringPrs p("a\x01 b c");
  int line = 1;
  std::array<char, CNavigPrs::kMaxToken + 1> buf;
  EXPECT_EQ(p.get_token(&line, buf.data()), 2);
  EXPECT_EQ(p.get_token(&line, buf.data()), 0);
  p.Reset();
  EXPECT_EQ(p.get_buf_token(&line, buf.data()), 2);
  EXPECT_STREQ(buf.data(), "b");
  p.ut_parse_stop();
  EXPECT_EQ(p.get_buf_token(&line, buf.data()), 0);
  EXPECT_EQ(p.get_next_token_type(), 0);
  EXPECT_EQ(p.get_buf_token(&line, buf.data()), 0);
  p.Reset();
  EXPECT_EQ(p.tokens(), (std::vector<std::string>{"1:2:c", "1:0:"}));
}

TEST(NavigTokens, PeekKeepsTokenAndItsLinesUntilConsumed) {
  StringPrs p("a\n\"t\"\n\nb");
  std::array<char, CNavigPrs::kMaxToken + 1> buf{};
  EXPECT_EQ(p.get_next_token_type(), 2);
  EXPECT_EQ(p.get_next_token_type(), 2);  // a second peek reads nothing more
  EXPECT_EQ(p.ut_parse_get_next(buf.data()), 2);
  EXPECT_STREQ(buf.data(), "a");
  int line = 1;
  EXPECT_EQ(p.get_buf_token(&line, buf.data()), 2);
  EXPECT_STREQ(buf.data(), "a");
  EXPECT_EQ(line, 2);

  EXPECT_EQ(p.ut_parse_get_next(buf.data()), 1);
  EXPECT_STREQ(buf.data(), "t");
  StringPrs copy(p);
  StringPrs assigned;
  assigned = p;
  p.ut_parse_clear_buffer();  // dropped with the line feeds it passed
  EXPECT_EQ(p.tokens(line), (std::vector<std::string>{"3:2:b", "3:0:"}));
  EXPECT_EQ(copy.tokens(line), (std::vector<std::string>{"3:1:t", "4:2:b", "4:0:"}));
  EXPECT_EQ(assigned.tokens(line), (std::vector<std::string>{"3:1:t", "4:2:b", "4:0:"}));
}

// ---------------------------------------------------------------------------------------
// Text helpers and keyword lookup

TEST(NavigText, StricmpIgnoresCaseAndReturnsSecondMinusFirst) {
  struct Case {
    const char* a;
    const char* b;
    int result;
  };
  for (const Case& c : {Case{"abc", "ABC", 0}, Case{"Pin", "pIN", 0}, Case{"", "", 0}, Case{"abc", "abd", 1},
                        Case{"abd", "abc", -1}, Case{"ab", "abc", 'c'}, Case{"abc", "ab", -'c'},
                        Case{"A", "b", 'b' - 'A'}, Case{"a", "B", 'B' - 'a'}, Case{nullptr, "", 0},
                        Case{nullptr, "x", 'x'}}) {
    EXPECT_EQ(CNavigPrs::ut_stricmp(c.a, c.b), c.result) << (c.a ? c.a : "null") << " / " << c.b;
  }
}

TEST(NavigText, QuoteTextDoublesQuotes) {
  struct Case {
    const char* text;
    const char* quoted;
  };
  for (const Case& c : {Case{"abc", "\"abc\""}, Case{"a\"b", "\"a\"\"b\""}, Case{"\"", "\"\"\"\""},
                        Case{"", "\"\""}, Case{nullptr, "\"\""}}) {
    std::ostringstream out;
    CNavigPrs::QuoteText(out, c.text);
    EXPECT_EQ(out.str(), c.quoted);
  }
}

TEST(NavigLookup, MatchesExactLengthIgnoringCase) {
  key_lookup table[] = {
      {"Pin", 3, 1, "", 0},   {"Pins", 4, 2, "", 0}, {"Pin", 3, 3, "", 0},
      {"Model", 4, 4, "", 0},  // length does not fit the text: never matches
      {"R", 1, 5, "", 0},     {nullptr, 0, 0, nullptr, 0},
  };
  struct Case {
    const char* word;
    int tag;  // 0: no match
  };
  StringPrs p;
  for (const Case& c : {Case{"Pin", 1}, Case{"pin", 1}, Case{"PIN", 1}, Case{"pins", 2}, Case{"Pi", 0},
                        Case{"Pinsx", 0}, Case{"Model", 0}, Case{"Mode", 0}, Case{"r", 5}, Case{"", 0}}) {
    const key_lookup* row = p.parse_lookup(table, c.word);
    EXPECT_EQ(row ? row->tag : 0, c.tag) << c.word;
  }
  key_lookup empty[] = {{"Pin", 0, 1, "", 0}};
  EXPECT_EQ(p.parse_lookup(empty, "Pin"), nullptr);
}

// ---------------------------------------------------------------------------------------
// Templates

struct TemplateCase {
  const char* name;
  const char* tmpl;
  std::string input;
  const char* kinds;
  std::vector<std::string> log;
};

void PrintTo(const TemplateCase& c, std::ostream* os) { *os << c.name; }

class Templates : public testing::TestWithParam<TemplateCase> {};

TEST_P(Templates, StoreAndCheckArguments) {
  const TemplateCase& c = GetParam();
  key_lookup table[] = {{"Kw", 2, 1, c.tmpl, 1}, {"Next", 4, 2, "", 2}, {nullptr, 0, 0, nullptr, 0}};
  RecordingPrs p(c.input, c.kinds);
  const int errors = p.ut_parse(table, 1);
  EXPECT_EQ(p.log, c.log);
  int expected_errors = 0;
  for (const auto& l : c.log) expected_errors += l.find(" error ") != std::string::npos;
  EXPECT_EQ(errors, expected_errors);
}

INSTANTIATE_TEST_SUITE_P(
    Navig, Templates,
    testing::Values(
        TemplateCase{"plus_scaled", "+", "Kw 10k Next", "d", {"1 call 1 [Kw] 10000", "1 call 2 [Next]"}},
        TemplateCase{"plus_zero", "+", "Kw 0 Next", "d", {"1 error 3 7 [Kw] [0]", "1 call 2 [Next]"}},
        TemplateCase{"plus_negative", "+", "Kw -1m Next", "d", {"1 error 3 7 [Kw] [-1m]", "1 call 2 [Next]"}},
        TemplateCase{"ge_zero", ">", "Kw 0 Next", "d", {"1 call 1 [Kw] 0", "1 call 2 [Next]"}},
        TemplateCase{"ge_negative", ">", "Kw -1 Next", "d", {"1 error 3 7 [Kw] [-1]", "1 call 2 [Next]"}},
        TemplateCase{"f_any_number", "f", "Kw -1.5m Next", "d", {"1 call 1 [Kw] -0.0015", "1 call 2 [Next]"}},
        TemplateCase{"f_given_text", "f", "Kw \"x\" Next", "d", {"1 error 3 1 [Kw] [x]", "1 call 2 [Next]"}},
        TemplateCase{"f_given_word", "f", "Kw abc Next", "d", {"1 error 3 2 [Kw] [abc]", "1 call 2 [Next]"}},
        TemplateCase{"t_text", "t", "Kw \"a b\" Next", "t", {"1 call 1 [Kw] \"a b\"", "1 call 2 [Next]"}},
        TemplateCase{"t_given_number", "t", "Kw 5 Next", "t", {"1 error 1 3 [Kw] [5]", "1 call 2 [Next]"}},
        TemplateCase{"p_one", "p", "Kw 1 Next", "i", {"1 call 1 [Kw] 1", "1 call 2 [Next]"}},
        TemplateCase{"p_zero", "p", "Kw 0 Next", "i", {"1 error 3 7 [Kw] [0]", "1 call 2 [Next]"}},
        TemplateCase{"p_leading_digits", "p", "Kw 2.9 Next", "i", {"1 call 1 [Kw] 2", "1 call 2 [Next]"}},
        TemplateCase{"n_zero", "n", "Kw 0", "i", {"1 call 1 [Kw] 0"}},
        TemplateCase{"n_negative", "n", "Kw -1", "i", {"1 error 3 7 [Kw] [-1]"}},
        TemplateCase{"n_given_text", "n", "Kw \"3\"", "i", {"1 error 3 1 [Kw] [3]"}},
        TemplateCase{"other_letter_any_integer", "i", "Kw -5", "i", {"1 call 1 [Kw] -5"}},
        TemplateCase{"other_letter_ignores_scale", "i", "Kw 3k", "i", {"1 call 1 [Kw] 3"}},
        TemplateCase{"several_items", "tfn", "Kw \"a\" 1.5 3 Next", "tdi",
                     {"1 call 1 [Kw] \"a\" 1.5 3", "1 call 2 [Next]"}},
        TemplateCase{"missing_at_end", "ff", "Kw 1", "d", {"1 error 3 0 [Kw] []"}},
        TemplateCase{"keyword_taken_as_missing_argument", "ff", "Kw 1\nNext 2", "d",
                     {"2 error 3 2 [Kw] [Next]"}},
        TemplateCase{"optional_absent", "t?n", "Kw \"a\" Next", "ti", {"1 call 1 [Kw] \"a\"", "1 call 2 [Next]"}},
        TemplateCase{"optional_repeats", "t?n", "Kw \"a\" 1 2 3 Next", "ti",
                     {"1 call 1 [Kw] \"a\" 1 2 3", "1 call 2 [Next]"}},
        TemplateCase{"optional_first_absent", "?ft", "Kw \"x\" Next", "t", {"1 call 1 [Kw] \"x\"", "1 call 2 [Next]"}},
        TemplateCase{"optional_first_present", "?ft", "Kw 1 2 \"x\"", "ddt", {"1 call 1 [Kw] 1 2 \"x\""}},
        TemplateCase{"optional_still_range_checked", "?p", "Kw 1 0 Next", "i",
                     {"1 error 3 7 [Kw] [0]", "1 call 2 [Next]"}},
        TemplateCase{"group_of_pairs", "t*ff", "Kw \"a\" 1 2 3 4 Next", "td",
                     {"1 call 1 [Kw] \"a\" 1 2 3 4", "1 call 2 [Next]"}},
        TemplateCase{"group_cut_short", "t*ff", "Kw \"a\" 1 2 3 Next", "td", {"1 error 3 2 [Kw] [Next]"}},
        TemplateCase{"group_of_texts", "*t", "Kw \"a\" \"b\" \"c\" Next", "t",
                     {"1 call 1 [Kw] \"a\" \"b\" \"c\"", "1 call 2 [Next]"}},
        TemplateCase{"group_needs_one_round", "*t", "Kw Next", "t", {"1 error 1 2 [Kw] [Next]"}},
        TemplateCase{"group_repeats_on_its_first_item", "n*tf", "Kw 2 \"a\" 1 \"b\" 2 3 Next", "itdtd",
                     {"1 call 1 [Kw] 2 \"a\" 1 \"b\" 2", "1 error 2 3 [3] [3]", "1 call 2 [Next]"}},
        TemplateCase{"empty_group_never_repeats", "f*", "Kw 1 2 Next", "d",
                     {"1 call 1 [Kw] 1", "1 error 2 3 [2] [2]", "1 call 2 [Next]"}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(NavigParse, ManyGroupTextsAllReachTheAction) {
  // Enough text to grow the argument buffers many times over.
  std::string input = "Kw";
  for (int i = 0; i < 3000; ++i) input += " \"text number " + std::to_string(i) + "\"";
  key_lookup table[] = {{"Kw", 2, 1, "*t", 1}, {nullptr, 0, 0, nullptr, 0}};
  RecordingPrs p(input, "t");
  EXPECT_EQ(p.ut_parse(table, 1), 0);
  ASSERT_EQ(p.log.size(), 1u);
  const std::string& call = p.log[0];
  EXPECT_TRUE(call.starts_with("1 call 1 [Kw] \"text number 0\" \"text number 1\" ")) << call.substr(0, 80);
  EXPECT_TRUE(call.ends_with(" \"text number 2998\" \"text number 2999\"")) << call.substr(call.size() - 80);
  EXPECT_EQ(std::count(call.begin(), call.end(), '"'), 6000);
}

// ---------------------------------------------------------------------------------------
// Modes, error reporting and actions

struct ModeCase {
  const char* name;
  int mode;
  std::string input;
  std::vector<std::string> log;
  int errors;
};

void PrintTo(const ModeCase& c, std::ostream* os) { *os << c.name; }

class Modes : public testing::TestWithParam<ModeCase> {};

TEST_P(Modes, ReportAndRecover) {
  key_lookup table[] = {
      {"Kw", 2, 1, "f", 1},    {"Quiet", 5, 3, "n", 0},       {"Fail", 4, 4, "", kActFail},
      {"Stop", 4, 5, "", kActStop}, {nullptr, 0, 0, nullptr, 0},
  };
  const ModeCase& c = GetParam();
  RecordingPrs p(c.input, "d");
  EXPECT_EQ(p.ut_parse(table, c.mode), c.errors);
  EXPECT_EQ(p.log, c.log);
}

INSTANTIATE_TEST_SUITE_P(
    Navig, Modes,
    testing::Values(
        ModeCase{"continue_after_errors", 1, "Kw abc\nQuiet -1\nkW 2\n",
                 {"2 error 3 2 [Kw] [abc]", "3 error 3 7 [Quiet] [-1]", "4 call 1 [kW] 2"}, 2},
        ModeCase{"stop_at_first_error", 0, "Kw abc\nQuiet -1\nKw 2\n", {"2 error 3 2 [Kw] [abc]"}, 1},
        ModeCase{"unknown_keyword_and_its_arguments_skipped", 1, "Bogus 1 \"x\" Other\nKw 1",
                 {"1 error 2 6 [Bogus] [Bogus]", "2 call 1 [Kw] 1"}, 1},
        ModeCase{"prefix_of_keyword_unknown", 1, "K 1 Kw 2", {"1 error 2 6 [K] [K]", "1 call 1 [Kw] 2"}, 1},
        ModeCase{"unknown_keyword_stops", 0, "Kw 1 Bogus Kw 2", {"1 call 1 [Kw] 1", "1 error 2 6 [Bogus] [Bogus]"}, 1},
        ModeCase{"number_where_keyword_expected", 1, "5 \"t\" 6 Kw 1", {"1 error 2 3 [5] [5]", "1 call 1 [Kw] 1"}, 1},
        ModeCase{"text_where_keyword_expected", 0, "\"t\" Kw 1", {"1 error 2 1 [t] [t]"}, 1},
        ModeCase{"action_failed", 1, "Fail Kw 1", {"1 call 4 [Fail]", "1 error 2 8 [Fail] [Fail]", "1 call 1 [Kw] 1"}, 1},
        ModeCase{"action_failed_stops", 0, "Fail Kw 1", {"1 call 4 [Fail]", "1 error 2 8 [Fail] [Fail]"}, 1},
        ModeCase{"no_action_only_checks", 1, "Quiet 3 Quiet -3 Kw 1",
                 {"1 error 3 7 [Quiet] [-3]", "1 call 1 [Kw] 1"}, 1},
        ModeCase{"action_stops_the_parse", 1, "Kw 1 Stop Kw 2 Bogus", {"1 call 1 [Kw] 1", "1 call 5 [Stop]"}, 0},
        ModeCase{"comments_and_lines", 1, "| header\nKw 1 | one\n\nKw x\n",
                 {"2 call 1 [Kw] 1", "5 error 3 2 [Kw] [x]"}, 1},
        ModeCase{"empty_input", 0, "", {}, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(NavigParse, LongKeywordReportedAsTooLong) {
  const std::string word(CNavigPrs::kMaxToken + 1, 'K');
  key_lookup table[] = {{"Kw", 2, 1, "", 1}, {nullptr, 0, 0, nullptr, 0}};
  RecordingPrs p(word + " Kw", "");
  EXPECT_EQ(p.ut_parse(table, 1), 1);
  EXPECT_EQ(p.log, (std::vector<std::string>{"1 error 2 5 [" + word.substr(1) + "] [" + word.substr(1) + "]",
                                              "1 call 1 [Kw]"}));
}

TEST(NavigParse, BaseActionFailsForAnyActionButZero) {
  key_lookup table[] = {{"Check", 5, 1, "n", 0}, {"Act", 3, 2, "n", 7}, {nullptr, 0, 0, nullptr, 0}};
  StringPrs p("Check 1 Act 2 Check 3");
  EXPECT_EQ(p.ut_parse(table, 1), 1);
  EXPECT_EQ(p.log, (std::vector<std::string>{"1 error 2 8 [Act] [Act]"}));
}

// ParseStream reads a real file with the class's own, empty, keyword table.
TEST(NavigParse, ParseStreamStopsAtFirstErrorOfTheFile) {
  struct Case {
    std::string content;
    int result;
    std::vector<std::string> log;
  };
  const auto path = std::filesystem::temp_directory_path() /
                    ("navig_prs_test_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + ".txt");
  for (const Case& c : {Case{"", 1, {}}, Case{"| only a comment\n", 1, {}},
                        Case{"\n\nPin 1\nModel 2\n", 0, {"3 error 2 6 [Pin] [Pin]"}}}) {
    std::ofstream(path) << c.content;
    std::ifstream in(path);
    LoggingPrs p;
    EXPECT_EQ(p.ParseStream(in), c.result) << c.content;
    EXPECT_EQ(p.log, c.log);
  }
  std::filesystem::remove(path);

  std::ifstream missing(path);
  CNavigPrs p;
  EXPECT_EQ(p.ParseStream(missing), 1);  // a stream that fails reads as empty
}

// ---------------------------------------------------------------------------------------
// Skipping and copying to keywords

TEST(NavigSkip, SkipsToAnyOfTheWordsAndLeavesItPushedBack) {
  StringPrs p("a 1 \"Model\" model_x\n MODEL rest");
  const char* words[] = {"Typ_Model", "Model"};
  EXPECT_EQ(p.ut_parse_skip2keywds(2, words), 1);
  EXPECT_EQ(p.ut_parse_skip2keywds(2, words), 1);  // already there
  EXPECT_EQ(p.tokens(), (std::vector<std::string>{"1:2:MODEL", "1:2:rest", "1:0:"}));
  const char* none[] = {"none"};
  StringPrs q("a b c");
  EXPECT_EQ(q.ut_parse_skip2keywds(1, none), -1);
}

TEST(NavigSkip, CopiesTokensUpToTheWord) {
  StringPrs p("Kw 1.5 \"a\"\"b\" x\n  Typ_Model 2 \"c\"");
  const char* words[] = {"typ_model"};
  std::ostringstream out;
  EXPECT_EQ(p.ut_parse_copy2keywds(out, 1, words), 0);
  EXPECT_EQ(out.str(), "\nKw 1.5 \"a\"\"b\" \nx ");
  std::array<char, CNavigPrs::kMaxToken + 1> buf{};
  EXPECT_EQ(p.ut_parse_get_next(buf.data()), 2);
  EXPECT_STREQ(buf.data(), "Typ_Model");

  const char* none[] = {"none"};
  std::ostringstream rest;
  EXPECT_EQ(p.ut_parse_copy2keywds(rest, 1, none), -1);
  EXPECT_EQ(rest.str(), "\nTyp_Model 2 \"c\" ");
}

// ---------------------------------------------------------------------------------------
// Engineering notation

TEST(NavigEng, ReadsScaleLettersAndPlainNumbers) {
  struct Case {
    const char* text;
    double value;
  };
  const double inf = std::numeric_limits<double>::infinity();
  for (const Case& c : {
           Case{"1.5M", 1.5e6},   Case{"1.5m", 1.5e-3},   Case{"10kOhm", 1e4},     Case{"10K", 1e4},
           Case{"3.3n", 3.3e-9},  Case{"3.3N", 3.3e-9},   Case{"2p", 2e-12},       Case{"2P", 2e-12},
           Case{"1f", 1e-15},     Case{"1F", 1e-15},      Case{"4u", 4e-6},        Case{"4U", 4e-6},
           Case{"1g", 1e9},       Case{"1G", 1e9},        Case{"2t", 2e12},        Case{"2T", 2e12},
           Case{"0.5k", 500},     Case{"5mV", 5e-3},      Case{"1a", 1},           Case{"1,000.5", 1000.5},
           Case{" 2 5", 25},      Case{"\t-3", -3},       Case{"+2.5", 2.5},       Case{"1e3", 1000},
           Case{"1E-3", 1e-3},    Case{"1e3k", 1000},     Case{"1x5", 1},          Case{"1.5e", 1.5},
           Case{"abc", 0},        Case{"", 0},            Case{"-", 0},            Case{"+-1", 0},
           Case{"..5", 0},        Case{"nan", 0},         Case{"inf", 0},          Case{"1e400", inf},
           Case{"-1e400", -inf},  Case{"1e-400", 0},      Case{"-1e-400", 0},
           Case{"12345678901234567890123456789012345678901234567890", 1.2345678901234567890123456789e49},
       }) {
    EXPECT_EQ(CNavigPrs::ut_eng2dbl(c.text), c.value) << c.text;
  }
  EXPECT_EQ(CNavigPrs::ut_eng2dbl(nullptr), 0);
}

TEST(NavigEng, WritesFixedWidthEngineeringNotation) {
  struct Case {
    double value;
    int width;
    const char* text;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  for (const Case& c : {
           Case{0.0033, 8, " 3.3000m"}, Case{3.3, 8, " 3.30000"}, Case{-3.3, 8, "-3.30000"},
           Case{33, 8, " 33.0000"}, Case{3300, 8, " 3.3000k"}, Case{330000, 8, " 330.00k"},
           Case{0.33, 8, " 330.00m"}, Case{-0.047, 8, "-47.000m"}, Case{4.7e12, 8, " 4.7000T"},
           Case{2.2e9, 8, " 2.2000G"}, Case{1e6, 8, " 1.0000M"}, Case{6.8e-6, 8, " 6.8000u"},
           Case{1e-9, 8, " 1.0000n"}, Case{1.5e-12, 8, " 1.5000p"}, Case{1.5e-15, 8, " 1.5000f"},
           Case{2e-18, 8, " 2.0000a"}, Case{0, 8, " 0.00000"}, Case{-0.0, 8, " 0.00000"},
           Case{999.9999, 8, " 1.0000k"}, Case{999.995, 8, " 1.0000k"}, Case{999.985, 8, " 999.985"},
           Case{3.3, 5, " 3.30"}, Case{3.3e-3, 5, " 3.3m"}, Case{330e3, 5, " 330k"}, Case{330, 5, " 330"},
           Case{9.96e-3, 5, " 10.0m"}, Case{3.3, 12, " 3.300000000"}, Case{3.3e3, 12, " 3.30000000k"},
           Case{1e20, 8, " 1.000000e+20"}, Case{1e20, 16, " 1.000000e+20   "}, Case{1e15, 8, " 1.000000e+15"},
           Case{-2.5e-20, 14, "-2.500000e-20 "}, Case{1e-19, 8, " 1.000000e-19"},
           Case{1e300, 8, " 1.000000e+300"}, Case{3.3, 4, "***"}, Case{3.3, 2, "**"}, Case{3.3, 0, ""},
           Case{3.3, -1, ""}, Case{nan, 4, "***"}, Case{nan, 8, "NaN "}, Case{inf, 8, "NaN "},
           Case{-inf, 5, "NaN "},
       }) {
    char dst[64];
    std::fill(std::begin(dst), std::end(dst), 'x');
    EXPECT_EQ(CNavigPrs::ut_dbl2eng(c.value, c.width, dst), dst);
    EXPECT_STREQ(dst, c.text) << c.value << " width " << c.width;
  }
}

// A host program may run under a comma-decimal locale; numbers must not notice.
struct CommaDecimal : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
};

TEST(NavigEng, NumbersIgnoreTheHostLocale) {
  const std::locale old_global = std::locale::global(std::locale(std::locale::classic(), new CommaDecimal));
  std::string old_c = std::setlocale(LC_NUMERIC, nullptr);
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE"}) {
    if (std::setlocale(LC_NUMERIC, name) != nullptr) break;
  }
  char dst[32];
  EXPECT_STREQ(CNavigPrs::ut_dbl2eng(3.3, 8, dst), " 3.30000");
  EXPECT_STREQ(CNavigPrs::ut_dbl2eng(1e20, 8, dst), " 1.000000e+20");
  EXPECT_EQ(CNavigPrs::ut_eng2dbl("3.3k"), 3300);

  key_lookup table[] = {{"Kw", 2, 1, "f", 1}, {nullptr, 0, 0, nullptr, 0}};
  RecordingPrs p("Kw 2.5", "d");
  EXPECT_EQ(p.ut_parse(table, 1), 0);
  EXPECT_EQ(p.log, (std::vector<std::string>{"1 call 1 [Kw] 2.5"}));

  std::setlocale(LC_NUMERIC, old_c.c_str());
  std::locale::global(old_global);
}

}  // namespace
