#include "libibis/src/ebdmdl.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "libibis/src/ibis.h"
#include "report_table.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::line_findings;
using test::read_lines;

const BoardDescription* first_board(const test::ReadResult& r) {
  return r.document && !r.document->boards.empty() ? r.document->boards[0].get() : nullptr;
}

// Lines 1 to 6: a description of pins P1 (signal S1) and P2 (signal GND).
std::string head(const std::string& pins = "2") {
  return "[Begin Board Description] B\n[Manufacturer] M\n[Number Of Pins] " + pins +
         "\n[Pin List] signal_name\nP1 S1\nP2 GND\n";
}

constexpr const char* kTail =
    "[Reference Designator Map]\nU1 chip.ibs CHIP\n[End Board Description]\n[End]\n";

TEST(BoardDescription, EveryRequiredPartMissing) {
  const auto r = read_lines("[Begin Board Description]\n[End]\n", "t.ebd");
  EXPECT_EQ(r.report,
            "WARNING t.ebd (line    1) - Zero length value for keyword 'Define Ebd Model'.\n"
            "ERROR t.ebd - Ebd Model keyword 'Begin_Board_Description' not found or blank.\n"
            "ERROR t.ebd - Keyword 'Manufacturer' not found or blank for Ebd Model ''.\n"
            "ERROR t.ebd - Number_of_Pins keyword not found or value bad for Ebd Model ''.\n"
            "ERROR t.ebd - Required keyword Pin_List not found.\n"
            "ERROR t.ebd - EBD Model '' has no paths defined\n"
            "ERROR t.ebd - Required End_Board_Description keyword not found.\n");
}

TEST(BoardDescription, KeywordLines) {
  const std::string begin = "[Begin Board Description] B\n";
  const auto report = [](const std::string& lines) {
    return line_findings(read_lines(lines + "[End]\n", "t.ebd").report);
  };
  test::expect_reports(report, {
      {"[Pin List] signal_name\nP1 S\n",
       "ERROR t.ebd (line    1) - Orphan Electrical Board Description keyword.\n"
       "ERROR t.ebd (line    2) - Orphan Data Line.\n"},
      {"[Begin Board Description] NAME_0123456789_0123456789_0123456789_XYZ\n[Manufacturer]\n",
       "WARNING t.ebd (line    1) - Define Ebd Model string "
       "'NAME_0123456789_0123456789_0123456789_XYZ' is too long, truncating to 40 characters.\n"
       "WARNING t.ebd (line    2) - Zero length value for keyword 'Manufacturer'.\n"},
      {begin + "[Number Of Pins]\n[Number Of Pins] x\n[Number Of Pins] 2\n[Number Of Pins] 3\n",
       "ERROR t.ebd (line    2) - Blank Number_of_Pins value.\n"
       "ERROR t.ebd (line    3) - Bad Number_of_Pins value.\n"
       "ERROR t.ebd (line    5) - Duplicate [Number of Pins] keyword\n"},
      {begin + "[Pin List]\n[Pin List] signal\n[Pin List] signal_name model\n",
       "ERROR t.ebd (line    2) - Unable to find 'signal_name' after [Pin List] keyword.\n"
       "ERROR t.ebd (line    3) - Duplicate [Pin List] keyword found.\n"
       "ERROR t.ebd (line    3) - 'signal_name' column header not found.\n"
       "ERROR t.ebd (line    4) - Duplicate [Pin List] keyword found.\n"
       "ERROR t.ebd (line    4) - Unrecognized data after 'signal_name'\n"},
      {begin + "[Reference Designator Map] x\n[Reference Designator Map]\n"
               "[End Board Description]\nstray\n[End Board Description] now\n",
       "ERROR t.ebd (line    2) - Extraneous data on 'Reference_Designator_Map' line.\n"
       "ERROR t.ebd (line    3) - Duplicate 'Reference_Designator_Map' keyword found.\n"
       "ERROR t.ebd (line    5) - Orphan Data line.\n"
       "ERROR t.ebd (line    6) - Duplicate 'End_Board_Description' keyword found.\n"
       "ERROR t.ebd (line    6) - Extraneous data on 'End_Board_Description' line.\n"},
  });
}

