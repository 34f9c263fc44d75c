#include "libibis/src/pkg.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"
#include "report_fixture.h"

namespace tarn {
namespace {

// Lines 1 and 2 open the component and [Package]; the body starts at line 3.
test::ReadResult read_package(const std::string& body, const std::string& keyword = "[Package]") {
  return test::read_lines("[Component] C\n" + keyword + "\n" + body + "[End]\n");
}

// The package's ranges as stored, "R; L; C", "none" for one not given.
std::string package_of(const test::ReadResult& r) {
  const Package* p = nullptr;
  if (!r.document || r.document->components.empty() ||
      !CMPNT_GetPackage(r.document->components[0].get(), &p))
    return "no package";
  std::string text;
  for (auto get : {PKG_GetRpkg, PKG_GetLpkg, PKG_GetCpkg}) {
    const Range* range = nullptr;
    text += (text.empty() ? "" : "; ") + (get(p, &range) ? test::shown(*range) : "none");
  }
  return text;
}

constexpr const char* kRest = "\nL_pkg 2n 1n 3n\nC_pkg 1p 0.5p 2p\n";

TEST(PackageLines, EachRuleOfASubParameterLine) {
  test::expect_reports(
      [](const std::string& line) { return read_package(line + kRest).report; },
      {
          {"r_pkg 0.2 NA NA", ""},  // names without case; min and max may be NA
          {"R_PKG 200m 100m 300m", ""},
          {"R_pkg NA 0.1 0.3", "ERROR t.ibs (line    3) - The typical column must be specified.\n"},
          {"R_pkg 0.2 0.1",
           "ERROR t.ibs (line    3) -\n"
           "    Expected 4 columns in Package sub-parameter line, found 3 columns.\n"
           "ERROR t.ibs (line    6) - Required sub-parameter R_pkg not found.\n"},
          {"X_pkg 0.2 0.1 0.3",
           "ERROR t.ibs (line    3) - Unknown Package subparameter.\n"
           "ERROR t.ibs (line    6) - Required sub-parameter R_pkg not found.\n"},
          {" R_pkg 0.2 0.1 0.3",
           "ERROR t.ibs (line    3) - Package sub-parameters must start in column 1.\n"},
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
      });
}

TEST(PackageLines, StoredValuesDuplicatesAndMissingOnes) {
  const auto r = read_package(std::string("R_pkg 0.2 NA 0.3\nR_pkg 0.5 0.4 0.6") + kRest);
  EXPECT_EQ(r.report, "ERROR t.ibs (line    4) - Duplicate R_pkg sub-parameter.\n");
  EXPECT_EQ(package_of(r), "0.2 NA 0.3; 2e-09 1e-09 3e-09; 1e-12 5e-13 2e-12");
  const auto missing = test::read_lines("[Component] C\n[Package]\nL_pkg 2n 1n 3n\n[Pin] signal_name model_name\n");
  EXPECT_EQ(missing.report,
            "ERROR t.ibs (line    4) - Required sub-parameter R_pkg not found.\n"
            "ERROR t.ibs (line    4) - Required sub-parameter C_pkg not found.\n"
            "ERROR t.ibs - Required keyword 'End' not found.\n");
  EXPECT_EQ(package_of(missing), "none; 2e-09 1e-09 3e-09; none");
}

TEST(PackageLines, KeywordLine) {
  const auto named = read_package(std::string("R_pkg 0.2 0.1 0.3") + kRest, "[Package] QFP");
  EXPECT_EQ(named.report, "ERROR t.ibs (line    2) - Unknown data after Package keyword.\n");
  EXPECT_EQ(package_of(named), "0.2 0.1 0.3; 2e-09 1e-09 3e-09; 1e-12 5e-13 2e-12");
  // A second [Package] is dropped with its lines: the first stands.
  const auto twice = read_package(std::string("R_pkg 0.2 0.1 0.3") + kRest + "[Package]\nR_pkg 9 9 9\n");
  EXPECT_EQ(twice.report, "ERROR t.ibs (line    6) - Duplicate Package keyword.\n");
  EXPECT_EQ(package_of(twice), package_of(named));
}

}  // namespace
}  // namespace tarn
