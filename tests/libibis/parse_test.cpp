#include "libibis/src/parse.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "libibis/src/ibis.h"
#include "libibis/src/rpt.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::read_lines;

const char* section_name(Section s) {
  switch (s) {
    case Section::Header: return "Header";
    case Section::Component: return "Component";
    case Section::Model: return "Model";
    case Section::PackageModel: return "PackageModel";
    case Section::Board: return "Board";
    case Section::Selector: return "Selector";
    case Section::Submodel: return "Submodel";
    default: return "?";
  }
}

std::vector<std::string>* g_trace = nullptr;

void record(DispatchEvent event, Section section, LineKind kind, Kw code, std::string_view line) {
  std::string e;
  switch (event) {
    case DispatchEvent::Init: e = "init "; break;
    case DispatchEvent::Line: e = kind == LineKind::Keyword ? "key " : "data "; break;
    case DispatchEvent::KeywordDone: e = "done "; break;
  }
  e += section_name(section);
  e += " " + std::to_string(kw_int(code));
  if (!line.empty()) e += " " + std::string(line);
  g_trace->push_back(e);
}

// Reads a fixture and records every call the dispatcher makes into the sections.
struct Traced {
  std::vector<std::string> events;
  std::string report;
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

using Events = std::vector<std::string>;

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

TEST(LineReader, CharactersBeyondTheBufferAreConsumedAndStillReported) {
  std::string long_line = "[Notes] " + std::string(1400, 'a') + "\x80" + std::string(100, 'b');
  const auto r = read_lines("[IBIS Ver] 3.2\n" + long_line + "\n[End]\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    1) - Found illegal non-7-bit ASCII character (Hex code 80).\n"
            "ERROR t.ibs (line    2) - Exceeds 1022 chararacters.\n");
  EXPECT_EQ(PRS_GetLineNumber(), 3u);
  const FileHeader* h = nullptr;
  ASSERT_EQ(IBIS_GetHeader(r.document.get(), &h), 1);
  EXPECT_EQ(h->notes->size(), 1023u - 8u);  // the stored part of the line, after "[Notes] "
}

TEST(LineReader, LineLengthLimits) {
  struct Case {
    size_t length;
    const char* expected;
  };
  const Case cases[] = {
      {80, ""},
      {81, "WARNING t.ibs (line    2) - Exceeds official IBIS maximum length of 80 chararacters.\n"},
      {1022, "WARNING t.ibs (line    2) - Exceeds official IBIS maximum length of 80 chararacters.\n"},
      {1023, "ERROR t.ibs (line    2) - Exceeds 1022 chararacters.\n"},
      {200000, "ERROR t.ibs (line    2) - Exceeds 1022 chararacters.\n"},
  };
  for (const Case& c : cases) {
    const std::string line = "| " + std::string(c.length - 2, 'c');
    EXPECT_EQ(read_lines("[IBIS Ver] 3.2\n" + line + "\n[End]\n").report, c.expected)
        << "length " << c.length;
    EXPECT_EQ(PRS_GetLineNumber(), 3u);
  }
}

TEST(LineReader, TabWarningIsGivenOncePerProcess) {
  const std::string text = "[IBIS Ver]\t3.2\n[File Rev]\t1.0\n[End]\n";
  EXPECT_EQ(read_lines(text).report,
            "WARNING t.ibs (line    1) - IBIS files should not contain tab characters.\n");
  EXPECT_EQ(read_lines(text).report, "");
}

TEST(LineReader, LastLineWithoutLineFeed) {
  const auto r = read_lines("[IBIS Ver] 3.2\r\n[End]");
  EXPECT_EQ(r.report, "");
  EXPECT_EQ(PRS_GetLineNumber(), 2u);
}

TEST(LineReader, EmptyFileLacksEnd) {
  EXPECT_EQ(read_lines("").report, "ERROR t.ibs - Required keyword 'End' not found.\n");
  EXPECT_EQ(PRS_GetLineNumber(), 0u);
}

TEST(LineReader, MissingFileIsNotRead) {
  test::MemStream out;
  RPT_SetStream(out.get());
  EXPECT_EQ(PRS_ReadFile("no-such-file.ibs", FileKind::Ibs), 0);
  RPT_SetStream(nullptr);
  EXPECT_EQ(out.text(), "");
}

class KeywordLookup : public ::testing::Test {
 protected:
  void SetUp() override {
    RPT_SetStream(out_.get());
    RPT_SetFileName("k.ibs");
  }
  void TearDown() override { RPT_SetStream(nullptr); }
  test::MemStream out_;
};

TEST_F(KeywordLookup, NamesMatchWithoutCaseAndWithBlanksForUnderscores) {
  struct Case {
    const char* line;
    KeywordTable table;
    Kw expected;
  };
  const Case cases[] = {
      {"[pin]", KeywordTable::V32, Kw::PIN},
      {"[PIN] 1 2 3", KeywordTable::V32, Kw::PIN},
      {"[Pin]", KeywordTable::V21, Kw::PIN},
      {"[Pin Mapping] pd pu", KeywordTable::V32, Kw::PIN_MAPPING},
      {"[Pin_Mapping]", KeywordTable::V32, Kw::PIN_MAPPING},
      {"[IBIS Ver]", KeywordTable::V21, Kw::IBIS_VER},
      {"[ibis_ver]", KeywordTable::V32, Kw::IBIS_VER},
      {"[Comment Char]", KeywordTable::V32, Kw::COMMENT_CHAR},
      {"[End]", KeywordTable::V21, Kw::END},
      {"[End Package Model]", KeywordTable::V32, Kw::END_PACKAGE_MODEL},
      {"[Diff Pin]", KeywordTable::V21, Kw::DIFF_PIN},
      {"[Series Pin Mapping]", KeywordTable::V32, Kw::SERIES_PIN_MAPPING},
      {"[Add Submodel]", KeywordTable::V32, Kw::ADD_SUBMODEL},
      {"[Number Of Sections]", KeywordTable::V32, Kw::NUMBER_OF_SECTIONS},
      {"[Model Selector]", KeywordTable::V32, Kw::MODEL_SELECTOR},
      {"[Begin Board Description]", KeywordTable::V32, Kw::BEGIN_BOARD_DESCRIPTION},
      {"[Power Pulse Table]", KeywordTable::V32, Kw::POWER_PULSE_TABLE},
      {"[Manufacturer]", KeywordTable::V32, Kw::MANUFACTURER},
      {"[Number Of Pins]", KeywordTable::V32, Kw::NUMBER_OF_PINS},
  };
  for (const Case& c : cases) {
    Kw code = Kw::NOT_KEY;
    EXPECT_EQ(PRS_LookupKeyword(c.line, c.table, Kw::NOT_KEY, &code), 1) << c.line;
    EXPECT_EQ(code, c.expected) << c.line;
  }
  EXPECT_EQ(out_.text(), "");
}

TEST_F(KeywordLookup, RefusedKeywords) {
  struct Case {
    std::string line;
    KeywordTable table;
    std::string expected;
  };
  const std::string long_name(78, 'k');
  const Case cases[] = {
      {"[Pin  Mapping]", KeywordTable::V32, "Invalid Keyword. Pin__Mapping"},
      {"[ Pin]", KeywordTable::V32, "Invalid Keyword. _Pin"},
      {"[Pin ]", KeywordTable::V32, "Invalid Keyword. Pin_"},
      {"[Pin", KeywordTable::V32, "Keyword Missing Ending Bracket (']')."},
      {"[]", KeywordTable::V32, "Invalid Keyword."},
      {"[" + long_name + "]", KeywordTable::V32, "Invalid Keyword."},
      {"[Series Pin Mapping]", KeywordTable::V21, "Invalid Keyword. Series_Pin_Mapping"},
      {"[Model Spec]", KeywordTable::V21, "Invalid Keyword. Model_Spec"},
      {"[Receiver Thresholds]", KeywordTable::V32, "Invalid Keyword. Receiver_Thresholds"},
  };
  for (const Case& c : cases) {
    test::MemStream out;
    RPT_SetStream(out.get());
    Kw code = Kw::PIN;
    EXPECT_EQ(PRS_LookupKeyword(c.line, c.table, Kw::NOT_KEY, &code), 0) << c.line;
    EXPECT_EQ(code, Kw::PIN) << c.line;
    const std::string report = out.text();
    EXPECT_NE(report.find(c.expected + "\n"), std::string::npos) << c.line << ": " << report;
  }
}

TEST_F(KeywordLookup, ManufacturerBelongsToThePackageModelOrBoardBefore) {
  struct Case {
    Kw previous;
    Kw expected;
  };
  const Case cases[] = {
      {Kw::DEFINE_PACKAGE_MODEL, Kw::PKG_MANUFACTURER}, {Kw::PKG_MANUFACTURER, Kw::PKG_MANUFACTURER},
      {Kw::OEM, Kw::PKG_MANUFACTURER},  {Kw::DESCRIPTION, Kw::PKG_MANUFACTURER},
      {Kw::NUMBER_OF_PINS, Kw::MANUFACTURER},  // kept as the component's
      {Kw::BEGIN_BOARD_DESCRIPTION, Kw::EBD_MANUFACTURER},
      {Kw::EBD_MANUFACTURER, Kw::EBD_MANUFACTURER},
      {Kw::COMPONENT, Kw::MANUFACTURER},       {Kw::NOT_KEY, Kw::MANUFACTURER},
  };
  for (const Case& c : cases) {
    Kw code = Kw::NOT_KEY;
    ASSERT_EQ(PRS_LookupKeyword("[Manufacturer] Acme", KeywordTable::V32, c.previous, &code), 1);
    EXPECT_EQ(code, c.expected) << kw_int(c.previous);
  }
}

TEST_F(KeywordLookup, NamesForMessagesComeFromTheOlderTable) {
  EXPECT_EQ(PRS_KeywordName(Kw::PIN_MAPPING), "PIN_MAPPING");
  EXPECT_EQ(PRS_KeywordName(Kw::PKG_MANUFACTURER), "MANUFACTURER");
  EXPECT_EQ(out_.text(), "");
  EXPECT_EQ(PRS_KeywordName(Kw::SERIES_PIN_MAPPING), "Unknown enumerated keyword code");
  EXPECT_EQ(out_.text(), "PROGRAM BUG k.ibs - Unknown enumerated keyword code.\n");
}

TEST(Dispatch, SectionsHearTheirKeywordsDataAndCompletion) {
  const auto t = trace(
      "[IBIS Ver] 3.2\n"
      "[Component] C1\n"
      "[Pin] signal_name model_name\n"
      "1 a b | comment\n"
      "[Model] M1\n"
      "Model_type Input   \n"
      "[End]\n");
  // The model's own checks run when [End] closes it.
  EXPECT_EQ(t.report,
            "ERROR t.ibs - Model 'M1': C_comp Not Defined\n"
            "WARNING t.ibs - Model 'M1': Model_type 'Input' must have Vinl set\n"
            "WARNING t.ibs - Model 'M1': Model_type 'Input' must have Vinh set\n"
            "ERROR t.ibs -\n    Model 'M1': Pullup Reference Required when No Voltage Range is Specified\n"
            "ERROR t.ibs -\n    Model 'M1': Pulldown Reference Required when No Voltage Range is Specified\n"
            "ERROR t.ibs - Model 'M1': POWER Clamp Reference Required when No Voltage Range is Specified\n"
            "ERROR t.ibs -\n    Model 'M1': GND Clamp Reference Required when No Voltage Range is Specified\n");
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
      "[IBIS Ver] 3.2\n"
      "[Define Package Model] P\n"
      "[Manufacturer] A\n"
      "[Number Of Pins] 2\n"
      "[Manufacturer] B\n"
      "[Submodel] S\n"
      "[Pulldown]\n"
      "[Model] M\n"
      "[Pulldown]\n"
      "[End]\n");
  // [Manufacturer] after [Number Of Pins] is the component's, and there is none.
  EXPECT_NE(ibs.report.find("ERROR t.ibs (line    5) - Orphan Component keyword.\n"),
            std::string::npos)
      << ibs.report;
  const Events keys_ibs = {
      "key Package 52", "key Package 55", "key Component 10", "key Submodel 78", "key Model 25"};
  std::vector<std::string> seen;
  for (const auto& e : ibs.events)
    if (e.rfind("key ", 0) == 0) seen.push_back(e);
  EXPECT_EQ(seen, (Events{"key Header 0 [IBIS Ver] 3.2", "key PackageModel 51 [Define Package Model] P",
                          "key PackageModel 52 [Manufacturer] A",
                          "key PackageModel 55 [Number Of Pins] 2",
                          "key Component 10 [Manufacturer] B", "key Submodel 74 [Submodel] S",
                          "key Submodel 78 [Pulldown]", "key Model 18 [Model] M",
                          "key Model 25 [Pulldown]"}));

