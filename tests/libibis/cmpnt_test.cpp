#include "libibis/src/cmpnt.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "libibis/src/rpt.h"
#include "report_table.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::read_lines;

// A component that passes every check of its own, to be completed by each case.
constexpr const char* kBody =
    "[Manufacturer] Acme\n"
    "[Package]\n"
    "R_pkg 0.2 NA NA\n"
    "L_pkg 2n NA NA\n"
    "C_pkg 1p NA NA\n"
    "[Pin] signal_name model_name\n"
    "1 VCC POWER\n";

// A package model that passes every check of its own, for the component's pin 1.
std::string package_model(const std::string& name) {
  return "[Define Package Model] " + name +
         "\n"
         "[Manufacturer] Acme\n"
         "[OEM] Acme\n"
         "[Description] One pin\n"
         "[Number Of Sections] 1\n"
         "[Number Of Pins] 1\n"
         "[Pin Numbers]\n"
         "1 Len=0 L=1n /\n"
         "[End Package Model]\n";
}

const Component* first_component(const test::ReadResult& r) {
  return r.document && !r.document->components.empty() ? r.document->components[0].get()
                                                        : nullptr;
}

TEST(ComponentKeyword, NameRules) {
  const auto report = [](const std::string& line) {
    return read_lines(line + "\n" + kBody + "[End]\n", "t.ibs", 3, true).report;
  };
  test::expect_reports(report, {
      {"[Component] TDEMO1", ""},
      {"[Component] MCM Driver 1",
       "WARNING t.ibs (line    1) - Component 'MCM Driver 1' contains a blank character.\n"},
      {"[Component] gnd", "ERROR t.ibs (line    1) - Illegal use of Reserved Word 'gnd'.\n"},
      {"[Component]", "WARNING t.ibs (line    1) - Zero length value for keyword 'Component'.\n"},
      {"[Component] A_component_name_that_runs_past_forty_chars",
       "WARNING t.ibs (line    1) - Component string 'A_component_name_that_runs_past_forty_chars' "
       "is too long, truncating to 40 characters.\n"},
  });
  const auto r = read_lines("[Component] A_component_name_that_runs_past_forty_chars\n"
                            "[Component] MCM Driver 1\n[End]\n");
  EXPECT_EQ(r.document->components[0]->name, "A_component_name_that_runs_past_forty_ch");
  EXPECT_EQ(r.document->components[1]->name, "MCM Driver 1");
}

TEST(ComponentKeyword, KeywordsAndDataLinesOfTheComponent) {
  // Line 1 is [Component] C.
  const auto report = [](int version) {
    return [version](const std::string& text) {
      return read_lines("[Component] C\n" + text + "[End]\n", "t.ibs", version, true).report;
    };
  };
  const std::string body = kBody;
  test::expect_reports(report(3), {
      {"Si_location Pin\nTiming_location Die\n" + body, ""},
      {"si_location Die\n" + body, ""},
      {"Vendor_location here\n" + body,
       "ERROR t.ibs (line    2) - Unknown Line after Component Description\n"},
      {"[Manufacturer] Other\n" + body,
       "ERROR t.ibs (line    3) - Duplicate 'Manufacturer' keyword.\n"},
      {"[Package Model] P1\n[Package Model] P2\n" + body + package_model("P1"),
       "ERROR t.ibs (line    3) - Duplicate 'Package_Model' keyword.\n"},
      {"[Package Model] P1\nmore\n" + body + package_model("P1"),
       "ERROR t.ibs (line    3) - Data on this line appears to be for the Package Model keyword, "
       "which does not allow data on subsequent lines.\n"},
  });
  test::expect_reports(report(2), {
      {"Si_location Pin\n" + body,
       "ERROR t.ibs (line    2) - Data on this line appears to be for the Component keyword, which "
       "does not allow data on subsequent lines.\n"},
  });
  const auto r = read_lines(std::string("[Component] C\nSi_location Pin\nTiming_location Die\n") +
                            kBody + "[Manufacturer] Acme\nacme inc\n[End]\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line   11) - Duplicate 'Manufacturer' keyword.\n"
            "ERROR t.ibs (line   12) - Data on this line appears to be for the Manufacturer "
            "keyword, which does not allow data on subsequent lines.\n");
  const Component* c = first_component(r);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->si_location, "Pin");
  EXPECT_EQ(c->timing_location, "Die");
  std::string_view text;
  ASSERT_EQ(CMPNT_GetManufacturer(c, &text), 1);
  EXPECT_EQ(text, "Acme");
  EXPECT_EQ(CMPNT_GetPackageModel(c, &text), 0);
}

