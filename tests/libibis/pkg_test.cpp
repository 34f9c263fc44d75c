#include "libibis/src/pkg.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::read_lines;

// Lines 1 and 2 open the component and [Package]; the body starts at line 3.
test::ReadResult read_package(const std::string& body) {
  return read_lines("[Component] C\n[Package]\n" + body + "[End]\n");
}

const Package* package_of(const test::ReadResult& r) {
  const Package* p = nullptr;
  if (r.document && !r.document->components.empty())
    (void)CMPNT_GetPackage(r.document->components[0].get(), &p);
  return p;
}

constexpr const char* kComplete = "R_pkg 0.2 0.1 0.3\nL_pkg 2n 1n 3n\nC_pkg 1p 0.5p 2p\n";

TEST(PackageLines, EachRuleOfASubParameterLine) {
  struct Case {
    const char* first_line;  // followed by L_pkg and C_pkg lines
    const char* expected;
  };
  const Case cases[] = {
      {"R_pkg 0.2 0.1 0.3", ""},
      {"r_pkg 0.2 NA NA", ""},  // names without case; min and max may be NA
      {"R_PKG 200m 100m 300m", ""},
      {"R_pkg NA 0.1 0.3", "ERROR t.ibs (line    3) - The typical column must be specified.\n"},
      {"R_pkg 0.2 0.1",
       "ERROR t.ibs (line    3) -\n"
       "    Expected 4 columns in Package sub-parameter line, found 3 columns.\n"
       "ERROR t.ibs (line    6) - Required sub-parameter R_pkg not found.\n"},
      {"R_pkg 0.2 0.1 0.3 0.4",
       "ERROR t.ibs (line    3) -\n"
       "    Expected 4 columns in Package sub-parameter line, found 5 columns.\n"
       "ERROR t.ibs (line    6) - Required sub-parameter R_pkg not found.\n"},
      {"X_pkg 0.2 0.1 0.3",
       "ERROR t.ibs (line    3) - Unknown Package subparameter.\n"
       "ERROR t.ibs (line    6) - Required sub-parameter R_pkg not found.\n"},
      {" R_pkg 0.2 0.1 0.3", "ERROR t.ibs (line    3) - Package sub-parameters must start in column 1.\n"},
      {"R_pkg 0.2 bad 0.3",
       "ERROR t.ibs (line    3) - Invalid Minimum Value (\"bad\")\n"
       "ERROR t.ibs (line    3) - Unable to parse data for Package subparameter 'R_pkg'.\n"
       "ERROR t.ibs (line    3) - The minimum column must be specified or NA.\n"},
      {"R_pkg oops 0.1 0.3",
       "ERROR t.ibs (line    3) - Invalid Typical Value (\"oops\")\n"
       "ERROR t.ibs (line    3) - Unable to parse data for Package subparameter 'R_pkg'.\n"
       "ERROR t.ibs (line    3) - The typical column must be specified.\n"},
      {"R_pkg 0.2 0.1 x",
       "ERROR t.ibs (line    3) - Invalid Maximum Value (\"x\")\n"
       "ERROR t.ibs (line    3) - Unable to parse data for Package subparameter 'R_pkg'.\n"
       "ERROR t.ibs (line    3) - The maximum column must be specified or NA.\n"},
      {"R_pkg 0.05 0.1 0.3", "WARNING t.ibs (line    3) - Typ value is not in between min and max \n"},
      {"R_pkg 0.2 0.1 0.3\nR_pkg 0.5 0.4 0.6",
       "ERROR t.ibs (line    4) - Duplicate R_pkg sub-parameter.\n"},
  };
  for (const Case& c : cases) {
    const auto r = read_package(std::string(c.first_line) + "\nL_pkg 2n 1n 3n\nC_pkg 1p 0.5p 2p\n");
    EXPECT_EQ(r.report, c.expected) << c.first_line;
  }
}

TEST(PackageLines, ValuesAreStoredAndTheFirstDuplicateKept) {
  const auto r = read_package("R_pkg 0.2 NA 0.3\nR_pkg 0.5 0.4 0.6\nL_pkg 2n 1n 3n\nC_pkg 1p 0.5p 2p\n");
  const Package* p = package_of(r);
  ASSERT_NE(p, nullptr);
  const Range* range = nullptr;
  ASSERT_EQ(PKG_GetRpkg(p, &range), 1);
  EXPECT_DOUBLE_EQ(range->typ, 0.2);
  EXPECT_EQ(range->min_status, ValueStatus::NA);
  EXPECT_DOUBLE_EQ(range->max, 0.3);
  ASSERT_EQ(PKG_GetLpkg(p, &range), 1);
  EXPECT_DOUBLE_EQ(range->typ, 2e-9);
  ASSERT_EQ(PKG_GetCpkg(p, &range), 1);
  EXPECT_DOUBLE_EQ(range->max, 2e-12);
}

TEST(PackageLines, MissingSubParametersAreReportedWhenThePackageEnds) {
  const auto r = read_lines("[Component] C\n[Package]\nL_pkg 2n 1n 3n\n[Pin] signal_name model_name\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    4) - Required sub-parameter R_pkg not found.\n"
            "ERROR t.ibs (line    4) - Required sub-parameter C_pkg not found.\n"
            "ERROR t.ibs - Required keyword 'End' not found.\n");
  const Package* p = package_of(r);
  ASSERT_NE(p, nullptr);
  const Range* range = nullptr;
  EXPECT_EQ(PKG_GetRpkg(p, &range), 0);
  EXPECT_EQ(PKG_GetCpkg(p, &range), 0);
}

TEST(PackageLines, KeywordLine) {
  const auto named = read_lines(std::string("[Component] C\n[Package] QFP\n") + kComplete + "[End]\n");
  EXPECT_EQ(named.report, "ERROR t.ibs (line    2) - Unknown data after Package keyword.\n");
  EXPECT_NE(package_of(named), nullptr);

  // A second [Package] is dropped with its lines: the first stands.
  const auto twice = read_lines(std::string("[Component] C\n[Package]\n") + kComplete +
                                "[Package]\nR_pkg 9 9 9\n[End]\n");
  EXPECT_EQ(twice.report, "ERROR t.ibs (line    6) - Duplicate Package keyword.\n");
  const Range* range = nullptr;
  ASSERT_EQ(PKG_GetRpkg(package_of(twice), &range), 1);
  EXPECT_DOUBLE_EQ(range->typ, 0.2);
}

}  // namespace
}  // namespace tarn