  const auto ebd = trace(
      "[IBIS Ver] 3.2\n"
      "[Begin Board Description] B\n"
      "[Manufacturer] A\n"
      "[Number Of Pins] 2\n"
      "[End Board Description]\n"
      "[End]\n",
      "t.ebd");
  EXPECT_EQ(ebd.report,
            "ERROR t.ebd - Required keyword Pin_List not found.\n"
            "ERROR t.ebd - EBD Model 'B' has no paths defined\n");
  seen.clear();
  for (const auto& e : ebd.events)
    if (e.rfind("key ", 0) == 0) seen.push_back(e);
  EXPECT_EQ(seen, (Events{"key Header 0 [IBIS Ver] 3.2",
                          "key Board 66 [Begin Board Description] B", "key Board 67 [Manufacturer] A",
                          "key Board 68 [Number Of Pins] 2", "key Board 72 [End Board Description]"}));

  const auto pkg = trace(
      "[IBIS Ver] 3.2\n[Define Package Model] P\n[Manufacturer] M\n[OEM] O\n[Description] D\n"
      "[Number Of Pins] 2\n[Number Of Sections] 1\n[Pin Numbers]\n1\n2\n[End Package Model]\n"
      "[End]\n",
      "t.pkg");
  EXPECT_EQ(pkg.report, "");
  EXPECT_NE(std::find(pkg.events.begin(), pkg.events.end(), "key PackageModel 55 [Number Of Pins] 2"),
            pkg.events.end());
}

