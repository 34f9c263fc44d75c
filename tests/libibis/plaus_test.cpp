#include "libibis/src/plaus.h"

#include <gtest/gtest.h>

#include <string>

#include "check_fixture.h"
#include "model_fixture.h"
#include "report_fixture.h"

namespace tarn {
namespace {

std::string component_report(const std::string& lines) {
  return test::check_report("[Component] C1\n[Manufacturer] X\n" + lines + "[End]\n",
                            PLAUS_ComponentsEndOfFile);
}

std::string model_report(const std::string& lines) {
  return test::check_report("[Model] m\n" + lines + "[End]\n", PLAUS_ModelsEndOfFile);
}

TEST(Plausibility, PackageAndPinValues) {
  // The limits themselves pass; each corner is checked on its own.
  test::expect_reports(
      [](const std::string& lines) { return component_report("[Package]\n" + lines + "\n"); },
      {
          {"R_pkg 1000 0 1000\nL_pkg 1u 0 1u\nC_pkg 1n 0 1n", ""},
          {"R_pkg 1001 -1m NA",
           "WARNING t.ibs - CMPT 'C1': Rpkg TYP value 1001 Ohms not within expected range (0 "
           "Ohms, 1000 Ohms)\n"
           "WARNING t.ibs - CMPT 'C1': Rpkg MIN value -0.001 Ohms not within expected range (0 "
           "Ohms, 1000 Ohms)\n"},
          {"L_pkg 2n NA 1.001u",
           "WARNING t.ibs -\n"
           "    CMPT 'C1': Lpkg MAX value 1001nH not within expected range (0nH, 1000nH)\n"},
          {"C_pkg -1f 1p 1.001n",
           "WARNING t.ibs -\n"
           "    CMPT 'C1': Cpkg TYP value -0.001pF not within expected range (0pF, 1000pF)\n"
           "WARNING t.ibs -\n"
           "    CMPT 'C1': Cpkg MAX value 1001pF not within expected range (0pF, 1000pF)\n"},
      });
  EXPECT_EQ(component_report("[Pin] signal_name model_name R_pin L_pin C_pin\n1 A m 1000 1u 1n\n"
                             "2 B m 1001 1.001u 1.001n\n3 C m NA NA NA\n"),
            "WARNING t.ibs - CMPT 'C1', Pin '2': Pin Resistance 1001 Ohms greater than 1000 Ohms\n"
            "WARNING t.ibs - CMPT 'C1', Pin '2': Pin Inductance 1001nH greater than 1000nH\n"
            "WARNING t.ibs - CMPT 'C1', Pin '2': Pin Capacitance 1001pF greater than 1000pF\n");
}

TEST(Plausibility, ModelValues) {
  const std::string pullup =
      "WARNING t.ibs -\n"
      "    Model 'm': Currents <> 0.0mA in 'Pullup' for Open_drain/Open_sink device\n";
  const std::string pulldown =
      "WARNING t.ibs - Model 'm': Currents <> 0.0mA in 'Pulldown' for Open_source device\n";
  const std::string schedule = "Model_type Output\n[Driver Schedule]\n";
  test::expect_reports(
      model_report,
      {
          {"C_comp 1n 0 1n\n", ""},
          {"C_comp 1.001n -1f 2p\n",
           "WARNING t.ibs -\n"
           "    Model 'm': C_comp TYP value 1001pF out of expected range (0pF, 1000pF)\n"
           "WARNING t.ibs -\n"
           "    Model 'm': C_comp MIN value -0.001pF out of expected range (0pF, 1000pF)\n"},
          {"[Ramp]\ndV/dt_r 1/1m 1/1.001m NA\ndV/dt_f 1/2m NA 1/0.5m\n",
           "WARNING t.ibs - Model 'm': Rising MIN Ramptime 1.001e+06nsec unusually large ( > "
           "1.000e+06nsec )\n"
           "WARNING t.ibs - Model 'm': Falling TYP Ramptime 2.000e+06nsec unusually large ( > "
           "1.000e+06nsec )\n"},
          // Currents of open devices: the side that is open must carry none.
          {"Model_type Open_drain\n[Pullup]\n0 0 0 0\n1 0 0 0\n", ""},
          {"Model_type Open_drain\n[Pullup]\n0 0 0 0\n1 0 1u NA\n", pullup},
          {"Model_type I/O_open_drain\n[Pullup]\n0 0 0 0\n1 0 NA -1u\n", pullup},
          {"Model_type Open_sink\n[Pullup]\n0 0 0 0\n1 1u 0 0\n", pullup},
          {"Model_type I/O_open_sink\n[Pullup]\n0 0 0 0\n1 1u 0 0\n", pullup},
          {"Model_type Open_source\n[Pulldown]\n0 0 0 0\n1 1u 0 0\n", pulldown},
          {"Model_type I/O_open_source\n[Pulldown]\n0 0 0 0\n1 1u 0 0\n", pulldown},
          {"Model_type Open_source\n[Pullup]\n0 0 0 0\n1 1u 0 0\n", ""},
          {"Model_type Output\n[Pullup]\n0 0 0 0\n1 1u 0 0\n", ""},
          {schedule, "WARNING t.ibs - Model 'm': The [Driver_Schedule] has no models defined\n"},
          {schedule + "a 1n NA 1n NA\n",
           "WARNING t.ibs - Model 'm': The [Driver_Schedule] has only one model defined\n"},
          {schedule + "a 1n NA 1n NA\nb 1n NA 1n NA\n", ""},
      });
}

// After the models' own end checks: their VI curves, their values and their schedules, each
// newest model first; then the components' values, then the components' own end checks.
TEST(Plausibility, EndOfFileOrder) {
  const auto r = test::read_source(
      "[IBIS Ver] 3.2\n[File Name] t.ibs\n[File Rev] 1\n"
      "[Component] C1\n[Package]\nR_pkg 2k NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n"
      "[Pin] signal_name model_name\n1 A a\n"
      "[Model] a\nModel_type Input\nVinl = 0.8\nVinh = 2\nC_comp 2n NA NA\n"
      "[Voltage Range] 3.3 NA NA\n[GND Clamp]\n-2 -40 NA NA\n0 0 NA NA\n"
      "[Driver Schedule]\nnone 1n NA 1n NA\nb 1n NA 1n NA\n"
      "[Model] b\nModel_type Input\nVinl = 0.8\nVinh = 2\nC_comp 3n NA NA\n"
      "[Voltage Range] 3.3 NA NA\n[GND Clamp]\n-2 -30 NA NA\n0 0 NA NA\n[End]\n");
  EXPECT_EQ(test::without_lines(r.report),
            "WARNING t.ibs - Model 'b': Extreme currents present in GND_Clamp TYP VI Curve (-22.5A "
            "@ -1.5V)\n"
            "WARNING t.ibs - Model 'a': Extreme currents present in GND_Clamp TYP VI Curve (-30A @ "
            "-1.5V)\n"
            "WARNING t.ibs -\n"
            "    Model 'b': C_comp TYP value 3000pF out of expected range (0pF, 1000pF)\n"
            "WARNING t.ibs -\n"
            "    Model 'a': C_comp TYP value 2000pF out of expected range (0pF, 1000pF)\n"
            "ERROR t.ibs -\n"
            "    Model b used in the Driver Schedule of Model a should be an output model\n"
            "ERROR t.ibs - Model none used in the Driver Schedule of Model a is not defined\n"
            "WARNING t.ibs - CMPT 'C1': Rpkg TYP value 2000 Ohms not within expected range (0 "
            "Ohms, 1000 Ohms)\n"
            "ERROR t.ibs - Required keyword 'Manufacturer' not defined for Component 'C1'.\n");
}

}  // namespace
}  // namespace tarn
