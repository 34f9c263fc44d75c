#include "libibis/src/pinmpg.h"

#include <gtest/gtest.h>

#include <string>

#include "component_fixture.h"
#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"
#include "report_fixture.h"

namespace tarn {
namespace {

using test::read_in_component;

// The keyword on line 2, the rows from line 3 on.
const std::string kThree = "[Pin Mapping] pulldown_ref pullup_ref\n";
const std::string kFive = "[Pin Mapping] pulldown_ref pullup_ref gnd_clamp_ref power_clamp_ref\n";

TEST(PinMapping, HeadersAndRows) {
  test::expect_reports(
      [](const std::string& lines) { return read_in_component(lines).report; },
      {
          {kFive + "1 GND VCC GND VCC", ""},
          {"[Pin Mapping] PULLDOWN_REF Pullup_Ref\n1 GND VCC", ""},
          {"[Pin Mapping]", "ERROR t.ibs (line    2) - Unable to find column headers after Pin_Mapping keyword.\n"},
          {"[Pin Mapping] pulldown_ref",
           "ERROR t.ibs (line    2) -\n"
           "    Pin_Mappings keyword column count must be 3 or 5, found 2 columns.\n"
           "ERROR t.ibs (line    2) - 'pullup_ref' column header not found or out of order.\n"},
          {"[Pin Mapping] pulldown_ref pullup_ref power_clamp_ref gnd_clamp_ref",
           "ERROR t.ibs (line    2) - 'gnd_clamp_ref' column header not found or out of order.\n"
           "ERROR t.ibs (line    2) - 'power_clamp_ref' column header not found or out of order.\n"},
          {kThree + "1 GND VCC GND",
           "ERROR t.ibs (line    3) - Pin Mapping data lines must contain either 3 or 5 columns.\n"},
          {kThree + "1 GND VCC GND VCC",
           "ERROR t.ibs (line    3) - When 5 columns are specified, the headings gnd_clamp_ref "
           "and power_clamp_ref must be used.\n"},
          {kFive + "1 GND VCC GND VCC X",
           "ERROR t.ibs (line    3) - Extra data columns on this line.\n"
           "ERROR t.ibs (line    3) - Pin Mapping data lines must contain either 3 or 5 columns.\n"},
          {kThree + "1 GND",
           "ERROR t.ibs (line    3) - No pullup_ref data.\n"
           "ERROR t.ibs (line    3) - Pin Mapping data lines must contain either 3 or 5 columns.\n"},
          {kThree + "1 na VCC",
           "ERROR t.ibs (line    3) - na is an invalid Pin_Mapping column entry.\n"},
          {kThree + "1 GND_BUS_OF_16_CH VCC",
           "WARNING t.ibs (line    3) - pulldown_ref string 'GND_BUS_OF_16_CH' is too long, "
           "truncating to 15 characters.\n"},
          {kThree + "NC GND VCC", "ERROR t.ibs (line    3) - Illegal use of Reserved Word 'NC'.\n"},
      });
}

TEST(PinMapping, StoredRowsAndASecondKeyword) {
  const auto r = read_in_component(kFive + "1 GND VCC\n2 VSS VDD GCLAMP PCLAMP\n1 X Y\na GND VCC\n"
                                      "[Pin Mapping] pulldown_ref pullup_ref\n3 A B");
  EXPECT_EQ(r.report, "ERROR t.ibs (line    5) - Duplicate Pin Mapping Pin.\n"
                      "ERROR t.ibs (line    7) - Duplicate Pin_Mapping keyword found.\n");
  const PinMapping* mapping = nullptr;
  ASSERT_EQ(CMPNT_GetPinMapping(r.document->components[0].get(), &mapping), 1);
  // The repeated pin and the second keyword's row dropped; pin names keep their case.
  ASSERT_EQ(mapping->rows.size(), 3u);
  const PinMappingRow* row = nullptr;
  ASSERT_EQ(PINMPG_Find(mapping, "1", &row), 1);
  std::string_view bus;
  ASSERT_EQ(PINMPG_GetRef(row, kPullupRef, &bus), 1);
  EXPECT_EQ(bus, "VCC");  // the first row stands
  EXPECT_EQ(PINMPG_GetRef(row, kGndClampRef, &bus), 0);
  ASSERT_EQ(PINMPG_Find(mapping, "2", &row), 1);
  ASSERT_EQ(PINMPG_GetRef(row, kPowerClampRef, &bus), 1);
  EXPECT_EQ(bus, "PCLAMP");
  EXPECT_EQ(row->items, 5);
  EXPECT_EQ(PINMPG_Find(mapping, "3", &row), 0);
}

TEST(PinMapping, EndOfFilePinsAndBuses) {
  EXPECT_EQ(test::read_component("1 VCC POWER\n2 IO buf\n", "", test::kBufModel).report, "");
  const auto r = test::read_component(
      "1 VCC POWER\n2 VSS GND\n3 IO buf\n4 X nc\n5 VCC2 Power\n6 IO2 buf\n7 IO3 buf\n"
      "8 VSS2 GND\n10 VCC3 POWER\n",  // rails need no row
      kFive +
          "1 NC VDD\n2 VSS NC\n3 VSS VDD VSS VDD\n4 VSS NC\n5 VDD2 VDD2\n6 VSS FLOAT\n"
          "8 VSS NC NC GNDX\n9 VSS VDD\n",
      test::kBufModel);
  EXPECT_EQ(r.report,
            "ERROR t.ibs - Component 'C': Pin '7' not referenced in Pin Mappings.\n"
            "WARNING t.ibs - Pin 4 is NC. Should not have any references in Pin Mapping\n"
            "WARNING t.ibs - Pin 5 is a POWER pin. Usually only has Pullup_ref in Pin Mapping\n"
            "WARNING t.ibs - Pin 8 is a GND pin. Usually only has Pulldown_ref in Pin Mapping\n"
            "ERROR t.ibs -\n"
            "    Component 'C': Pin Mapping Pin '9' not previously declared in Pin section.\n"
            "WARNING t.ibs - Component 'C': Pin Mapping 'VDD2': pulldown_ref entry is usually "
            "connected to GND.\n"
            "ERROR t.ibs - Component 'C': Pin Mapping pullup_ref entry 'FLOAT' is not connected "
            "to at least one pin whose model_name is POWER or GND.\n"
            "WARNING t.ibs - Component 'C': Pin Mapping 'GNDX': power_clamp_ref entry is usually "
            "connected to POWER.\n"
            "WARNING t.ibs - Pulldown Reference VDD2 is also used as a Pullup Reference\n");
}

}  // namespace
}  // namespace tarn