TEST(Dispatch, KeywordsMustBeginInColumnOneOutsideFreeText) {
  const auto t = trace(
      "[IBIS Ver] 3.2\n"
      "[Notes] first\n"
      "  [Pin] is only text here\n"
      "[Component] C\n"
      " [Pin] signal_name model_name\n"
      "[End]\n");
  EXPECT_EQ(t.report, "ERROR t.ibs (line    5) - Keywords Must Begin In Column 1.\n");
  EXPECT_NE(std::find(t.events.begin(), t.events.end(), "data Header 6   [Pin] is only text here"),
            t.events.end());
  EXPECT_NE(std::find(t.events.begin(), t.events.end(), "key Component 12 [Pin] signal_name model_name"),
            t.events.end());
}

TEST(Dispatch, CommentCharacter) {
  const auto t = trace(
      "[IBIS Ver] 3.2\n"
      "[Comment Char] #_char\n"
      "# now a comment\n"
      "[Notes] a | b # c\n"
      "[Comment_char] a_char\n"
      "[COMMENT CHAR] $char\n"
      "[comment char] !_char x\n"
      "[Date] d ! cut\n"
      "[End]\n");
  EXPECT_EQ(t.report,
            "ERROR t.ibs (line    5) - Invalid Comment Character 'a'.\n"
            "ERROR t.ibs (line    6) - Invalid Comment Character Definition.\n"
            "ERROR t.ibs (line    7) - Too Many Line Items For Keyword COMMENT_CHAR.\n");
  EXPECT_EQ(t.events, (Events{"key Header 0 [IBIS Ver] 3.2", "done Header 6",
                              "key Header 6 [Notes] a | b", "done Header 4", "key Header 4 [Date] d",
                              "done Header 85"}));
}