TEST(BoardPins, NamesSignalsAndCounts) {
  struct PinCase {
    std::string count;
    std::string lines;  // from line 5
    std::vector<std::pair<std::string, std::string>> pins;
    std::string expected;
  };
  const PinCase cases[] = {
      {"2", "P1 S1\nP2 S2\n", {{"P1", "S1"}, {"P2", "S2"}}, ""},
      {"1", "PIN123456 SIGNAL_NAME_0123456789\n", {{"PIN12345", "SIGNAL_NAME_01234567"}},
       "ERROR t.ebd (line    5) - Pin name string too long. will be truncated.\n"
       "ERROR t.ebd (line    5) - signal_name too long. will be truncated.\n"},
      {"2", "P1\nP2 S X\n", {{"P1", ""}, {"P2", "S"}},
       "ERROR t.ebd (line    5) - No signal_name found\n"
       "ERROR t.ebd (line    6) - Unexpected data after signal_name.\n"},
      {"3", "P1 S\nP1 T\n", {{"P1", "S"}, {"P1", "T"}},
       "ERROR t.ebd (line    6) - Duplicate Pin <P1>.\n"},
      {"1", "P1 S\nP2 S\n", {{"P1", "S"}},
       "ERROR t.ebd (line    6) - More Pin Numbers names than Number of pins.\n"},
      {"0", "P1 S\n", {},
       "ERROR t.ebd (line    3) - Number_of_Pins = 0.\n"
       "ERROR t.ebd (line    5) - Number of Pins is zero, unable to add Pin Number.\n"},
  };
  for (const PinCase& c : cases) {
    const auto r = read_lines("[Begin Board Description] B\n[Manufacturer] M\n[Number Of Pins] " +
                                  c.count + "\n[Pin List] signal_name\n" + c.lines + "[End]\n",
                              "t.ebd");
    EXPECT_EQ(line_findings(r.report), c.expected) << c.lines;
    const BoardDescription* b = first_board(r);
    ASSERT_NE(b, nullptr);
    std::vector<std::pair<std::string, std::string>> pins;
    for (const BoardPin& p : b->pins) pins.emplace_back(p.name, p.signal);
    EXPECT_EQ(pins, c.pins) << c.lines;
  }
}