TEST(ComponentKeyword, OrphansBeforeAnyComponent) {
  EXPECT_EQ(read_lines("[Manufacturer] Acme\n[Package]\nR_pkg 1 1 1\n[Component] C\n").report,
            "ERROR t.ibs (line    1) - Orphan Component keyword.\n"
            "ERROR t.ibs (line    2) - Orphan Component keyword.\n"
            "ERROR t.ibs (line    3) - Orphan data line keyword.\n"
            "ERROR t.ibs - Required keyword 'End' not found.\n");
}

TEST(ComponentCalls, CallsThatNoReadingMakesAreProgramBugs) {
  test::read_lines("\n", "lines.ibs");
  test::MemStream out;
  RPT_SetStream(out.get());
  RPT_ResetCounts();
  RPT_SetFileName("t.ibs");
  CMPNT_Reset();
  CMPNT_Line(LineKind::Comment, Kw::COMPONENT, "x");
  CMPNT_Line(LineKind::Data, Kw::MODEL, "x");
  CMPNT_Line(LineKind::Data, Kw::PIN, "x");  // no component: an orphan, not a bug
  RPT_SetStream(nullptr);
  const std::string text = out.text();
  EXPECT_NE(text.find(":Illegal line type passed to cmpnt.\n"), std::string::npos) << text;
  EXPECT_NE(text.find(":Illegal keyword passed to cmpnt.\n"), std::string::npos) << text;
  EXPECT_NE(text.find("ERROR t.ibs (line    1) - Orphan data line keyword.\n"), std::string::npos)
      << text;
  uint32_t errors = 0, bugs = 0;
  RPT_GetCounts(&errors, nullptr, &bugs);
  EXPECT_EQ(bugs, 2u);
  EXPECT_EQ(errors, 1u);
}

TEST(ComponentEndOfFile, ChecksRunPerComponentInFileOrder) {
  const auto r = read_lines(
      "[Component] A\n"
      "[Component] B\n"
      "[Manufacturer] Acme\n"
      "[Package Model] QFP9\n"
      "[Pin] signal_name model_name\n"
      "1 IO buf\n"
      "[Component] A\n" +
          std::string(kBody) + "[Component] a\n" + kBody + package_model("QFP") + "[End]\n",
      "t.ibs", 3, true);
  EXPECT_EQ(r.report,
            "ERROR t.ibs - Component 'A' is duplicated within the .ibs file.\n"
            "ERROR t.ibs - Required keyword 'Manufacturer' not defined for Component 'A'.\n"
            "ERROR t.ibs - Keyword 'Package' not defined for Component 'A'.\n"
            "ERROR t.ibs - Unable to find Pin keyword data for Component 'A'.\n"
            "ERROR t.ibs - Keyword 'Package' not defined for Component 'B'.\n"
            "ERROR t.ibs - Unable to find Package Model 'QFP9' for Component 'B'\n"
            "ERROR t.ibs - Component 'B': Model 'buf' for Pin '1' not defined.\n");
}