TEST(Dispatch, EndKeyword) {
  EXPECT_EQ(read_lines("[IBIS Ver] 3.2\n[End] now\n| fine\n\n   \n[Notes] x\ndata\n").report,
            "ERROR t.ibs (line    2) - Extraneous data on End keyword line.\n"
            "ERROR t.ibs (line    6) - Non-comment line exists after 'End' keyword.\n"
            "ERROR t.ibs (line    7) - Non-comment line exists after 'End' keyword.\n");
  const auto t = trace("[IBIS Ver] 3.2\n[Component] C\n[Pin] signal_name model_name\n1 a b\n");
  EXPECT_EQ(t.report, "ERROR t.ibs - Required keyword 'End' not found.\n");
  EXPECT_EQ(t.events.back(), "done Component 85");  // the last section is still completed
}

TEST(Dispatch, DataWithoutKnownKeyword) {
  EXPECT_EQ(read_lines("stray\n[IBIS Ver] 3.2\n[Unknown Thing] x\nmore data\n[End]\n").report,
            "ERROR t.ibs (line    1) - Data for unknown keyword.\nstray\n"
            "ERROR t.ibs (line    3) - Invalid Keyword. Unknown_Thing\n"
            "ERROR t.ibs (line    4) - Data for unknown keyword.\nmore data\n");
}

