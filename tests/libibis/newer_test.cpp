// Files of IBIS 4.0 to 7.2: refused as before unless later versions are accepted; then their
// IBIS 3.2 constructs are checked, their own are read past with one warning per name, and the
// limits follow the declared version.
#include "libibis/src/newer.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/ibis.h"
#include "component_fixture.h"
#include "model_fixture.h"
#include "report_fixture.h"

namespace tarn {
namespace {

class LaterVersions : public ::testing::Test {
 protected:
  void SetUp() override { IBIS_SetAcceptNewer(1); }
  void TearDown() override { IBIS_SetAcceptNewer(0); }
};

// An Input model whose end checks find nothing (line 2 when the version is line 1).
std::string input_model(const std::string& name = "buf", const std::string& type = "Input") {
  return "[Model] " + name + "\nModel_type " + type +
         "\nVinl = 0.8\nVinh = 2.0\nC_comp 1p 1p 1p\n[Voltage Range] 3.3 3.0 3.6\n";
}

std::string file_of(const std::string& version, const std::string& body) {
  return "[IBIS Ver] " + version + "\n" + body + "[End]\n";
}

struct Case {
  const char* what;
  const char* version;
  std::string body;
  const char* expected;  // with later versions accepted
};

// One of each kind of later construct.
const Case kConstructs[] = {
    {"a block and its end keyword, and what it holds", "5.1",
     input_model() +
         "[Algorithmic Model]\n"
         "Executable linux_gcc4_64 tx.so tx.ami\n"
         "[Pulldown]\n"
         "[End Algorithmic Model]\n"
         "[Ramp]\n",
     "WARNING t.ibs (line    8) - [Algorithmic Model] (IBIS 5.0) not checked by this reader\n"},
    {"nested blocks at the top level end the model before them", "7.0",
     input_model() +
         "[Interconnect Model Set] set1\n"
         "[Interconnect Model] a\nFile_TS pkg.s4p\n[End Interconnect Model]\n"
         "[Interconnect Model] b\n[End Interconnect Model]\n"
         "[End Interconnect Model Set]\n"
         "[Ramp]\n",
     "WARNING t.ibs (line    8) -\n"
     "    [Interconnect Model Set] (IBIS 7.0) not checked by this reader\n"
     "WARNING t.ibs (line    9) -\n"
     "    [Interconnect Model] (IBIS 7.0) not checked by this reader\n"
     "ERROR t.ibs (line   15) - Orphan Model keyword.\n"},
    {"later subparameters of a model, warned once per file; split C_comp stands in", "5.0",
     "[Model] a\nModel_type Input\nVinl = 0.8\nVinh = 2.0\nC_comp_pullup 1p 1p 1p\n"
     "C_comp_gnd_clamp 1p 1p 1p\n[Voltage Range] 3.3 3.0 3.6\n"
     "[Model] b\nModel_type Input\nVinl = 0.8\nVinh = 2.0\nC_comp_pullup 1p 1p 1p\n"
     "Rref_diff = 100\nC_comp_pullup_x 1p\n[Voltage Range] 3.3 3.0 3.6\n",
     "WARNING t.ibs (line    6) - C_comp_pullup (IBIS 4.0) not checked by this reader\n"
     "WARNING t.ibs (line    7) - C_comp_gnd_clamp (IBIS 4.0) not checked by this reader\n"
     "WARNING t.ibs (line   14) - Rref_diff (IBIS 4.1) not checked by this reader\n"
     "ERROR t.ibs (line   15) - Unknown Line Among Model Data\n"},
    {"a later subparameter of the model spec", "4.0",
     "[Model] buf\nModel_type Terminator\nC_comp 1p 1p 1p\n"
     "[Model Spec]\nVref 1.2 1.1 1.3\nVinh 2 2 2\n[Voltage Range] 3.3 3.0 3.6\n",
     "WARNING t.ibs (line    6) - Vref (IBIS 4.0) not checked by this reader\n"},
    {"a differential Model_type by its base type's rules", "4.1",
     "[Model] d\nModel_type Input_diff\nC_comp 1p 1p 1p\n[Voltage Range] 3.3 3.0 3.6\n",
     "WARNING t.ibs - Model 'd': Model_type 'Input_diff' must have Vinl set\n"
     "WARNING t.ibs - Model 'd': Model_type 'Input_diff' must have Vinh set\n"},
    {"the differential types came with 4.1", "4.0",
     "[Model] d\nModel_type Input_diff\nC_comp 1p 1p 1p\n[Voltage Range] 3.3 3.0 3.6\n",
     "ERROR t.ibs (line    3) - Invalid Model_type (\"Input_diff\")\n"
     "ERROR t.ibs - Model 'd': Ramp Not Defined\n"},
    {"a table keyword closes the waveform before it and keeps the model", "5.0",
     input_model("drv", "Output") +
         "[Ramp]\ndV/dt_r 1/1n 1/1n 1/1n\ndV/dt_f 1/1n 1/1n 1/1n\n"
         "[Rising Waveform]\nR_fixture = 50\nV_fixture = 3.3\n0 0 0 0\n"
         "[Composite Current]\n0 1m 1m 1m\n1n 2m 2m 2m\n"
         "[Receiver Thresholds]\nVth = 1.5\nReference_supply Pullup_ref\n"
         "[Falling Waveform]\nR_fixture = 50\nV_fixture = 0\n0 3 3 3\n1n 0 0 0\n",
     "ERROR t.ibs - Require at least 2 Data Points for Rising Waveform Waveform Beginning at Line 11\n"
     "WARNING t.ibs (line   15) - [Composite Current] (IBIS 5.0) not checked by this reader\n"
     "WARNING t.ibs (line   18) -\n"
     "    [Receiver Thresholds] (IBIS 4.0) not checked by this reader\n"},
    {"a keyword of a version after the declared one is unknown", "4.2",
     input_model() + "[ISSO PU]\n0 1m 1m 1m\n",
     "ERROR t.ibs (line    8) - Invalid Keyword. ISSO_PU\n"
     "ERROR t.ibs (line    9) - Data for unknown keyword.\n"
     "0 1m 1m 1m\n"},
    {"a block left open, and an end keyword without its block", "5.0",
     "[External Model]\nLanguage SPICE\n[End External Model]\n[End Algorithmic Model]\n"
     "[Algorithmic Model]\nExecutable a b c\n",
     "WARNING t.ibs (line    2) - [External Model] (IBIS 4.1) not checked by this reader\n"
     "ERROR t.ibs (line    5) - [End Algorithmic Model] without [Algorithmic Model]\n"
     "WARNING t.ibs (line    6) - [Algorithmic Model] (IBIS 5.0) not checked by this reader\n"
     "ERROR t.ibs (line    8) - [Algorithmic Model] without [End Algorithmic Model]\n"},
    {"the ext_ref column of a pin mapping", "5.0",
     "[Component] c\n[Manufacturer] m\n[Package]\nR_pkg 1 1 1\nL_pkg 1n 1n 1n\nC_pkg 1p 1p 1p\n"
     "[Pin] signal_name model_name\n1 A buf\n2 B buf\n3 C buf\n"
     "[Pin Mapping] pulldown_ref pullup_ref gnd_clamp_ref power_clamp_ref ext_ref\n"
     "1 GND VCC\n2 GND VCC GND VCC\n3 GND VCC GND VCC VREF\n",
     "WARNING t.ibs (line   12) - ext_ref (IBIS 4.1) not checked by this reader\n"},
};

TEST_F(LaterVersions, ConstructsAreReadPast) {
  for (const Case& c : kConstructs)
    EXPECT_EQ(test::read_lines(file_of(c.version, c.body)).report, c.expected) << c.what;
}

// Without the setting each of these files is refused as it always was, and nothing else.
TEST(LaterVersionsRefused, WithoutTheSetting) {
  for (const Case& c : kConstructs) {
    const auto r = test::read_source(file_of(c.version, c.body));
    EXPECT_EQ(r.result, 0) << c.what;
    EXPECT_EQ(r.report, "ERROR t.ibs - Unrecognized IBIS Version\n") << c.what;
  }
}

TEST_F(LaterVersions, LimitsFollowTheDeclaredVersion) {
  // The version, then the body.
  const std::string long_name(40, 'n');
  test::expect_reports(
      [](const std::string& text) {
        return test::read_lines(file_of(text.substr(0, 3), text.substr(3))).report;
      },
      {
          {"5.0|" + std::string(119, '-') + "\n", ""},
          {"5.0|" + std::string(120, '-') + "\n",
           "WARNING t.ibs (line    2) - Exceeds official IBIS maximum length of 120 chararacters.\n"},
          {"4.0|" + std::string(80, '-') + "\n",
           "WARNING t.ibs (line    2) - Exceeds official IBIS maximum length of 80 chararacters.\n"},
          {"4.2" + input_model(long_name), ""},
          {"4.2" + input_model(long_name + "x"),
           "ERROR t.ibs (line    2) - Model Name Over 40 Characters Long\n"},
          {"4.1" + input_model(long_name), "ERROR t.ibs (line    2) - Model Name Over 20 Characters Long\n"},
      });
}

// A pin driven by a [Circuit Call] names no model from 4.1 on.
TEST_F(LaterVersions, CircuitCallPins) {
  const std::string body =
      "[Component] C\n[Manufacturer] Acme\n[Package]\nR_pkg 0.2 NA NA\nL_pkg 2n NA NA\n"
      "C_pkg 1p NA NA\n[Pin] signal_name model_name\n1 A CIRCUITCALL\n2 VCC POWER\n"
      "[Circuit Call] buf_1\nSignal_pin 1\n[End Circuit Call]\n";
  const auto report = [&](const char* version) {
    const auto r = test::read_lines(file_of(version, body), "t.ibs", 3, true);
    return test::findings_with(r.report, "CIRCUITCALL");
  };
  EXPECT_EQ(report("4.1"), "");
  EXPECT_EQ(report("4.0"),
            "ERROR t.ibs - Component 'C': Model 'CIRCUITCALL' for Pin '1' not defined.\n");
}

TEST_F(LaterVersions, WaveformsHoldAThousandPoints) {
  const auto waveform = [](int rows) {
    std::string text = input_model("drv", "Output") +
                       "[Ramp]\ndV/dt_r 1/1n 1/1n 1/1n\ndV/dt_f 1/1n 1/1n 1/1n\n"
                       "[Rising Waveform]\nR_fixture = 50\nV_fixture = 3.3\n";
    for (int i = 0; i < rows; ++i) text += std::to_string(i) + "p 1 1 1\n";
    return file_of("4.0", text);
  };
  EXPECT_EQ(test::read_lines(waveform(1000)).report, "");
  EXPECT_EQ(test::read_lines(waveform(1001)).report,
            "ERROR t.ibs (line 1014) -\n"
            "    More than 1000 data points provided for Rising Waveform table\n");
}

}  // namespace
}  // namespace tarn