TEST(ComponentEndOfFile, PinListWithoutRowsCountsAsMissing) {
  const auto r = read_lines(
      "[Component] C\n[Manufacturer] M\n[Package]\nR_pkg 1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n"
      "[Pin] signal_name model_name\n[End]\n",
      "t.ibs", 3, true);
  EXPECT_EQ(r.report, "ERROR t.ibs - Unable to find Pin keyword data for Component 'C'.\n");
  const PinList* pins = nullptr;
  EXPECT_EQ(CMPNT_GetPins(first_component(r), &pins), 0);
}

// Two components in the manner of a vendor file: the optional pin columns, rails in either
// case, a selector for a pin's model, and a package model named by the second.
constexpr const char* kVendorFile = R"([IBIS Ver]      3.2
[File Name]     vendor.ibs
[Component]     XG1-GW
[Manufacturer]  Example Logic Inc.
[Package]
R_pkg           50m         40m         60m
L_pkg           1.2nH       1.0nH       1.4nH
C_pkg           0.30pF      0.25pF      0.35pF
[Pin]  signal_name     model_name      R_pin   L_pin   C_pin
1      A               xg_in           40m     1.0nH   0.2pF
3      GND             GND             NA      NA      NA
[Component]     XG1-GV
[Manufacturer]  Example Logic Inc.
[Package]
R_pkg           60m         NA          NA
L_pkg           1.5nH       NA          NA
C_pkg           0.40pF      NA          NA
[Package Model] XG1_GV_PKG
[Pin]  signal_name     model_name
3      GND             gnd
4      Y               xg_sel
5      VCC             power
6      NC              nc
[Model Selector] xg_sel
xg_out    standard drive
xg_in     receive only
[Model]         xg_in
Model_type      Input
Vinl = 0.8
Vinh = 2.0
C_comp          1p          NA          NA
[Voltage Range] 3.3         NA          NA
[Model]         xg_out
Model_type      Output
C_comp          1p          NA          NA
[Voltage Range] 3.3         NA          NA
[Ramp]
dV/dt_r         1/1n        NA          NA
dV/dt_f         1/1n        NA          NA
[Define Package Model] XG1_GV_PKG
[Manufacturer]  Example Logic Inc.
[OEM]           Example Logic Inc.
[Description]   4-pin
[Number Of Sections] 2
[Number Of Pins] 4
[Pin Numbers]
3    Len=0 R=0.05 L=0.6n C=0.1p / Len=0 L=0.2n /
4    Len=0 R=0.05 L=0.5n C=0.1p /
5    Len=0 R=0.04 L=0.4n C=0.1p /
6    Len=0 R=0.05 L=0.6n C=0.1p /
[End Package Model]
[End]
)";

TEST(ComponentEndOfFile, VendorFileWithSeveralComponentsChecksCleanly) {
  const auto r = test::read_source(kVendorFile, "vendor.ibs", true);
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(r.report, "");
  ASSERT_EQ(r.document->components.size(), 2u);
  const Component* gv = r.document->components[1].get();
  std::string_view text;
  ASSERT_EQ(CMPNT_GetName(gv, &text), 1);
  EXPECT_EQ(text, "XG1-GV");
  ASSERT_EQ(CMPNT_GetPackageModel(gv, &text), 1);
  EXPECT_EQ(text, "XG1_GV_PKG");
  const Package* package = nullptr;
  ASSERT_EQ(CMPNT_GetPackage(gv, &package), 1);
  const Range* r_pkg = nullptr;
  ASSERT_EQ(PKG_GetRpkg(package, &r_pkg), 1);
  double v = 0;
  ASSERT_EQ(range_select(r_pkg, kCornerMax, &v), 1);
  EXPECT_DOUBLE_EQ(v, 60e-3);  // NA falls back to typ
  const PinList* pins = nullptr;
  ASSERT_EQ(CMPNT_GetPins(gv, &pins), 1);
  EXPECT_EQ(pins->pins.size(), 4u);
}

}  // namespace
}  // namespace tarn
