#include "libibis/src/smspec.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/ibis.h"
#include "libibis/src/submdl.h"
#include "report_fixture.h"

namespace tarn {
namespace {

// A Dynamic_clamp submodel whose [Submodel Spec] (line 3) holds `lines`, ended by a clamp.
test::ReadResult read_spec(const std::string& spec) {
  return test::read_lines("[Submodel] s\nSubmodel_type Dynamic_clamp\n" + spec +
                          "[GND Clamp]\n-1 -1m NA NA\n1 1m NA NA\n[End]\n");
}

const SubmodelSpec* spec_of(const test::ReadResult& r) {
  if (!r.document || r.document->submodels.empty()) return nullptr;
  return r.document->submodels.back()->spec.get();
}

TEST(SubmodelSpec, Lines) {
  const auto r = read_spec(
      "[Submodel Spec]\nV_trigger_r 1.6 1.5 1.7\nV_trigger_f NA 1.0 1.2\nV_trigger_r 2 NA NA\n"
      "v_trigger_f 1 NA NA\nOff_delay 1n\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    5) - 'NA' not allowed for Typical value\n"
            "ERROR t.ibs (line    6) - V_trigger_r Already Defined For Submodel 's'\n"
            "ERROR t.ibs (line    7) - Unknown Line Among Sub Model Spec Data\n"
            "ERROR t.ibs (line    8) - No minimum Value Was Provided for Off_delay\n"
            "ERROR t.ibs (line    8) - No maximum Value Was Provided for Off_delay\n"
            "ERROR t.ibs - Submodel s: [Submodel Spec] Off_delay  cannot be specified with "
            "Dynamic_clamp submodels\n");
  const SubmodelSpec* spec = spec_of(r);
  ASSERT_TRUE(spec && spec->v_trigger_r && spec->v_trigger_f && spec->off_delay);
  // The first line stands; a line with NA is kept.
  EXPECT_EQ(test::shown(*spec->v_trigger_r) + ", " + test::shown(*spec->v_trigger_f) + ", " +
                test::shown(*spec->off_delay),
            "1.6 1.5 1.7, NA 1 1.2, 1e-09 - -");
}

TEST(SubmodelSpec, Keyword) {
  EXPECT_EQ(read_spec("[Submodel Spec] V_trigger_r\nV_trigger_r 1 NA NA\n").report,
            "ERROR t.ibs (line    3) -\n    Incorrect Number of Line Items (2) For Submodel Spec: "
            "Expecting 1\n");
  EXPECT_EQ(read_spec("[Submodel Spec]\n").report, "ERROR t.ibs - Submodel s: Empty Submodel Spec\n");
  // A second spec replaces the first.
  const auto r =
      read_spec("[Submodel Spec]\nV_trigger_r 1 NA NA\n[Submodel Spec]\nV_trigger_f 1 NA NA\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    5) - Sub Model Specification: Already Defined for this sub "
            "model\n");
  ASSERT_NE(spec_of(r), nullptr);
  EXPECT_EQ(spec_of(r)->v_trigger_r, nullptr);
}

}  // namespace
}  // namespace tarn