TEST(BoardPaths, TokensAndTheirFindings) {
  std::string deep;
  for (int i = 0; i < 17; ++i) deep += "Fork\n";
  deep += "Node U1.1\n";
  for (int i = 0; i < 17; ++i) deep += "Endfork\n";
  const auto report = [](const std::string& lines) {
    return line_findings(
        read_lines(head() + "[Path Description] X\n" + lines + kTail, "t.ebd").report);
  };
  test::expect_reports(report, {
      {"Pin P1\nLen=0 L=1n C=1p /\nNode U1.1\n", ""},
      {"Pin P1 Len = 0 R=1 / Len=0 C=1p / Node U1.1 NC\n", ""},
      {"Pin\n", "ERROR t.ebd (line    8) - No Pin Name found after Pin sub param\n"},
      {"Pin PIN123456\n",
       "ERROR t.ebd (line    8) - Pin_name string too long. will be truncated.\n"},
      {"Pin A=B\nPin Fork\n",
       "WARNING t.ebd (line    8) -\n"
       "    Found a Pin Name 'A=B' containing '='. Possible syntax error\n"
       "WARNING t.ebd (line    9) - Found a Pin Name 'Fork'. Possible syntax error\n"},
      {"Node U1.1 Len=0 / NC\n",
       "ERROR t.ebd (line    8) - Detected an orphan 'Node' sub param\n"
       "ERROR t.ebd (line    8) - Detected the start of an orphan R/L/C section\n"},
      {"NC\n", "ERROR t.ebd (line    8) - Detected the start of an orphan 'NC'\n"},
      // Before the first element nothing has begun: no fork opens, so nothing joins a branch.
      {"Fork\nLen=0 R=1 /\nEndfork\nNC\nPin P1 Fork Node U1.1 Endfork\n",
       "ERROR t.ebd (line    8) - Detected the start of an orphan 'Fork'\n"
       "ERROR t.ebd (line    9) - Detected the start of an orphan R/L/C section\n"
       "ERROR t.ebd (line   10) - Detected the start of an orphan 'Endfork'\n"
       "ERROR t.ebd (line   11) - Detected the start of an orphan 'NC'\n"},
      {"Pin P1 Node\nNode U1\nNode U1234567890.PIN123456\nNode U1.a/b\n",
       "ERROR t.ebd (line    8) - No ref_designatior.pin found after Node sub param\n"
       "ERROR t.ebd (line    9) - Invalid Node specified. Missing '.'\n"
       "ERROR t.ebd (line   10) -\n"
       "    Node Reference designator string too long. will be truncated.\n"
       "ERROR t.ebd (line   10) - Node Pin name string too long. will be truncated.\n"
       "WARNING t.ebd (line   11) -\n"
       "    Found a Node 'U1.a/b' containing '/'. Possible syntax error\n"},
      {"Pin P1 = / Wire\nEndfork\nFork\nEndfork\n",
       "ERROR t.ebd (line    8) - Unexpected '=' found\n"
       "ERROR t.ebd (line    8) - Unexpected '/' found\n"
       "ERROR t.ebd (line    8) - Unknown token found: 'Wire'\n"
       "ERROR t.ebd (line    9) - Endfork found without enclosing Fork\n"
       "ERROR t.ebd (line   11) - Empty Fork/Endfork found\n"},
      // A section's own findings; one that ends the line drops the rest of it.
      {"Pin P1 Len=1 R=2 R=3 / Len=0 L=1n Node U1.1\n",
       "ERROR t.ebd (line    8) - Duplicate R sub param in R/L/C section\n"
       "ERROR t.ebd (line    8) -  L and C must be specified when Len != 0\n"
       "ERROR t.ebd (line    8) - Unexpected token 'Node' found in R/L/C section\n"},
      {"Pin P1\nFork\nNode U1.1\n[Path Description] Y\nPin P1\nFork\n",
       "ERROR t.ebd (line   11) - Detected previous unterminated Forks\n"},
      {"Pin P1\n" + deep,
       "ERROR t.ebd (line   25) -\n"
       "    Forks nested deeper than 16 levels; this Fork and its Endfork are ignored\n"},
  });
}

TEST(BoardPaths, ChainHoldsPointsSectionsForksAndNc) {
  const auto r = read_lines(head() +
                                "[Path Description] X\nPin P1\nLen=0 L=1n C=1p /\nFork\n"
                                "Len=1 L=2n C=2p /\nNode U1.2\nEndfork\nNode U1.1 NC\n" + kTail,
                            "t.ebd");
  const BoardDescription* b = first_board(r);
  ASSERT_NE(b, nullptr);
  ASSERT_EQ(b->paths.size(), 1u);
  const SectionChain& chain = b->paths[0].elements;
  using K = ChainElementKind;
  ASSERT_EQ(chain.size(), 5u);
  EXPECT_EQ(chain[0].kind, K::Pin);
  EXPECT_EQ(chain[0].pin, "P1");
  EXPECT_EQ(chain[1].kind, K::Section);
  ASSERT_EQ(chain[2].kind, K::Fork);
  ASSERT_EQ(chain[2].branch.size(), 2u);
  EXPECT_DOUBLE_EQ(*chain[2].branch[0].section.c, 2e-12);
  EXPECT_EQ(chain[2].branch[1].designator + "." + chain[2].branch[1].pin, "U1.2");
  EXPECT_EQ(chain[3].kind, K::Node);
  EXPECT_EQ(chain[4].kind, K::NC);
}