TEST(Dispatch, OlderVersionKnowsFewerKeywords) {
  const auto t = trace(
      "[IBIS Ver] 2.1\n"
      "[Component] C\n"
      "[Diff Pin] inv_pin vdiff tdelay_typ\n"
      "[Series Pin Mapping] x\n"
      "1 2 m\n"
      "[End]\n",
      "t.ibs", 2);
  EXPECT_EQ(t.report,
            "ERROR t.ibs (line    4) - Invalid Keyword. Series_Pin_Mapping\n"
            "ERROR t.ibs (line    5) - Data for unknown keyword.\n1 2 m\n");
  EXPECT_NE(std::find(t.events.begin(), t.events.end(),
                      "key Component 15 [Diff Pin] inv_pin vdiff tdelay_typ"),
            t.events.end());
  // The refused keyword does not complete the one before it.
  EXPECT_EQ(std::count(t.events.begin(), t.events.end(), "done Component 85"), 0);
}

TEST(Dispatch, OpenersAreCheckedAgainstTheFileKind) {
  struct Case {
    const char* name;
    int version;
    const char* keyword;
    const char* expected;
  };
  const Case cases[] = {
      {"t.pkg", 3, "[Component] C", "ERROR t.pkg (line    2) - Illegal keyword for a '.pkg' file.\n"},
      {"t.ebd", 3, "[Model] M", "ERROR t.ebd (line    2) - Illegal keyword for a '.ebd' file.\n"},
      {"t.ebd", 3, "[Define Package Model] P", "ERROR t.ebd (line    2) - Illegal keyword for a '.ebd' file.\n"},
      {"t.ibs", 3, "[Begin Board Description] B", "ERROR t.ibs (line    2) - Illegal keyword for a '.ibs' file.\n"},
      {"t.pkg", 3, "[Submodel] S", "ERROR t.pkg (line    2) - Illegal keyword for a '.pkg' file.\n"},
      {"t.ebd", 3, "[Model Selector] S", "ERROR t.ebd (line    2) - Illegal keyword for a '.ebd' file.\n"},
      {"t.txt", 3, "[Component] C", ""},
      {"t.ebd", 2, "[Component] C", "ERROR t.ebd (line    2) - Illegal keyword for a '.pkg' file.\n"},
      {"t.txt", 2, "[Model] M", "ERROR t.txt (line    2) - Illegal keyword for a '.pkg' file.\n"},
      {"t.ebd", 2, "[Define Package Model] P",
       "ERROR t.ebd (line    3) - Orphan Data line.\n"
       "ERROR t.ebd - Keyword 'Manufacturer' not found or blank for Package Model 'P'.\n"
       "ERROR t.ebd - OEM keyword not found for Package Model 'P'.\n"
       "ERROR t.ebd - Description keyword not found for Package Model 'P'.\n"
       "ERROR t.ebd - Number_of_Pins keyword not found or value bad for Package Model 'P'.\n"
       "ERROR t.ebd - Required keyword Pin_Numbers not found.\n"
       "ERROR t.ebd - Required Model_Data keyword not found for package P.\n"
       "ERROR t.ebd - Required End_Model_Data keyword not found for package P.\n"
       "ERROR t.ebd - Inductance matrix not found for Package Model 'P'.\n"
       "ERROR t.ebd - Capacitance matrix not found for Package Model 'P'.\n"
       "ERROR t.ebd - Required End_Package_Model keyword not found.\n"},
  };
  for (const Case& c : cases) {
    const std::string text = std::string("[IBIS Ver] ") + (c.version == 2 ? "2.1" : "3.2") +
                             "\n" + c.keyword + "\ndata line\n[End]\n";
    const auto t = trace(text, c.name, c.version);
    EXPECT_EQ(t.report, c.expected) << c.name << " " << c.keyword;
    // A refused opener leaves its lines unread.
    const bool opened = std::any_of(t.events.begin(), t.events.end(),
                                    [](const std::string& e) { return e.rfind("init", 0) == 0; });
    const bool refused = std::string(c.expected).find("Illegal keyword") != std::string::npos;
    EXPECT_EQ(opened, !refused && std::string(c.name) != "t.txt")
        << c.name << " " << c.keyword;
  }
}

