#include "libibis/src/pkgmdl.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "libibis/src/ibis.h"
#include "package_fixture.h"
#include "report_fixture.h"

namespace tarn {
namespace {

using test::line_findings;
using test::package_head;
using test::read_lines;

const PackageModel* first_model(const test::ReadResult& r) {
  return r.document && !r.document->package_models.empty() ? r.document->package_models[0].get()
                                                           : nullptr;
}

// The pins as stored, each with the count of its sections when it has a chain: "A1:2 A2".
std::string pins_of(const test::ReadResult& r) {
  const PackageModel* p = first_model(r);
  if (!p) return "no model";
  std::string text;
  for (size_t i = 0; i < p->pin_numbers.size(); ++i) {
    text += (i ? " " : "") + p->pin_numbers[i];
    if (i < p->pin_sections.size())
      text += ":" + std::to_string(SECT_CountSections(p->pin_sections[i]));
  }
  return text;
}

// A block with sections: [Number Of Sections] on line 5, the pin lines from line 8 on.
std::string section_block(const std::string& pin_lines, int sections = 9, int pins = 9) {
  return package_head() + "[Number Of Sections] " + std::to_string(sections) +
         "\n[Number Of Pins] " + std::to_string(pins) + "\n[Pin Numbers]\n" + pin_lines +
         "[End Package Model]\n[End]\n";
}

TEST(PackageBlock, EveryRequiredPartMissing) {
  EXPECT_EQ(read_lines("[Define Package Model]\n[End]\n", "t.pkg").report,
            "WARNING t.pkg (line    1) - Zero length value for keyword 'Define Package Model'.\n"
            "ERROR t.pkg - Package Model keyword 'Define_Package_Model' not found or blank.\n"
            "ERROR t.pkg - Keyword 'Manufacturer' not found or blank for Package Model ''.\n"
            "ERROR t.pkg - OEM keyword not found for Package Model ''.\n"
            "ERROR t.pkg - Description keyword not found for Package Model ''.\n"
            "ERROR t.pkg - Number_of_Pins keyword not found or value bad for Package Model ''.\n"
            "ERROR t.pkg - Required keyword Pin_Numbers not found.\n"
            "ERROR t.pkg - Required Model_Data keyword not found for package .\n"
            "ERROR t.pkg - Required End_Model_Data keyword not found for package .\n"
            "ERROR t.pkg - Inductance matrix not found for Package Model ''.\n"
            "ERROR t.pkg - Capacitance matrix not found for Package Model ''.\n"
            "ERROR t.pkg - Required End_Package_Model keyword not found.\n");
}

TEST(PackageBlock, TextFieldsCountsAndMarkers) {
  const auto r = read_lines(
      "[Define Package Model] QFP_0123456789_0123456789_0123456789_0123\n"
      "[Manufacturer] M\n[OEM] O\n"
      "[Description] A forty-eight pin quad flat package with exposed pad\n"
      "[Number Of Sections] 1\n[Number Of Pins] 1\n[Pin Numbers] A1\n[Pin Numbers]\nA1\n"
      "[End Package Model]\nlate data\n[End Package Model] now\n"
      "[Define Package Model] Q\n[Number Of Pins] 2\n[Number Of Pins] 3\n"  // 13-15
      "[Number Of Sections]\n[Number Of Sections] 1e0\n[Number Of Sections] 2\n[End]\n",
      "t.pkg");
  EXPECT_EQ(line_findings(r.report),
            "WARNING t.pkg (line    1) - Define Package Model string "
            "'QFP_0123456789_0123456789_0123456789_0123' is too long, truncating to 40 characters.\n"
            "WARNING t.pkg (line    4) - Description string 'A forty-eight pin quad flat package "
            "with exposed pad' is too long, truncating to 40 characters.\n"
            "ERROR t.pkg (line    7) - Extraneous data on 'Pin_Numbers' line.\n"
            "ERROR t.pkg (line    8) - Duplicate 'Pin_Numbers' keyword found.\n"
            "ERROR t.pkg (line   11) - Orphan Data line.\n"
            "ERROR t.pkg (line   12) - Duplicate 'End_Package_Model' keyword found.\n"
            "ERROR t.pkg (line   12) - Extraneous data on 'End_Package_Model' line.\n"
            "ERROR t.pkg (line   15) - Duplicate Number_of_Pins keyword.\n"
            "ERROR t.pkg (line   16) - Blank Number_of_Sections value.\n"
            "ERROR t.pkg (line   18) - Duplicate Number_of_Sections keyword.\n");
  ASSERT_EQ(r.document->package_models.size(), 2u);
  const PackageModel& p = *r.document->package_models[0];
  EXPECT_EQ(p.name, "QFP_0123456789_0123456789_0123456789_012");
  EXPECT_EQ(p.description, "A forty-eight pin quad flat package with");
  EXPECT_EQ(pins_of(r), "A1:0");
  const PackageModel& q = *r.document->package_models[1];
  EXPECT_EQ(std::to_string(q.number_of_pins) + " " + std::to_string(q.number_of_sections), "2 1");
  EXPECT_EQ(line_findings(read_lines("[OEM] O\nsome data\n[End]\n", "t.pkg").report),
            "ERROR t.pkg (line    1) - Orphan Package Model keyword.\n"
            "ERROR t.pkg (line    2) - Orphan Data Line.\n");
}

TEST(PlainPins, NamesCountsAndDuplicates) {
  const struct {
    int version;
    std::string count;  // [Number Of Pins] line, line 5
    const char* lines;  // from line 7
    const char* pins;
    const char* expected;
  } cases[] = {
      {3, "[Number Of Pins] 3\n", "1\n  2\n3\n", "1 2 3", ""},
      {3, "[Number Of Pins] 3\n", "PIN123\nPIN12\n3\n", "PIN12 PIN12 3",
       "ERROR t.pkg (line    7) - Pin Numbers name string too long. will be truncated.\n"
       "ERROR t.pkg (line    8) - Duplicate Pin <PIN12>.\n"},
      // Under the IBIS 2.1 rules a pin line is a name, whatever it holds.
      {2, "[Number Of Pins] 1\n", "A1 Len=0 L=1n /\n", "A1 Le",
       "ERROR t.pkg (line    7) - Pin Numbers name string too long. will be truncated.\n"},
  };
  for (const auto& c : cases) {
    const auto r = read_lines(package_head() + c.count + "[Pin Numbers]\n" + c.lines + "[End]\n",
                              "t.pkg", c.version);
    EXPECT_EQ(line_findings(r.report), c.expected) << c.lines;
    EXPECT_EQ(pins_of(r), c.pins) << c.lines;
  }
}

TEST(SectionPins, PinLinesSectionsAndForks) {
  const struct {
    const char* lines;  // from line 8
    int pins;           // [Number Of Pins]
    const char* stored;
    const char* expected;
  } cases[] = {
      {"A1 Len=0 L=1n C=1p / Len=1 L=1n C=1p /\n", 9, "A1:2", ""},
      {"A1 Len=0 L=1n /\n    Len=0 L=2n / Len = 0 L=3n /\n", 9, "A1:3", ""},
      {"A1\nFork\nLen=0 L=1n /\nEndfork\nLen=0 L=2n /\n", 9, "A1:2", ""},
      {"Len=0 L=1n /\nA1\nLen=0 L=1n /\n", 9, "A1:0",
       "ERROR t.pkg (line    8) - Detected the start of an orphan R/L/C section\n"
       "ERROR t.pkg (line   10) - Detected the start of an orphan R/L/C section\n"},
      {"A1 Len=0 L=1n /\nFork\nLen=0 L=1n /\nFork\nLen=0 L=1n /\nEndfork\nLen=0 L=2n /\n", 9,
       "A1:4", "ERROR t.pkg (line   11) - Cannot Nest Forks\n"},
      {"A1 Len=0 L=1n /\nFork\nLen=0 L=1n /\nA2 Len=0 L=1n /\nLen=0 L=1n /\n", 9, "A1:2 A2:2",
       "ERROR t.pkg (line   11) - A new Pin A2 has been defined before terminating a previous "
       "Fork with the corresponding Endfork\n"},
      {"ABCDEF Len=0 L=1n /\nA=1 Len=0 L=1n /\nA/1\nLen\nR Len=0 L=1n /\n", 9,
       "ABCDE:1 A=1:1 A/1:0 Len:0 R:1",
       "ERROR t.pkg (line    8) - Pin Numbers name string too long. will be truncated.\n"
       "WARNING t.pkg (line    9) -\n"
       "    Found a Pin Name 'A=1' containing '='. Possible syntax error\n"
       "WARNING t.pkg (line   10) -\n"
       "    Found a Pin Name 'A/1' containing '/'. Possible syntax error\n"
       "WARNING t.pkg (line   11) - Found a Pin Name 'Len'. Possible syntax error\n"
       "WARNING t.pkg (line   12) - Found a Pin Name 'R'. Possible syntax error\n"},
      // Pins beyond the count are read but not kept.
      {"A1 Len=0 L=1n /\nA2 Len=0 L=1n /\nLen=0 L=1n /\n", 1, "A1:1",
       "ERROR t.pkg (line    9) - More Pin Numbers names than Number of pins.\n"},
  };
  for (const auto& c : cases) {
    const auto r = read_lines(section_block(c.lines, 9, c.pins), "t.pkg");
    EXPECT_EQ(line_findings(r.report), c.expected) << c.lines;
    EXPECT_EQ(pins_of(r), c.stored) << c.lines;
  }
}

TEST(SectionPins, BlockChecksWithSections) {
  // Branch sections count with the pin's own.
  EXPECT_EQ(read_lines(section_block("A1 Len=0 L=1n /\nFork\nLen=0 L=1n /\nEndfork\n"
                                     "A2 Len=0 L=1n /\nFork\n", 1, 2), "t.pkg").report,
            "ERROR t.pkg - Some Fork sub parameters were not terminated with Endfork\n"
            "ERROR t.pkg - Pin 'A1' has 2 sections. This is greater than the Number of Sections 1 "
            "specified\n");
  const auto forbidden =
      read_lines(package_head() + "[Number Of Pins] 1\n[Pin Numbers]\n1\n[Number Of Sections] 1\n" +
                     "[Model Data]\n" + test::diagonal_matrix("[Resistance Matrix]", 1) +
                     test::diagonal_matrix("[Capacitance Matrix]", 1) +
                     "[End Model Data]\n[End Package Model]\n[End]\n",
                 "t.pkg");
  EXPECT_EQ(forbidden.report,
            "ERROR t.pkg (line    8) - Number of Sections should be specified before Pin Numbers\n"
            "ERROR t.pkg - Model_Data cannot be specified when Number_Of_Sections is specified for "
            "package P.\n"
            "ERROR t.pkg - End_Model_Data cannot be specified when Number_Of_Sections is specified "
            "for package P.\n"
            "ERROR t.pkg - Resistance_Matrix cannot be specified when Number_Of_Sections is "
            "specified for Package Model P.\n"
            "ERROR t.pkg - Capacitance_Matrix cannot be specified when Number_Of_Sections is "
            "specified for Package Model P.\n");
  EXPECT_EQ(pins_of(forbidden), "1");  // the pin came before sections were asked for
}

TEST(PackageBlock, EndsAtTheNextBlockOrOtherSection) {
  const std::string complete = section_block("1 Len=0 L=1n /\n", 1, 1);
  const auto r =
      read_lines(package_head("A") + "[Number Of Pins] 1\n" +
                     complete.substr(0, complete.find("[End]")) + "[Component] C\n[End]\n",
                 "t.ibs");
  EXPECT_EQ(r.report,
            "ERROR t.ibs - Required keyword Pin_Numbers not found.\n"
            "ERROR t.ibs - Required Model_Data keyword not found for package A.\n"
            "ERROR t.ibs - Required End_Model_Data keyword not found for package A.\n"
            "ERROR t.ibs - Inductance matrix not found for Package Model 'A'.\n"
            "ERROR t.ibs - Capacitance matrix not found for Package Model 'A'.\n"
            "ERROR t.ibs - Required End_Package_Model keyword not found.\n");
  ASSERT_EQ(r.document->package_models.size(), 2u);
  EXPECT_EQ(r.document->package_models[1]->name, "P");
}

class PackageDirect : public test::Reported {
 protected:
  void SetUp() override { at(0, "t.pkg"); }
};

TEST_F(PackageDirect, ProgramBugsForWhatTheDispatcherNeverSends) {
  IbisDocument* doc = IBIS_CreateDocument();
  PKGMDL_Init(FileKind::Pkg);
  PKGMDL_Line(LineKind::Keyword, Kw::PIN, "[Pin] signal_name model_name");
  PKGMDL_Line(LineKind::Comment, Kw::PIN_NUMBERS, "| text");
  IBIS_DestroyDocument(doc);
  PKGMDL_Init(FileKind::Pkg);  // no document to open it in
  PKGMDL_Reset();
  const std::string text = report();
  for (const char* message : {":Illegal keyword.\n", ":Illegal line type received.\n",
                              ":PKGMDL_Init unable to get IBIS?\n"})
    EXPECT_NE(text.find(message), std::string::npos) << message << text;
  uint32_t bugs = 0;
  RPT_GetCounts(nullptr, nullptr, &bugs);
  EXPECT_EQ(bugs, 3u);
}

// A component of pins 1 and 2 that names package model `name`.
std::string component_file(const std::string& package_model, const std::string& component = "C") {
  return "[Component] " + component +
         "\n[Manufacturer] M\n[Package]\nR_pkg 1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n"
         "[Pin] signal_name model_name\n1 VCC POWER\n2 GND GND\n[Package Model] " +
         package_model + "\n";
}

TEST(PackageEndOfFile, DuplicatesInAComponentFile) {
  const std::string block = section_block("1 Len=0 L=1n /\n2 Len=0 L=1n /\n", 1, 2);
  const std::string body = block.substr(0, block.find("[End]"));
  const std::string last = section_block("1 Len=0 L=1n /\n3 Len=0 L=1n /\n", 1, 2);
  // Three of a name are two repeats; the component's pins are checked against the newest.
  EXPECT_EQ(read_lines(component_file("P") + body + body + last, "t.ibs", 3, true).report,
            "ERROR t.ibs - Pin '3' found in Package_Model 'P' Pin_Numbers list not found in "
            "Component 'C' Pin list.\n"
            "ERROR t.ibs - Define_Package_Model 'P' is duplicated within the .ibs file.\n"
            "ERROR t.ibs - Define_Package_Model 'P' is duplicated within the .ibs file.\n");
  // A package file on its own is not checked for them.
  const auto pkg = test::read_source("[IBIS Ver] 3.2\n" + body + last, "t.pkg");
  EXPECT_EQ(pkg.result, 1);
  EXPECT_EQ(pkg.report, "");
}

// The search of .pkg files beside the file being read: its report and the models it found.
std::string package_file(const std::string& name,
                         const std::string& define = "[Define Package Model]") {
  const std::string block = section_block("1 Len=0 L=1n /\n2 Len=0 L=1n /\n3 Len=0 L=1n /\n", 1, 3);
  return "[IBIS Ver] 3.2\n" + define + " " + name + "\n" + block.substr(block.find('\n') + 1);
}

std::string search(const test::TempDir& dir, const char* source) {
  test::ScopedCwd cwd(dir.path());
  test::MemStream out;
  IbisDocument* doc = nullptr;
  ::testing::internal::CaptureStdout();
  (void)IBIS_ReadSourceToStream(source, out.get(), &doc);
  ::testing::internal::GetCapturedStdout();
  test::DocumentPtr document(doc);
  std::string found = "found:";
  if (document)
    for (const auto& m : document->package_models) found += " " + m->name;
  return out.text() + found;
}

constexpr const char* kVersion = "[IBIS Ver] 3.2\n";

TEST(PackageSearch, ReadsEveryMatchingPackageFile) {
  test::TempDir dir;
  dir.write("comp.ibs", kVersion + component_file("PKG_A") + "[End]\n");
  dir.write("a.pkg", package_file("PKG_A"));
  dir.write("b.PKG", package_file("PKG_AB", "  [define_package MODEL]"));  // its name begins so
  dir.write("c.pkg", package_file("OTHER"));
  dir.write(".d.pkg", package_file("PKG_A"));  // hidden
  dir.write("f.txt", package_file("PKG_A"));
  std::filesystem::create_directory(dir.path() / "e.pkg");
  // The package model found is the one checked against the component's pins.
  EXPECT_EQ(search(dir, "comp.ibs"),
            "ERROR b.PKG (line    2) - Keywords Must Begin In Column 1.\n"
            "ERROR comp.ibs - Pin '3' found in Package_Model 'PKG_A' Pin_Numbers list not found "
            "in Component 'C' Pin list.\n"
            "found: PKG_A PKG_AB");
}

TEST(PackageSearch, ANamePrefixMatchesButIsNotTheModel) {
  test::TempDir dir;
  dir.write("comp.ibs",
            kVersion + component_file("PKG", "C1") + component_file("PKG_", "C2") + "[End]\n");
  dir.write("long.pkg", package_file("PKG_LONG"));
  // The file was read for the first component only.
  EXPECT_EQ(search(dir, "comp.ibs"),
            "ERROR comp.ibs - Unable to find Package Model 'PKG' for Component 'C1'\n"
            "ERROR comp.ibs - Unable to find Package Model 'PKG_' for Component 'C2'\n"
            "found: PKG_LONG");
}

TEST(PackageSearch, InTheFolderOfTheFileWithItsFindings) {
  test::TempDir dir;
  std::filesystem::create_directory(dir.path() / "sub");
  dir.write("sub/comp.ibs", kVersion + component_file("PKG_A") + "[End]\n");
  std::string faulty = package_file("PKG_A");
  faulty.erase(faulty.find("[OEM] O\n"), 8);
  dir.write("sub/a.pkg", faulty);
  dir.write("top.pkg", package_file("PKG_A"));
  dir.write("sub/new.pkg", "[IBIS Ver] 4.2\n[Define Package Model] PKG_A\n[End]\n");
  EXPECT_EQ(search(dir, "sub/comp.ibs"),
            "ERROR sub/a.pkg - OEM keyword not found for Package Model 'PKG_A'.\n"
            "ERROR sub/new.pkg - Unrecognized IBIS Version\n"
            "ERROR sub/comp.ibs - Pin '3' found in Package_Model 'PKG_A' Pin_Numbers list not "
            "found in Component 'C' Pin list.\n"
            "found: PKG_A");
  uint32_t errors = 0;
  IBIS_GetCounts(&errors, nullptr, nullptr);
  EXPECT_EQ(errors, 3u);
}

}  // namespace
}  // namespace tarn
