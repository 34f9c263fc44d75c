#include "libibis/src/parse.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "libibis/src/ibis.h"
#include "report_fixture.h"

namespace tarn {
namespace {

using test::read_lines;
using Events = std::vector<std::string>;

const char* section_name(Section s) {
  switch (s) {
    case Section::Header: return "Header";
    case Section::Component: return "Component";
    case Section::Model: return "Model";
    case Section::PackageModel: return "PackageModel";
    case Section::Board: return "Board";
    case Section::Submodel: return "Submodel";
    default: return "?";
  }
}

Events* g_trace = nullptr;

void record(DispatchEvent event, Section section, LineKind kind, Kw code, std::string_view line) {
  const char* e = event == DispatchEvent::Init ? "init "
                  : event == DispatchEvent::KeywordDone ? "done "
                  : kind == LineKind::Keyword ? "key " : "data ";
  g_trace->push_back(e + std::string(section_name(section)) + " " + std::to_string(kw_int(code)) +
                     (line.empty() ? "" : " " + std::string(line)));
}

// Reads a fixture and records every call the dispatcher makes into the sections.
struct Traced {
  Events events;
  std::string report;
  bool has(const std::string& e) const {
    return std::find(events.begin(), events.end(), e) != events.end();
  }
  Events keys() const {
    Events seen;
    for (const auto& e : events)
      if (e.rfind("key ", 0) == 0) seen.push_back(e);
    return seen;
  }
};

Traced trace(std::string_view text, std::string_view name = "t.ibs", int version = 3) {
  Traced t;
  g_trace = &t.events;
  PRS_SetDispatchObserver(record);
  t.report = read_lines(text, name, version).report;
  PRS_SetDispatchObserver(nullptr);
  g_trace = nullptr;
  return t;
}

TEST(LineReader, IllegalCharactersAreReportedAtThePreviousLine) {
  const std::string text = std::string("[IBIS Ver] 3.2\x01\n") +  // line 1: reported at line 0
                           "[Notes] a" + std::string(1, '\0') + "b\n" +   // line 2
                           "x\xE9y\n" +                                 // line 3
                           "c\rd\n" +                                   // lone CR, line 4
                           "e\x1A" "f\n" +                              // control-Z inside
                           "[End]\r\n\x1A";                            // control-Z at the end
  const auto r = read_lines(text);
  EXPECT_EQ(r.report,
            "WARNING t.ibs (line    0) -\n"
            "    Found illegal control character (Hex code 1).  Converting to space.\n"
            "ERROR t.ibs (line    1) -\n"
            "    Found illegal NUL character (Hex code 0).  Converting to space.\n"
            "ERROR t.ibs (line    2) - Found illegal non-7-bit ASCII character (Hex code e9).  "
            "Converting to space.\n"
            "WARNING t.ibs (line    3) -\n"
            "    Found illegal control character (Hex code d).  Converting to space.\n"
            "WARNING t.ibs (line    4) -\n"
            "    Found illegal control character (Hex code 1a).  Converting to space.\n");
  EXPECT_EQ(PRS_GetLineNumber(), 6u);
  const FileHeader* h = nullptr;
  ASSERT_EQ(IBIS_GetHeader(r.document.get(), &h), 1);
  EXPECT_EQ(*h->notes, "a b\nx y\nc d\ne f");  // each illegal character became a blank
}

TEST(LineReader, LineLengthLimits) {
  const std::string warning =
      "WARNING t.ibs (line    2) - Exceeds official IBIS maximum length of 80 chararacters.\n";
  const std::string error = "ERROR t.ibs (line    2) - Exceeds 1022 chararacters.\n";
  for (const auto& [length, expected] : std::vector<std::pair<size_t, std::string>>{
           {80, ""}, {81, warning}, {1022, warning}, {1023, error}}) {
    const std::string line = "| " + std::string(length - 2, 'c');
    EXPECT_EQ(read_lines("[IBIS Ver] 3.2\n" + line + "\n[End]\n").report, expected) << length;
    EXPECT_EQ(PRS_GetLineNumber(), 3u);
  }
  // What lies beyond the buffer is consumed, and its characters still checked.
  const auto r = read_lines("[IBIS Ver] 3.2\n[Notes] " + std::string(1400, 'a') + "\x80" +
                            std::string(100, 'b') + "\n[End]\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    1) - Found illegal non-7-bit ASCII character (Hex code 80).\n"
            "ERROR t.ibs (line    2) - Exceeds 1022 chararacters.\n");
  EXPECT_EQ(PRS_GetLineNumber(), 3u);
  const FileHeader* h = nullptr;
  ASSERT_EQ(IBIS_GetHeader(r.document.get(), &h), 1);
  EXPECT_EQ(h->notes->size(), 1023u - 8u);  // the stored part of the line, after "[Notes] "
}

TEST(LineReader, TabsLastLineEmptyAndMissingFiles) {
  const std::string tabs = "[IBIS Ver]\t3.2\n[File Rev]\t1.0\n[End]\n";
  EXPECT_EQ(read_lines(tabs).report,
            "WARNING t.ibs (line    1) - IBIS files should not contain tab characters.\n");
  EXPECT_EQ(read_lines(tabs).report, "");  // once a process
  EXPECT_EQ(read_lines("[IBIS Ver] 3.2\r\n[End]").report, "");
  EXPECT_EQ(PRS_GetLineNumber(), 2u);
  EXPECT_EQ(read_lines("").report, "ERROR t.ibs - Required keyword 'End' not found.\n");
  EXPECT_EQ(PRS_GetLineNumber(), 0u);
  test::MemStream out;
  RPT_SetStream(out.get());
  EXPECT_EQ(PRS_ReadFile("no-such-file.ibs", FileKind::Ibs), 0);
  RPT_SetStream(nullptr);
  EXPECT_EQ(out.text(), "");
}

// Each kind of character at every place of a line (within and across the words the reader
// looks at together): what is stored, and where the tab and the first comment character are.
TEST(LineReader, CharactersAtEveryPlaceAreStoredAndMarked) {
  struct Case {
    char in;
    char stored;
    bool tab;
    bool comment;
  };
  const Case cases[] = {
      {'\t', '\t', true, false}, {'#', '#', false, true},  {'|', '|', false, false},
      {'\x7f', '\x7f', false, false}, {' ', ' ', false, false}, {'\x1f', ' ', false, false},
      {'\x01', ' ', false, false},    {'\x80', ' ', false, false}, {'\xff', ' ', false, false},
      {'\0', ' ', false, false},
  };
  constexpr size_t kWidth = 40;  // past two words of sixteen
  for (const Case& c : cases) {
    for (size_t at = 0; at < kWidth; ++at) {
      std::string line(kWidth, 'a');
      line[at] = c.in;
      line += "#x\nnext\n";
      LineSource source(line, false);
      source.set_comment('#');
      char buffer[64];
      ASSERT_EQ(source.read_line(buffer, sizeof buffer), static_cast<long>(kWidth + 3))
          << int(c.in) << " at " << at;
      std::string expected(kWidth, 'a');
      expected[at] = c.stored;
      EXPECT_EQ(std::string(buffer), expected + "#x\n") << int(c.in) << " at " << at;
      EXPECT_EQ(source.marks().tab, c.tab) << int(c.in) << " at " << at;
      EXPECT_EQ(source.marks().comment, c.comment ? at : kWidth) << int(c.in) << " at " << at;
      ASSERT_EQ(source.read_line(buffer, sizeof buffer), 5);
      EXPECT_FALSE(source.marks().tab);
      EXPECT_EQ(source.marks().comment, std::string_view::npos);
    }
  }
  // Only what the buffer holds is marked.
  LineSource source(std::string_view("abcdef\t#\n"), false);
  source.set_comment('#');
  char small[7];
  ASSERT_EQ(source.read_line(small, sizeof small), 6);
  EXPECT_FALSE(source.marks().tab);
  EXPECT_EQ(source.marks().comment, std::string_view::npos);
}

class KeywordLookup : public test::Reported {
 protected:
  void SetUp() override { at(0, "k.ibs"); }
};

TEST_F(KeywordLookup, RefusedKeywords) {
  const std::string long_name(78, 'k');
  const struct {
    std::string line;
    KeywordTable table;
    std::string expected;
  } cases[] = {
      {"[Pin  Mapping]", KeywordTable::V32, "Invalid Keyword. Pin__Mapping"},
      {"[ Pin]", KeywordTable::V32, "Invalid Keyword. _Pin"},
      {"[Pin", KeywordTable::V32, "Keyword Missing Ending Bracket (']')."},
      {"[]", KeywordTable::V32, "Invalid Keyword."},
      {"[" + long_name + "]", KeywordTable::V32, "Invalid Keyword."},
      {"[Model Spec]", KeywordTable::V21, "Invalid Keyword. Model_Spec"},
      {"[Receiver Thresholds]", KeywordTable::V32, "Invalid Keyword. Receiver_Thresholds"},
  };
  for (const auto& c : cases) {
    Kw code = Kw::PIN;
    EXPECT_EQ(PRS_LookupKeyword(c.line, c.table, Kw::NOT_KEY, &code), 0) << c.line;
    EXPECT_EQ(code, Kw::PIN) << c.line;
    const std::string printed = report();
    EXPECT_NE(printed.find(c.expected + "\n"), std::string::npos) << c.line << ": " << printed;
  }
}

TEST_F(KeywordLookup, ManufacturerBelongsToThePackageModelOrBoardBefore) {
  const std::pair<Kw, Kw> cases[] = {
      {Kw::DEFINE_PACKAGE_MODEL, Kw::PKG_MANUFACTURER}, {Kw::OEM, Kw::PKG_MANUFACTURER},
      {Kw::DESCRIPTION, Kw::PKG_MANUFACTURER},          {Kw::PKG_MANUFACTURER, Kw::PKG_MANUFACTURER},
      {Kw::NUMBER_OF_PINS, Kw::MANUFACTURER},  // kept as the component's
      {Kw::BEGIN_BOARD_DESCRIPTION, Kw::EBD_MANUFACTURER},
      {Kw::EBD_MANUFACTURER, Kw::EBD_MANUFACTURER},     {Kw::COMPONENT, Kw::MANUFACTURER},
  };
  for (const auto& [previous, expected] : cases) {
    Kw code = Kw::NOT_KEY;
    ASSERT_EQ(PRS_LookupKeyword("[Manufacturer] Acme", KeywordTable::V32, previous, &code), 1);
    EXPECT_EQ(code, expected) << kw_int(previous);
  }
}

TEST_F(KeywordLookup, NamesForMessagesComeFromTheOlderTable) {
  EXPECT_EQ(PRS_KeywordName(Kw::PIN_MAPPING), "PIN_MAPPING");
  EXPECT_EQ(PRS_KeywordName(Kw::PKG_MANUFACTURER), "MANUFACTURER");
  EXPECT_EQ(report(), "");
  EXPECT_EQ(PRS_KeywordName(Kw::SERIES_PIN_MAPPING), "Unknown enumerated keyword code");
  EXPECT_EQ(report(), "PROGRAM BUG k.ibs - Unknown enumerated keyword code.\n");
}

TEST(Dispatch, SectionsHearTheirKeywordsDataAndCompletion) {
  const auto t = trace(
      "[IBIS Ver] 3.2\n[Component] C1\n[Pin] signal_name model_name\n1 a b | comment\n"
      "[Model] M1\nModel_type Input   \n[End]\n");
  // The model's own checks run when [End] closes it.
  EXPECT_EQ(t.report.substr(0, t.report.find('\n') + 1),
            "ERROR t.ibs - Model 'M1': C_comp Not Defined\n");
  EXPECT_EQ(t.events, (Events{
                          "key Header 0 [IBIS Ver] 3.2",
                          "done Header 9",
                          "init Component 9",
                          "key Component 9 [Component] C1",
                          "done Component 12",
                          "key Component 12 [Pin] signal_name model_name",
                          "data Component 12 1 a b",
                          "done Component 18",
                          "init Model 18",
                          "key Model 18 [Model] M1",
                          "data Model 18 Model_type Input",
                          "done Model 85",
                      }));
}

TEST(Dispatch, RecurringKeywordsFollowTheirContext) {
  const auto ibs = trace(
      "[IBIS Ver] 3.2\n[Define Package Model] P\n[Manufacturer] A\n[Number Of Pins] 2\n"
      "[Manufacturer] B\n[Submodel] S\n[Pulldown]\n[Model] M\n[Pulldown]\n[End]\n");
  // [Manufacturer] after [Number Of Pins] is the component's, and there is none.
  EXPECT_NE(ibs.report.find("ERROR t.ibs (line    5) - Orphan Component keyword.\n"),
            std::string::npos)
      << ibs.report;
  EXPECT_EQ(ibs.keys(), (Events{"key Header 0 [IBIS Ver] 3.2",
                                "key PackageModel 51 [Define Package Model] P",
                                "key PackageModel 52 [Manufacturer] A",
                                "key PackageModel 55 [Number Of Pins] 2",
                                "key Component 10 [Manufacturer] B", "key Submodel 74 [Submodel] S",
                                "key Submodel 78 [Pulldown]", "key Model 18 [Model] M",
                                "key Model 25 [Pulldown]"}));
}

TEST(Dispatch, KeywordsMustBeginInColumnOneOutsideFreeText) {
  const auto t = trace(
      "[IBIS Ver] 3.2\n[Notes] first\n  [Pin] is only text here\n[Component] C\n"
      " [Pin] signal_name model_name\n[End]\n");
  EXPECT_EQ(t.report, "ERROR t.ibs (line    5) - Keywords Must Begin In Column 1.\n");
  EXPECT_TRUE(t.has("data Header 6   [Pin] is only text here"));
  EXPECT_TRUE(t.has("key Component 12 [Pin] signal_name model_name"));
}

TEST(Dispatch, CommentCharacter) {
  const auto t = trace(
      "[IBIS Ver] 3.2\n[Comment Char] #_char\n# now a comment\n[Notes] a | b # c\n"
      "[Comment_char] a_char\n[COMMENT CHAR] $char\n[comment char] !_char x\n[Date] d ! cut\n"
      "[End]\n");
  EXPECT_EQ(t.report,
            "ERROR t.ibs (line    5) - Invalid Comment Character 'a'.\n"
            "ERROR t.ibs (line    6) - Invalid Comment Character Definition.\n"
            "ERROR t.ibs (line    7) - Too Many Line Items For Keyword COMMENT_CHAR.\n");
  EXPECT_EQ(t.events, (Events{"key Header 0 [IBIS Ver] 3.2", "done Header 6",
                              "key Header 6 [Notes] a | b", "done Header 4", "key Header 4 [Date] d",
                              "done Header 85"}));
}

TEST(Dispatch, EndUnknownAndDuplicateVersion) {
  EXPECT_EQ(read_lines("[IBIS Ver] 3.2\n[End] now\n| fine\n\n   \n[Notes] x\ndata\n").report,
            "ERROR t.ibs (line    2) - Extraneous data on End keyword line.\n"
            "ERROR t.ibs (line    6) - Non-comment line exists after 'End' keyword.\n"
            "ERROR t.ibs (line    7) - Non-comment line exists after 'End' keyword.\n");
  const auto t = trace("[IBIS Ver] 3.2\n[Component] C\n[Pin] signal_name model_name\n1 a b\n");
  EXPECT_EQ(t.report, "ERROR t.ibs - Required keyword 'End' not found.\n");
  EXPECT_EQ(t.events.back(), "done Component 85");  // the last section is still completed
  EXPECT_EQ(read_lines("stray\n[IBIS Ver] 3.2\n[Unknown Thing] x\nmore data\n[End]\n").report,
            "ERROR t.ibs (line    1) - Data for unknown keyword.\nstray\n"
            "ERROR t.ibs (line    3) - Invalid Keyword. Unknown_Thing\n"
            "ERROR t.ibs (line    4) - Data for unknown keyword.\nmore data\n");
  EXPECT_EQ(read_lines("[IBIS Ver] 3.2\n[IBIS Ver] 2.1\n[End]\n").report,
            "ERROR t.ibs (line    2) - Duplicate IBIS_Ver keyword.\n"
            "ERROR t.ibs (line    2) - Duplicate IBIS_Ver keyword\n");
  EXPECT_EQ(PRS_GetVersion(), 3);
}

TEST(Dispatch, OlderVersionKnowsFewerKeywords) {
  const auto t = trace(
      "[IBIS Ver] 2.1\n[Component] C\n[Diff Pin] inv_pin vdiff tdelay_typ\n"
      "[Series Pin Mapping] x\n1 2 m\n[End]\n",
      "t.ibs", 2);
  EXPECT_EQ(t.report,
            "ERROR t.ibs (line    4) - Invalid Keyword. Series_Pin_Mapping\n"
            "ERROR t.ibs (line    5) - Data for unknown keyword.\n1 2 m\n");
  EXPECT_TRUE(t.has("key Component 15 [Diff Pin] inv_pin vdiff tdelay_typ"));
  EXPECT_FALSE(t.has("done Component 85"));  // the refused keyword does not complete the one before
}

TEST(Dispatch, OpenersAreCheckedAgainstTheFileKind) {
  const struct {
    const char* name;
    int version;
    const char* keyword;
    const char* expected;  // the findings at a line
  } cases[] = {
      {"t.pkg", 3, "[Component] C", "ERROR t.pkg (line    2) - Illegal keyword for a '.pkg' file.\n"},
      {"t.ebd", 3, "[Model] M", "ERROR t.ebd (line    2) - Illegal keyword for a '.ebd' file.\n"},
      {"t.ebd", 3, "[Define Package Model] P", "ERROR t.ebd (line    2) - Illegal keyword for a '.ebd' file.\n"},
      {"t.ibs", 3, "[Begin Board Description] B", "ERROR t.ibs (line    2) - Illegal keyword for a '.ibs' file.\n"},
      {"t.pkg", 3, "[Submodel] S", "ERROR t.pkg (line    2) - Illegal keyword for a '.pkg' file.\n"},
      {"t.ebd", 3, "[Model Selector] S", "ERROR t.ebd (line    2) - Illegal keyword for a '.ebd' file.\n"},
      {"t.txt", 3, "[Component] C", ""},
      {"t.ebd", 2, "[Component] C", "ERROR t.ebd (line    2) - Illegal keyword for a '.pkg' file.\n"},
      {"t.txt", 2, "[Model] M", "ERROR t.txt (line    2) - Illegal keyword for a '.pkg' file.\n"},
      {"t.ebd", 2, "[Define Package Model] P", "ERROR t.ebd (line    3) - Orphan Data line.\n"},
  };
  for (const auto& c : cases) {
    const std::string text = std::string("[IBIS Ver] ") + (c.version == 2 ? "2.1" : "3.2") +
                             "\n" + c.keyword + "\ndata line\n[End]\n";
    const auto t = trace(text, c.name, c.version);
    EXPECT_EQ(test::line_findings(t.report), c.expected) << c.name << " " << c.keyword;
    // A refused opener leaves its lines unread.
    const bool opened = std::any_of(t.events.begin(), t.events.end(),
                                    [](const std::string& e) { return e.rfind("init", 0) == 0; });
    const bool refused = std::string(c.expected).find("Illegal keyword") != std::string::npos;
    EXPECT_EQ(opened, !refused && std::string(c.name) != "t.txt") << c.name << " " << c.keyword;
  }
}

}  // namespace
}  // namespace tarn