TEST(Dispatch, UnfinishedSwitchGroupIsReportedAtTheNextKeyword) {
  PRS_SetDispatchObserver([](DispatchEvent e, Section, LineKind kind, Kw, std::string_view) {
    if (e == DispatchEvent::Line && kind == LineKind::Data) PRS_SetSwitchGroupOpen(true);
  });
  const auto r = read_lines("[IBIS Ver] 3.2\n[Component] C\n[Series Switch Groups]\nOn a b\n[Pin] signal_name model_name\n[Model] M\n[End]\n");
  PRS_SetDispatchObserver(nullptr);
  EXPECT_EQ(r.report.substr(0, r.report.find("\n\n") + 2),
            "ERROR t.ibs (line    5) -\n"
            "    Previous keyword not terminated properly. Possibly missing a \"/\"\n\n");
  EXPECT_FALSE(PRS_SwitchGroupOpen());
}

TEST(Dispatch, DuplicateVersionIsReportedTwice) {
  EXPECT_EQ(read_lines("[IBIS Ver] 3.2\n[IBIS Ver] 2.1\n[End]\n").report,
            "ERROR t.ibs (line    2) - Duplicate IBIS_Ver keyword.\n"
            "ERROR t.ibs (line    2) - Duplicate IBIS_Ver keyword\n");
  EXPECT_EQ(PRS_GetVersion(), 3);
}

TEST(Dispatch, BannerNamesTheVersionRules) {
  ::testing::internal::CaptureStdout();
  read_lines("[IBIS Ver] 2.1\n[End]\n", "old.ibs", 2);
  read_lines("[IBIS Ver] 3.2\n[IBIS Ver] 3.2\n[End]\n", "new.ibs", 3);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "\nChecking old.ibs for IBIS 2.1 Compatibility...\n\n"
            "\nChecking new.ibs for IBIS 3.2 Compatibility...\n\n");
}

}  // namespace
}  // namespace tarn
