#include "libibis/src/difpin.h"

#include <gtest/gtest.h>

#include <string>

#include "component_fixture.h"
#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"
#include "report_table.h"

namespace tarn {
namespace {

using test::read_lines;

// Line 1 opens the component, line 2 is the [Diff Pin] line, rows start at line 3.
test::ReadResult read_pairs(const std::string& headers, const std::string& rows, int version = 3) {
  return read_lines("[Component] C\n[Diff Pin]" + headers + "\n" + rows + "[End]\n", "t.ibs",
                    version);
}

constexpr const char* kFour = " inv_pin vdiff tdelay_typ";
constexpr const char* kSix = " inv_pin vdiff tdelay_typ tdelay_min tdelay_max";

TEST(DiffPinKeyword, ColumnHeaders) {
  test::expect_reports([](const std::string& headers) { return read_pairs(headers, "").report; }, {
      {kFour, ""},
      {kSix, ""},
      {" Inv_Pin VDIFF tdelay_TYP", ""},
      {"", "ERROR t.ibs (line    2) - Unable to find column headers after Diff_Pins keyword.\n"},
      {" inv_pin tdelay_typ vdiff",
       "ERROR t.ibs (line    2) - 'vdiff' column header not found or out of order.\n"
       "ERROR t.ibs (line    2) - 'tdelay_typ' column header not found or out of order.\n"},
      {" inv_pin vdiff tdelay_typ tdelay_max",
       "ERROR t.ibs (line    2) -\n"
       "    Diff_Pins keyword column count must be 4 or 6, found 5 columns.\n"
       "ERROR t.ibs (line    2) - 'tdelay_min' column header not found or out of order.\n"},
  });
}

TEST(DiffPinRows, ItemsValuesAndNames) {
  const auto under = [](const char* headers) {
    return [headers](const std::string& row) { return read_pairs(headers, row + "\n").report; };
  };
  test::expect_reports(under(kSix), {
      {"1 2 0.2 1n", ""},
      {"1 2 NA 1n 0.5n 2n", ""},
      {"1 2 0.2X5 1n", "WARNING t.ibs (line    3) - Suspicious value for vdiff column.\n"},
      {"1 2 x 1n", "ERROR t.ibs (line    3) - Bad value for vdiff column.\n"},
      {"1 2 0.2 1n 0.5n n2", "ERROR t.ibs (line    3) - Bad value for tdelay_max column.\n"},
      {"1 1 0.2 1n",
       "ERROR t.ibs (line    3) - Diff_Pin column pin same as inv_pin column pin.\n"},
      {"1 2 0.2 3n 1n 2n",
       "WARNING t.ibs (line    3) - Typ value is not in between min and max \n"},
      {"1",
       "ERROR t.ibs (line    3) - No inv_pin column entry.\n"
       "ERROR t.ibs (line    3) - No vdiff column entry.\n"
       "ERROR t.ibs (line    3) - No tdelay_typ column entry.\n"
       "ERROR t.ibs (line    3) - Diff_Pin data line column count must be 4 or 6.\n"},
      {"1 2 0.2 1n 0.5n 2n 9",
       "ERROR t.ibs (line    3) - Too many Diff Pin data columns.\n"
       "ERROR t.ibs (line    3) - Diff_Pin data line column count must be 4 or 6.\n"},
  });
  test::expect_reports(under(kFour), {
      {"1 2 0.2 1n 0.5n 2n",
       "ERROR t.ibs (line    3) -\n"
       "    When using 6 columns, the tdelay_min and tdelay_max headers must be used.\n"},
      {"123456 2 0.2 1n",
       "WARNING t.ibs (line    3) -\n"
       "    Diff_Pin column string '123456' is too long, truncating to 5 characters.\n"},
      {"1 gnd 0.2 1n", "ERROR t.ibs (line    3) - Illegal use of Reserved Word 'gnd'.\n"},
  });
}

TEST(DiffPinRows, StoredRows) {
  // [Diff Pin] is known to the IBIS 2.1 rules too.
  const auto r = read_pairs(kSix,
                            "1 2 NA 1n 0.5n 2n\n3 4 0.1 1p\n"
                            "[Diff Pin] inv_pin vdiff tdelay_typ\n5 6 0 0\n",
                            2);
  EXPECT_EQ(r.report, "ERROR t.ibs (line    5) - Duplicate Diff_Pin keyword found.\n");
  const DiffPinList* list = nullptr;
  ASSERT_EQ(CMPNT_GetDiffPins(r.document->components[0].get(), &list), 1);
  ASSERT_EQ(list->rows.size(), 2u);
  const DiffPinRow& first = list->rows[0];
  EXPECT_EQ(first.inv_pin, "2");
  EXPECT_EQ(first.vdiff.status, ValueStatus::NA);
  double v = 0;
  EXPECT_EQ(DIFPIN_GetValue(&first.vdiff, &v), 0);
  ASSERT_EQ(DIFPIN_GetValue(&first.tdelay_max, &v), 1);
  EXPECT_DOUBLE_EQ(v, 2e-9);
  EXPECT_EQ(first.items, 6);
  EXPECT_EQ(list->rows[1].tdelay_min.status, ValueStatus::Absent);
}

TEST(DiffPinEndOfFile, DeclaredUniqueAndNotCrossed) {
  const std::string pairs =
      "1 2 0.2 1n\n"
      "3 4 0.2 1n\n"
      "1 5 0.2 1n\n"
      "6 4 0.2 1n\n"
      "2 7 0.2 1n\n"
      "8 3 0.2 1n\n"
      "1 5 0.2 1n\n";
  const auto r = test::read_component("1 A buf\n2 B buf\n3 C buf\n4 D buf\n5 E buf\n6 F buf\n",
                                      std::string("[Diff Pin]") + kFour + "\n" + pairs,
                                      test::kBufModel);
  EXPECT_EQ(r.report,
            "ERROR t.ibs - Component 'C': Diff_Pin '1' is not unique.\n"
            "ERROR t.ibs - Component 'C': inv_pin '4' is not unique.\n"
            "ERROR t.ibs - Component 'C': inv_pin '7' not previously declared in Pin section.\n"
            "ERROR t.ibs - Component 'C': Diff_pin '2' already in use as an inv_pin.\n"
            "ERROR t.ibs - Component 'C': Diff_Pin '8' not previously declared in Pin section.\n"
            "ERROR t.ibs - Component 'C': Inv_pin '3' already in use as a Diff_pin.\n"
            "ERROR t.ibs - Component 'C': Diff_Pin '1' is not unique.\n"
            "ERROR t.ibs - Component 'C': inv_pin '5' is not unique.\n");
}

}  // namespace
}  // namespace tarn
