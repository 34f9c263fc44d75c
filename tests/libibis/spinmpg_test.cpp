#include "libibis/src/spinmpg.h"

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
const std::string kThree = "[Series Pin Mapping] pin_2 model_name\n";
const std::string kFour = "[Series Pin Mapping] pin_2 model_name function_table_group\n";

TEST(SeriesPinMapping, HeadersAndRows) {
  test::expect_reports(
      [](const std::string& lines) { return read_in_component(lines).report; },
      {
          {"[Series Pin Mapping] PIN_2 Model_Name Function_Table_Group\n1 2 sw g1", ""},
          {"[Series Pin Mapping]", "ERROR t.ibs (line    2) -\n"
               "    Unable to find column headers after Series_Pin_Mapping keyword.\n"},
          {"[Series Pin Mapping] pin_2",
           "ERROR t.ibs (line    2) -\n"
           "    Series_Pin_Mappings keyword column count must be 3 or 4, found 2 columns.\n"
           "ERROR t.ibs (line    2) - 'model_name' column header not found or out of order.\n"},
          {"[Series Pin Mapping] pin_2 model_name function_table_group state",
           "ERROR t.ibs (line    2) -\n"
           "    Series_Pin_Mappings keyword column count must be 3 or 4, found 5 columns.\n"
           "ERROR t.ibs (line    2) - Unknown column header after 'function_table_group'\n"},
          {kThree + "1 2 sw g1",
           "ERROR t.ibs (line    3) - [Series Pin Mapping] When 4 columns are specified, the "
           "heading 'function_table_group' must be used.\n"},
          {kFour + "1 2",
           "ERROR t.ibs (line    3) - No Model specified.\n"
           "ERROR t.ibs (line    3) -\n"
           "     [Series Pin Mapping] Data lines must contain either 3 or 4 columns.\n"},
          {kFour + "1 2 sw g1 on",
           "ERROR t.ibs (line    3) - Extra data columns on this line.\n"
           "ERROR t.ibs (line    3) -\n"
           "     [Series Pin Mapping] Data lines must contain either 3 or 4 columns.\n"},
          {kThree + "1 2 series_model_of_21_ch",
           "WARNING t.ibs (line    3) - Model string 'series_model_of_21_ch' is too long, "
           "truncating to 20 characters.\n"},
          {kFour + "1 2 sw group_name_of_21_chars",
           "WARNING t.ibs (line    3) - Function group Name string 'group_name_of_21_chars' is "
           "too long, truncating to 20 characters.\n"},
      });
}

TEST(SeriesPinMapping, RowsAreKeptInFileOrderAndASecondKeywordIsDropped) {
  const auto r = read_in_component(kFour + "1 2 sw g1\n1 2 sw g2\n3 4 ser\n"
                                          "[Series Pin Mapping] pin_2 model_name\n5 6 ser");
  EXPECT_EQ(r.report, "ERROR t.ibs (line    6) - Duplicate Series_Pin_Mapping keyword found.\n");
  const SeriesPinMapping* mapping = nullptr;
  ASSERT_EQ(CMPNT_GetSeriesPins(r.document->components[0].get(), &mapping), 1);
  ASSERT_EQ(mapping->rows.size(), 3u);
  const auto& last = mapping->rows[2];
  EXPECT_EQ(mapping->rows[1].group + " " + last.pin2 + " " + last.group + std::to_string(last.items),
            "g2 4 3");
}

constexpr const char* kSeriesModels =
    "[Model] ser\nModel_type Series\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n"
    "[R Series] 1 NA NA\n"
    "[Model] sw\nModel_type Series_switch\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n"
    "[On]\n[R Series] 1 NA NA\n[Off]\n[R Series] 1M NA NA\n"
    "[Model] nt\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n";

TEST(SeriesPinMapping, EndOfFilePinsModelsAndGroups) {
  const auto r = test::read_component(
      "1 A buf\n2 B buf\n3 C ser\n4 D nt\n5 E zzz\n6 VCC POWER\n",
      "[Series Switch Groups]\nOn g1 /\nOff g1 g2 /\n" + kFour +
          "1 2 ser\n1 2 sw g1\n1 2 ser g7\n1 2 sw\n1 2 buf\n1 2 buf g2\n1 2 nomodel\n1 2 nt\n"
          "9 3 ser\n4 5 ser\n6 1 sw g9\n1 2 sw g9\n",
      std::string(test::kBufModel) + kSeriesModels);
  EXPECT_EQ(
      test::findings_with(r.report, "Series"),
      "WARNING t.ibs - Component 'C': [Series Pin Mapping] Model 'ser' is of type Series so "
      "function_table_group 'g7' is ignored.\n"
      "ERROR t.ibs - Component 'C': [Series Pin Mapping] Model 'sw' is of type Series_Switch so "
      "function_table_group is required.\n"
      "ERROR t.ibs - Component 'C': [Series Pin Mapping] Model 'buf' is not of type Series.\n"
      "ERROR t.ibs - Component 'C': [Series Pin Mapping] Model 'buf' is not of type "
      "Series_Switch.\n"
      "ERROR t.ibs - Component 'C': [Series Pin Mapping] Model 'nomodel' is not defined.\n"
      "ERROR t.ibs - Component 'C': [Series Pin Mapping] Model 'nt' is of unknown type.\n"
      "ERROR t.ibs - Component 'C': [Series Pin Mapping] Pin1 '9' not previously declared in Pin "
      "section.\n"
      "ERROR t.ibs - Component 'C': [Series Pin Mapping] Pin2 '3': model type cannot be Series "
      "or Series_switch.\n"
      "ERROR t.ibs - Component 'C': [Series Pin Mapping] Pin1 '4' has Model 'nt' with unknown "
      "type.\n"
      "ERROR t.ibs - Component 'C': [Series Pin Mapping] Pin2 '5' has an unknown model.\n"
      "ERROR t.ibs - Component: C Series Switch Function 'g9' is used but not defined\n");
  const auto no_pins =
      test::read_lines("[Component] C\n[Manufacturer] Acme\n[Package]\nR_pkg 0.2 NA NA\n"
                       "L_pkg 2n NA NA\nC_pkg 1p NA NA\n" + kThree + "1 2 ser\n" +
                           kSeriesModels + "[End]\n",
                       "t.ibs", 3, true);
  EXPECT_EQ(test::findings_with(no_pins.report, "Component"),
            "ERROR t.ibs - Unable to find Pin keyword data for Component 'C'.\n"
            "ERROR t.ibs - Component 'C': [Series Pin Mapping] defined but [Pins] not defined.\n");
}

}  // namespace
}  // namespace tarn