TEST(BoardMap, EntriesAndFileNames) {
  const auto read_map = [](const std::string& lines) {
    return read_lines(head() + "[Reference Designator Map]\n" + lines + "[End]\n", "t.ebd");
  };
  const std::string three = "U1 chip.ibs CHIP\nU2 sub.ebd SUB\nU3 chip.IBS X\n";
  const auto report = [&](const std::string& s) { return line_findings(read_map(s).report); };
  test::expect_reports(report, {
      {three,
       "ERROR t.ebd (line   10) - File_name 'chip.IBS' contains an upper case character 'I'.\n"
       "ERROR t.ebd (line   10) - File_name 'chip.IBS' contains an upper case character 'B'.\n"
       "ERROR t.ebd (line   10) - File_name 'chip.IBS' contains an upper case character 'S'.\n"},
      {"U1234567890 a.ibs C\nU123456789 b.ibs D\n",
       "ERROR t.ebd (line    8) -\n"
       "    Reference Designator name 'U1234567890' too long. Will be truncated\n"
       "ERROR t.ebd (line    9) - Duplicate Reference Designator 'U123456789'\n"},
      {"U1\nU2 chip.ibs\nU3 chip C extra\n",
       "ERROR t.ebd (line    8) - No file name found\n"
       "ERROR t.ebd (line    8) - No Component name found\n"
       "ERROR t.ebd (line    9) - No Component name found\n"
       "ERROR t.ebd (line   10) - Unknown data after component name\n"
       "ERROR t.ebd (line   10) - Invalid file name 'chip'. It has no extension\n"},
      {"U1 abcdefghijklmnopqrstuvwxyz.ibs C\n",
       "ERROR t.ebd (line    8) -\n"
       "    File name 'abcdefghijklmnopqrstuvwxyz.ibs' too long. Will be truncated\n"
       "ERROR t.ebd (line    8) -\n"
       "    Invalid file name 'abcdefghijklmnopqrstuvwx'. It has no extension\n"},
      {"U1 chip.txt C\nU2 Chip.ibs C\nU3 my.chip.ibs C\nU4 chip+1.ibs C\n",
       "ERROR t.ebd (line    8) - Unknown file extension'.txt'. Should be '.ibs' or '.ebd'\n"
       "ERROR t.ebd (line    9) - File_name 'Chip.ibs' contains an upper case character 'C'.\n"
       "ERROR t.ebd (line   10) - File_name 'my.chip.ibs' contains more than one period.\n"
       "ERROR t.ebd (line   11) -\n"
       "    File_name 'chip+1.ibs' contains a character '+' that is illegal for DOS.\n"},
  });
  const auto r = read_map(three);
  const BoardDescription* b = first_board(r);
  ASSERT_NE(b, nullptr);
  ASSERT_EQ(b->reference_designators.size(), 3u);
  const ReferenceDesignator& sub = b->reference_designators[1];
  EXPECT_EQ(sub.name + " " + sub.file_name + " " + sub.component, "U2 sub.ebd SUB");
  EXPECT_EQ(sub.file_kind, FileKind::Ebd);
  EXPECT_EQ(b->reference_designators[2].file_kind, FileKind::Ibs);
}

TEST(BoardDescription, EndChecks) {
  const std::string map = "[Reference Designator Map]\nU1 chip.ibs CHIP\n";
  const auto report = [](const std::string& lines) {
    return read_lines(lines + "[End Board Description]\n[End]\n", "t.ebd").report;
  };
  test::expect_reports(report, {
      // P2 carries GND and may stay off every path.
      {head() + "[Path Description] X\nPin P1\n" + map, ""},
      {head("3") + "[Path Description] X\nPin P2\n[Path Description] Y\nPin P2 Node U2.1\n" +
           "[Path Description] Z\nPin P9\n" + map,
       "ERROR t.ebd -\n"
       "    Number of Pins <3> not the same as count of Pin Numbers names found <2>.\n"
       "ERROR t.ebd - Pin 'P1' was not referenced on any Electrical Path\n"
       "ERROR t.ebd - Pin 'P2' was referenced 2 times on Electrical Paths\n"
       "ERROR t.ebd - Pin 'P9' used in Path 'Z' not defined\n"
       "ERROR t.ebd - Reference Designator 'U2' used in Path 'Y' not defined\n"},
      {head() + "[Path Description] X\nPin P1\nFork\nNC\nNode U1.1\nEndfork\n" +
           "[Path Description] Y\nPin P2 NC\nFork\nNode U1.2\n[Path Description] Z\n" + map,
       "ERROR t.ebd (line   17) - Detected previous unterminated Forks\n"
       "ERROR t.ebd - Path X or a branch does not terminate after NC\n"
       "ERROR t.ebd - Path Y or a branch does not terminate after NC\n"
       "ERROR t.ebd - Path Descriptor 'Z' has no segments\n"},
      {head() + "[Path Description] X\nPin P1\nFork\nNode U1.1\n" + map,
       "ERROR t.ebd - Detected previous unterminated Forks\n"},
  });
}

