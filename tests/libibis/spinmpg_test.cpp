#include "libibis/src/spinmpg.h"

#include <gtest/gtest.h>

#include <string>

#include "component_fixture.h"
#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"

namespace tarn {
namespace {

using test::read_lines;

// Line 1 opens the component, line 2 is the [Series Pin Mapping] line, rows start at line 3.
test::ReadResult read_series_pins(const std::string& headers, const std::string& rows) {
  return read_lines("[Component] C\n[Series Pin Mapping]" + headers + "\n" + rows + "[End]\n");
}

constexpr const char* kThree = " pin_2 model_name";
constexpr const char* kFour = " pin_2 model_name function_table_group";

TEST(SeriesPinMappingKeyword, ColumnHeaders) {
  struct Case {
    const char* headers;
    const char* expected;
  };
  const Case cases[] = {
      {kThree, ""},
      {" PIN_2 Model_Name Function_Table_Group", ""},
      {"", "ERROR t.ibs (line    2) -\n"
           "    Unable to find column headers after Series_Pin_Mapping keyword.\n"},
      {" pin_2",
       "ERROR t.ibs (line    2) -\n"
       "    Series_Pin_Mappings keyword column count must be 3 or 4, found 2 columns.\n"
       "ERROR t.ibs (line    2) - 'model_name' column header not found or out of order.\n"},
      {" model_name pin_2",
       "ERROR t.ibs (line    2) - 'pin_2' column header not found or out of order.\n"
       "ERROR t.ibs (line    2) - 'model_name' column header not found or out of order.\n"},
      {" pin_2 model_name function_table_group state",
       "ERROR t.ibs (line    2) -\n"
       "    Series_Pin_Mappings keyword column count must be 3 or 4, found 5 columns.\n"
       "ERROR t.ibs (line    2) - Unknown column header after 'function_table_group'\n"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(read_series_pins(c.headers, "").report, c.expected) << c.headers;
}

TEST(SeriesPinMappingRows, ItemsLimitsAndNames) {
  struct Case {
    const char* headers;
    const char* row;
    const char* expected;
  };
  const Case cases[] = {
      {kThree, "1 2 ser", ""},
      {kFour, "1 2 sw g1", ""},
      {kThree, "1 2 sw g1",
       "ERROR t.ibs (line    3) - [Series Pin Mapping] When 4 columns are specified, the "
       "heading 'function_table_group' must be used.\n"},
      {kFour, "1 2",
       "ERROR t.ibs (line    3) - No Model specified.\n"
       "ERROR t.ibs (line    3) -\n"
       "     [Series Pin Mapping] Data lines must contain either 3 or 4 columns.\n"},
      {kFour, "1 2 sw g1 on",
       "ERROR t.ibs (line    3) - Extra data columns on this line.\n"
       "ERROR t.ibs (line    3) -\n"
       "     [Series Pin Mapping] Data lines must contain either 3 or 4 columns.\n"},
      {kThree, "1 2 series_model_of_21_ch",
       "WARNING t.ibs (line    3) - Model string 'series_model_of_21_ch' is too long, "
       "truncating to 20 characters.\n"},
      {kFour, "1 2 sw group_name_of_21_chars",
       "WARNING t.ibs (line    3) - Function group Name string 'group_name_of_21_chars' is too "
       "long, truncating to 20 characters.\n"},
      {kThree, "1 Power ser", "ERROR t.ibs (line    3) - Illegal use of Reserved Word 'Power'.\n"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(read_series_pins(c.headers, std::string(c.row) + "\n").report, c.expected) << c.row;
}

TEST(SeriesPinMappingRows, RowsAreKeptInFileOrderAndASecondKeywordIsDropped) {
  const auto r = read_series_pins(kFour, "1 2 sw g1\n1 2 sw g2\n3 4 ser\n"
                                         "[Series Pin Mapping] pin_2 model_name\n5 6 ser\n");
  EXPECT_EQ(r.report, "ERROR t.ibs (line    6) - Duplicate Series_Pin_Mapping keyword found.\n");
  const SeriesPinMapping* mapping = nullptr;
  ASSERT_EQ(CMPNT_GetSeriesPins(r.document->components[0].get(), &mapping), 1);
  ASSERT_EQ(mapping->rows.size(), 3u);
  EXPECT_EQ(mapping->rows[1].group, "g2");
  EXPECT_EQ(mapping->rows[2].pin2, "4");
  EXPECT_EQ(mapping->rows[2].group, "");
  EXPECT_EQ(mapping->rows[2].items, 3);
}

constexpr const char* kSeriesModels =
    "[Model] ser\nModel_type Series\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n"
    "[R Series] 1 NA NA\n"
    "[Model] sw\nModel_type Series_switch\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n"
    "[On]\n[R Series] 1 NA NA\n[Off]\n[R Series] 1M NA NA\n"
    "[Model] nt\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n";

TEST(SeriesPinMappingEndOfFile, PinsModelsAndGroups) {
  const auto r = test::read_component(
      "1 A buf\n2 B buf\n3 C ser\n4 D nt\n5 E zzz\n6 VCC POWER\n",
      std::string("[Series Switch Groups]\nOn g1 /\nOff g1 g2 /\n[Series Pin Mapping]") + kFour +
          "\n"
          "1 2 ser\n"
          "1 2 sw g1\n"
          "1 2 ser g7\n"
          "1 2 sw\n"
          "1 2 buf\n"
          "1 2 buf g2\n"
          "1 2 nomodel\n"
          "1 2 nt\n"
          "9 3 ser\n"
          "4 5 ser\n"
          "6 1 sw g9\n"
          "1 2 sw g9\n"
          "1 2 nomodel g8\n",
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
      "ERROR t.ibs - Component: C Series Switch Function 'g9' is used but not defined\n"
      "ERROR t.ibs - Component 'C': [Series Pin Mapping] Model 'nomodel' is not defined.\n"
      "ERROR t.ibs - Component: C Series Switch Function 'g8' is used but not defined\n");
}

TEST(SeriesPinMappingEndOfFile, ComponentWithoutPins) {
  const auto r =
      read_lines("[Component] C\n[Manufacturer] Acme\n[Package]\nR_pkg 0.2 NA NA\nL_pkg 2n NA NA\n"
                 "C_pkg 1p NA NA\n[Series Pin Mapping] pin_2 model_name\n1 2 ser\n" +
                     std::string(kSeriesModels) + "[End]\n",
                 "t.ibs", 3, true);
  EXPECT_EQ(test::findings_with(r.report, "Component"),
            "ERROR t.ibs - Unable to find Pin keyword data for Component 'C'.\n"
            "ERROR t.ibs - Component 'C': [Series Pin Mapping] defined but [Pins] not defined.\n");
}

}  // namespace
}  // namespace tarn
