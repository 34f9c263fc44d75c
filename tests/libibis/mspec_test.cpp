#include "libibis/src/mspec.h"

#include <gtest/gtest.h>

#include <string>

#include "model_fixture.h"
#include "report_table.h"

namespace tarn {
namespace {

// A complete Input model whose [Model Spec] (line 6) holds `lines` from line 7 on.
test::ReadResult read_spec(const std::string& lines) {
  return test::read_lines(
      "[Model] m\nModel_type Input\nVinl = 0.8\nVinh = 2.0\nC_comp 1p NA NA\n[Model Spec]\n" +
      lines + "[Voltage Range] 3.3 NA NA\n[End]\n");
}

TEST(ModelSpec, SubparameterLines) {
  const auto r = read_spec(
      "Vinh 2.0 1.9 2.1\nVinh+ 2.1 NA NA\nvinh- 1 1 1\nVmeas 1.5 NA NA\nVmeas 1.4 NA NA\n"
      "Pulse_time 1n\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    9) - Unknown Line Among Model Spec Data\n"
            "ERROR t.ibs (line   11) - Vmeas Already Defined For Model 'm'\n"
            "ERROR t.ibs (line   12) - No minimum Value Was Provided for Pulse_time\n"
            "ERROR t.ibs (line   12) - No maximum Value Was Provided for Pulse_time\n"
            "ERROR t.ibs - orphan Pulse_time found for Model Spec defined on line 6\n");
  const ModelSpec* spec = test::model_at(r)->model_spec.get();
  ASSERT_NE(spec, nullptr);
  const Range* v = nullptr;
  ASSERT_EQ(mspec_get(spec, MspecParam::Vmeas, &v), 1);
  EXPECT_DOUBLE_EQ(v->typ, 1.5);
  ASSERT_EQ(mspec_get(spec, MspecParam::VinhPlus, &v), 1);
  EXPECT_EQ(mspec_get(spec, MspecParam::VinhMinus, &v), 0);
  EXPECT_STREQ(mspec_param_name(MspecParam::VinhMinus), "Vinh-");
}

TEST(ModelSpec, EndChecks) {
  test::expect_reports([](const std::string& lines) { return read_spec(lines).report; }, {
      {"Vinh+ 2.0 2.1 1.9\nVinh- 1.8 2.0 1.7\nVinl+ 1.0 NA NA\nVinl- 0.9 NA NA\n"
       "S_overshoot_high 4 4 4\nS_overshoot_low -0.5 -0.5 -0.5\nD_overshoot_high 4.5 NA NA\n"
       "D_overshoot_low -1 NA NA\nD_overshoot_time 1n NA NA\nPulse_high 3 NA NA\n"
       "Pulse_low -0.2 NA NA\nPulse_time 2n NA NA\n",
       ""},
      // Hysteresis corners given on both sides only; an error.
      {"Vinh+ 2.0 2.1 1.9\nVinh- 2.1 2.0 NA\nVinl+ 1.0 NA 0.9\nVinl- 0.9 NA 1.0\n",
       "ERROR t.ibs - Vinh+(Typ) is not greater than or equal to Vinh-(Typ) for Model Spec "
       "defined on line 6\n"
       "ERROR t.ibs - Vinl+(Max) is not greater than or equal to Vinl-(Max) for Model Spec "
       "defined on line 6\n"},
      {"S_overshoot_low 0.5 -0.3 0\nS_overshoot_high -1 5 5\nD_overshoot_time -1n NA NA\n"
       "Pulse_time 1n -1n NA\n",
       "WARNING t.ibs (line    7) - Typ value is not in between min and max \n"
       "WARNING t.ibs (line    8) - Typ value is not in between min and max \n"
       "ERROR t.ibs -\n"
       "    S_overshoot_low (Typ) is greater than zero for Model Spec defined on line 6\n"
       "ERROR t.ibs -\n"
       "    S_overshoot_high (Typ) is less than zero for Model Spec defined on line 6\n"
       "ERROR t.ibs -\n"
       "    D_overshoot_time (Typ) is less than zero for Model Spec defined on line 6\n"
       "ERROR t.ibs - Pulse_time (Min) is less than zero for Model Spec defined on line 6\n"
       "ERROR t.ibs - orphan D_overshoot_time found for Model Spec defined on line 6\n"
       "ERROR t.ibs - orphan Pulse_time found for Model Spec defined on line 6\n"},
      {"D_overshoot_low -1 NA NA\nD_overshoot_high 5 NA NA\nPulse_low -1 NA NA\n"
       "Pulse_high 5 NA NA\n",
       "ERROR t.ibs - D_overshoot_low requires S_overshoot_low to be specified for Model Spec "
       "defined on line 6\n"
       "ERROR t.ibs - D_overshoot_low requires D_overshoot_time to be specified for Model Spec "
       "defined on line 6\n"
       "ERROR t.ibs - D_overshoot_high requires S_overshoot_high to be specified for Model Spec "
       "defined on line 6\n"
       "ERROR t.ibs - D_overshoot_high requires D_overshoot_time to be specified for Model Spec "
       "defined on line 6\n"
       "ERROR t.ibs - Pulse_low requires Pulse_time to be specified for Model Spec defined on "
       "line 6\n"
       "ERROR t.ibs - Pulse_low requires Thresholds or Hysteresis Thresholds to be specified for "
       "Model Spec defined on line 6\n"
       "ERROR t.ibs - Pulse_high requires Pulse_time to be specified for Model Spec defined on "
       "line 6\n"
       "ERROR t.ibs - Pulse_high requires Thresholds or Hysteresis Thresholds to be specified for "
       "Model Spec defined on line 6\n"},
      // Levels compare corner by corner, a missing corner standing in by its typical value;
      // a corner neither gives is not compared again. Warnings.
      {"S_overshoot_low -0.5 NA NA\nD_overshoot_low -0.4 -0.6 NA\nD_overshoot_time 1n NA NA\n"
       "S_overshoot_high 4 NA 4.2\nD_overshoot_high 4.5 NA 4.1\n",
       "WARNING t.ibs - D_overshoot_low(Typ) is not less than S_overshoot_low(Typ) for Model Spec "
       "defined on line 6\n"
       "WARNING t.ibs - D_overshoot_high(Max) is not greater than S_overshoot_high(Max) for Model "
       "Spec defined on line 6\n"},
      {"Vinh 2.0 NA NA\nVinl 0.8 NA NA\nVinl+ 1.0 NA NA\nVinh- 1.5 NA NA\nPulse_low 2.5 NA NA\n"
       "Pulse_high 0.5 NA NA\nPulse_time 1n NA NA\n",
       "WARNING t.ibs -\n"
       "    Pulse_low(Typ) is not less than Vinl+(Typ) for Model Spec defined on line 6\n"
       "WARNING t.ibs -\n"
       "    Pulse_low(Typ) is not less than Vinh(Typ) for Model Spec defined on line 6\n"
       "WARNING t.ibs - Pulse_high(Typ) is not greater than Vinh-(Typ) for Model Spec defined "
       "on line 6\n"
       "WARNING t.ibs - Pulse_high(Typ) is not greater than Vinl(Typ) for Model Spec defined on "
       "line 6\n"},
  });
}

TEST(ModelSpec, SecondSpecReplacesTheFirst) {
  const auto r = read_spec("Vmeas 1.5 NA NA\n[Model Spec]\nVmeas 1.2 NA NA\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    8) - Model Specification: Already Defined for this model\n");
  const Range* v = nullptr;
  ASSERT_EQ(mspec_get(test::model_at(r)->model_spec.get(), MspecParam::Vmeas, &v), 1);
  EXPECT_DOUBLE_EQ(v->typ, 1.2);
}

}  // namespace
}  // namespace tarn