TEST(BoardDescription, DuplicatesAtTheEndOfTheFile) {
  const std::string board = head() + "[Path Description] X\nPin P1\n[End Board Description]\n";
  const auto r = read_lines(board + board + board + "[End]\n", "t.ebd", 3, true);
  const std::string line =
      "ERROR t.ebd - Board Description 'B' is duplicated within the .ebd file.\n";
  EXPECT_EQ(r.report, line + line);
}

// ------------------------------------------------------------------------------------------
// The parts a board places, in files beside it.

std::string demo_component() {
  std::ifstream in(TARN_SOURCE_DIR "/examples/tarn_demo.ibs", std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// A board file whose board `name` has pins P1 and P2; path X runs from P1 to `nodes`.
std::string board_file(const std::string& name, const std::string& nodes, const std::string& map) {
  return "[IBIS Ver] 3.2\n[Begin Board Description] " + name +
         "\n[Manufacturer] M\n[Number Of Pins] 2\n[Pin List] signal_name\nP1 S\nP2 GND\n"
         "[Path Description] X\nPin P1 " + nodes + "\n[Reference Designator Map]\n" + map +
         "[End Board Description]\n[End]\n";
}

std::string check_in(const test::TempDir& dir, const char* top) {
  test::ScopedCwd cwd(dir.path());
  test::MemStream out;
  ::testing::internal::CaptureStdout();  // the banners of the files read
  EXPECT_EQ(IBIS_ReadSourceToStream(top, out.get(), nullptr), 1);
  ::testing::internal::GetCapturedStdout();
  return out.text();
}

TEST(BoardParts, ComponentsAndTheirPins) {
  struct PartCase {
    std::string nodes;
    std::string map;
    std::string expected;
  };
  const PartCase cases[] = {
      {"Node U1.1 Node U1.4 Node U2.3", "U1 tarn_demo.ibs TDEMO1\nU2 TARN_demo.ibs TDEMO1\n",
       "ERROR a.ebd (line   12) -\n"
       "    File_name 'TARN_demo.ibs' contains an upper case character 'T'.\n"
       "ERROR a.ebd (line   12) -\n"
       "    File_name 'TARN_demo.ibs' contains an upper case character 'A'.\n"
       "ERROR a.ebd (line   12) -\n"
       "    File_name 'TARN_demo.ibs' contains an upper case character 'R'.\n"
       "ERROR a.ebd (line   12) -\n"
       "    File_name 'TARN_demo.ibs' contains an upper case character 'N'.\n"},
      {"Node U1.9 Node U1.PIN123 Node U1.9", "U1 tarn_demo.ibs TDEMO1\n",
       "ERROR a.ebd - Pin '9' not found on Component 'TDEMO1' in file 'tarn_demo.ibs'\n"
       "ERROR a.ebd - Length of Pin 'PIN123' referenced for Component 'TDEMO1' is too long\n"},
      {"Node U1.1 Node U2.1", "U1 tarn_demo.ibs TDEMO9\nU2 gone.ibs X\n",
       "ERROR a.ebd - Component 'TDEMO9' not found in file 'tarn_demo.ibs'\n"
       "ERROR a.ebd - Unable to read file 'gone.ibs' for Reference Designator 'U2'\n"},
      // A file named twice is read once: its finding comes once.
      {"Node U1.1 Node U2.1", "U1 bad.ibs X\nU2 bad.ibs X\n",
       "ERROR bad.ibs - Unrecognized IBIS Version\n"},
      {"Node U1.P1 Node U2.P2 Node U2.P3", "U1 a.ebd A\nU2 b.ebd B\n",
       "ERROR a.ebd -\n"
       "    Reference Designator 'U1' refers to the Component 'A' itself being defined\n"
       "ERROR a.ebd - Pin 'P3' not found on Component 'B' in file 'b.ebd'\n"},
      // Of two parts of one name the newest is placed, component or board.
      {"Node U1.2 Node U1.3 Node U2.P2 Node U2.P3", "U1 twice.ibs TW\nU2 twice.ebd B\n",
       "ERROR twice.ibs - Component 'TW' is duplicated within the .ibs file.\n"
       "ERROR a.ebd - Pin '2' not found on Component 'TW' in file 'twice.ibs'\n"
       "ERROR twice.ebd - Board Description 'B' is duplicated within the .ebd file.\n"
       "ERROR a.ebd - Pin 'P2' not found on Component 'B' in file 'twice.ebd'\n"},
  };
  const auto component = [](const char* pin) {
    return std::string("[Component] TW\n[Manufacturer] M\n[Package]\nR_pkg 0.1 NA NA\n"
                       "L_pkg 1n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n1 S GND\n") +
           pin + " T GND\n";
  };
  const std::string board = board_file("B", "", "");
  const size_t begin = board.find("[Begin");
  const std::string first = board.substr(begin, board.find("[End]") - begin);
  std::string second = first;
  second.replace(second.find("P2 GND"), 6, "P3 GND");
  for (const PartCase& c : cases) {
    test::TempDir dir;
    dir.write("tarn_demo.ibs", demo_component());
    dir.write("bad.ibs", "[IBIS Ver] 9.9\n[End]\n");
    dir.write("b.ebd", board);
    dir.write("twice.ibs", "[IBIS Ver] 3.2\n[File Name] twice.ibs\n[File Rev] 1.0\n" +
                               component("2") + component("3") + "[End]\n");
    dir.write("twice.ebd", "[IBIS Ver] 3.2\n" + first + second + "[End]\n");
    dir.write("a.ebd", board_file("A", c.nodes, c.map));
    EXPECT_EQ(check_in(dir, "a.ebd"), c.expected) << c.map;
  }
}

TEST(BoardParts, CyclesAreNotFollowed) {
  test::TempDir dir;
  dir.write("a.ebd", board_file("A", "Node U1.P1 Node U2.P1", "U1 b.ebd B\nU2 c.ebd C\n"));
  dir.write("b.ebd", board_file("B", "Node U1.P1", "U1 a.ebd A\n"));
  dir.write("c.ebd", board_file("C", "Node U1.P1", "U1 d.ebd D\n"));
  dir.write("d.ebd", board_file("D", "Node U1.P1", "U1 a.ebd A\n"));
  EXPECT_EQ(check_in(dir, "a.ebd"),
            "ERROR b.ebd - Ebd file 'b.ebd' recursively references the component A in the "
            "calling Ebd file 'a.ebd'\n"
            "ERROR d.ebd - Ebd file 'd.ebd' recursively references the component A in the "
            "calling Ebd file 'a.ebd'\n");
}

TEST(BoardParts, ALongChainOfFilesIsCutShort) {
  test::TempDir dir;
  const int files = 20;
  for (int i = 0; i < files; ++i) {
    const std::string next = "f" + std::to_string(i + 1);
    dir.write("f" + std::to_string(i) + ".ebd",
              board_file("F", "Node U1.P1", "U1 " + next + ".ebd F\n"));
  }
  EXPECT_EQ(check_in(dir, "f0.ebd"),
            "ERROR f16.ebd - Ebd file 'f16.ebd' nests its referenced files deeper than 16; "
            "'f17.ebd' not read\n");
}

}  // namespace
}  // namespace tarn
