#include "libibis/src/submdl.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/ibis.h"
#include "model_fixture.h"
#include "report_fixture.h"

namespace tarn {
namespace {

using test::at_lines;
using test::without_lines;

// Tables that pass their own end checks.
const std::string kPullup = "[Pullup]\n-1 1m NA NA\n1 -1m NA NA\n";
const std::string kPulldown = "[Pulldown]\n-1 -1m NA NA\n1 1m NA NA\n";
const std::string kGndClamp = "[GND Clamp]\n-1 -1m NA NA\n1 0 NA NA\n";
const std::string kRamp = "[Ramp]\ndV/dt_r 1/1n NA NA\ndV/dt_f 1/1n NA NA\n";
const std::string kGndPulse = "[GND Pulse Table]\n0 0 NA NA\n1n -1 NA NA\n2n 0 NA NA\n";
const std::string kPowerPulse = "[POWER Pulse Table]\n0 0 NA NA\n1n 1 NA NA\n2n 0 NA NA\n";
const std::string kTriggers = "[Submodel Spec]\nV_trigger_r 1.5 NA NA\nV_trigger_f 1.0 NA NA\n";
// A Bus_hold submodel that every rule accepts.
const std::string kBusHold = "Submodel_type Bus_hold\n" + kTriggers + kRamp + kPullup;
const std::string kModel = "Model_type Terminator\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n";

test::ReadResult read_submodel(const std::string& body, bool end_checks = false) {
  return test::read_lines("[Submodel] s\n" + body + "[End]\n", "t.ibs", 3, end_checks);
}

const Submodel* submodel_at(const test::ReadResult& r) {
  if (!r.document || r.document->submodels.empty()) return nullptr;
  return r.document->submodels.front().get();
}

TEST(Submodel, NameAndTypeLines) {
  // The findings at a line, then the name and type of the last submodel.
  const auto read = [](const std::string& lines) {
    const auto r = test::read_lines(lines + "[End]\n");
    const Submodel& s = *r.document->submodels.back();
    return at_lines(r.report) + s.name + " " + std::to_string(static_cast<int>(s.submodel_type));
  };
  const std::string bus_hold = std::to_string(static_cast<int>(SubmodelType::BusHold));
  const std::string clamp = std::to_string(static_cast<int>(SubmodelType::DynamicClamp));
  const std::string none = std::to_string(static_cast<int>(SubmodelType::NoType));
  const std::string not_given = std::to_string(static_cast<int>(SubmodelType::NotGiven));
  test::expect_reports(
      read,
      {
          {"[Submodel] power\n",
           "ERROR t.ibs (line    1) - Invalid Sub Model Name (\"power\"); Reserved Word.\npower " +
               not_given},
          {"[Submodel] s\n[Submodel] s\n[Submodel] S\n",
           "ERROR t.ibs (line    2) - SubModel Name Previously Defined (\"s\")\nS " + not_given},
          // A cut name is not compared, unlike a selector's.
          {"[Submodel] abcdefghijklmnopqrst\n[Submodel] abcdefghijklmnopqrstu\n",
           "ERROR t.ibs (line    2) - Sub Model Name Over 20 Characters Long\n"
           "abcdefghijklmnopqrst " + not_given},
          {"[Submodel] s\nSubmodel_type Dynamic_clamp\n", "s " + clamp},
          {"[Submodel] s\nSubmodel_type bus_hold\n",
           "ERROR t.ibs (line    2) - Invalid Submodel_type (\"bus_hold\") (try \"Bus_hold\")\n"
           "s " + none},
          {"[Submodel] s\nSubmodel_type = Bus_hold\n",
           "ERROR t.ibs (line    2) - Invalid Submodel_type Line\ns " + none},
          {"[Submodel] s\nsubmodel_type Bus_hold\n",
           "ERROR t.ibs (line    2) - Unknown Line Among Sub Model Data\ns " + not_given},
          {"[Submodel] s\nSubmodel_type Bus_hold\nSubmodel_type Dynamic_clamp\n",
           "ERROR t.ibs (line    3) - Submodel_type Already Defined For Submodel 's'\ns " + bus_hold},
      });
}

TEST(SubmodelKeywords, EachIsReadIntoTheSubmodel) {
  const auto r = test::read_lines(
      "[Submodel] s\nSubmodel_type Dynamic_clamp\n"          // 1-2
      "[GND Clamp]\n-1 -1m NA NA\n1 1m NA NA\n"               // 3-5
      "[Submodel Spec]\nV_trigger_f 1 NA NA\n"                // 6-7: placed late, still read
      "[GND Pulse Table] x\n0 0 NA NA\n"                      // 8-9
      "[GND Pulse Table]\n0 0 NA NA\n1n -1 NA NA\n2n 0 NA NA\n"  // 10-13: replaces the first
      "[POWER Pulse Table]\n0 0 NA NA\n1n 1 NA NA\n"          // 14-16
      "[Pullup]\n0 0 NA NA\n"                                 // 17-18
      "[Ramp]\ndV/dt_r 1/1n NA NA\ndV/dt_r 2/1n NA NA\n"      // 19-21
      "[Rising Waveform]\n0 0 NA NA\n1n 1 NA NA\n"            // 22-24
      "[Model Selector] x\na fast\nb slow\n"                  // 25-27
      "[Pullup]\n1 2 NA NA\n"                                 // 28-29: no submodel's
      "[Model] m\n" + kModel + kPullup + "[End]\n");          // the model's own
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    6) -\n"
            "    [Submodel Spec] should be specified before other keywords for a model\n"
            "ERROR t.ibs (line    8) -\n"
            "    Incorrect Number of Line Items (2) For GND Pulse: Expecting 1\n"
            "ERROR t.ibs - Require at least 2 Data Points for GND Pulse Table Waveform Beginning "
            "at Line 8\n"
            "ERROR t.ibs (line   10) - [GND Pulse Table] Already Defined\n"
            "ERROR t.ibs - First Typical Value should be the same as the Last for POWER Pulse "
            "Table Waveform Beginning at Line 14\n"
            "ERROR t.ibs - Require at least 2 Voltage Points for Pullup Beginning at Line 17\n"
            "ERROR t.ibs (line   21) - dV/dt_r Already Defined For Model 's'\n"
            "ERROR t.ibs - R_fixture Not Defined For Rising Waveform Waveform Beginning on Line "
            "22\n"
            "ERROR t.ibs - V_fixture Not Defined For Rising Waveform Waveform Beginning on Line "
            "22\n"
            "ERROR t.ibs - Submodel s: [Submodel Spec] V_trigger_r is required when POWER_Pulse is "
            "specified\n"
            "ERROR t.ibs (line   28) - Orphan Sub Model keyword.\n"
            "ERROR t.ibs (line   29) - Orphan data line keyword.\n");
  const Submodel* s = submodel_at(r);
  ASSERT_NE(s, nullptr);
  ASSERT_TRUE(s->spec && s->gnd_pulse && s->power_pulse && s->gnd_clamp && s->pullup && s->ramp);
  EXPECT_EQ(s->gnd_pulse->rows.size(), 3u);  // the second table's
  EXPECT_EQ(s->rising.size(), 1u);
  ASSERT_EQ(r.document->models.size(), 1u);
  EXPECT_NE(r.document->models[0]->pullup, nullptr);
}

TEST(SubmodelChecks, WholeSubmodel) {
  test::expect_reports(
      [](const std::string& body) { return without_lines(read_submodel(body).report); },
      {
          {"Submodel_type Bus_hold\n" + kTriggers + kRamp + kPulldown, ""},
          {"Submodel_type Bus_hold\n",
           "ERROR t.ibs - Submodel s: [Submodel Spec] is required when Submodel_type is Bus_hold\n"
           "ERROR t.ibs - Submodel s: [Ramp] is required when Submodel_type is Bus_hold\n"
           "ERROR t.ibs - Submodel s: Either [Pullup] or [Pulldown] is required when "
           "Submodel_type is Bus_hold\n"},
          {"Submodel_type Bus_hold\n[Submodel Spec]\n" + kRamp + kPullup,
           "ERROR t.ibs - Submodel s: Empty Submodel Spec\n"
           "ERROR t.ibs - Submodel s: [Submodel Spec] V_trigger_r is required when Submodel_type "
           "is Bus_hold\n"
           "ERROR t.ibs - Submodel s: [Submodel Spec] V_trigger_f is required when Submodel_type "
           "is Bus_hold\n"},
          // A refused type is no type: no type rule applies.
          {"Submodel_type bus_hold\n", ""},
          {"", "ERROR t.ibs - Submodel 's': Submodel_type Not Defined\n"},
          {"Submodel_type Dynamic_clamp\n" + kGndClamp, ""},
          {"Submodel_type Dynamic_clamp\n" + kTriggers + kGndPulse + kPowerPulse, ""},
          {"Submodel_type Dynamic_clamp\n[Submodel Spec]\nV_trigger_r 1 NA NA\nOff_delay 1n NA NA\n" +
               kGndPulse,
           "ERROR t.ibs - Submodel s: [Submodel Spec] V_trigger_f is required when GND_Pulse is "
           "specified\n"
           "ERROR t.ibs - Submodel s: [Submodel Spec] Off_delay  cannot be specified with "
           "Dynamic_clamp submodels\n"},
          {"Submodel_type Bus_hold\n" + kTriggers + "Off_delay 1n NA NA\n" + kRamp + kPullup +
               kPulldown,
           "ERROR t.ibs - SubModel s: Both Pullup and Pulldown cannot be specified when Off_delay "
           "is specified.\n"},
      });
}

TEST(SubmodelEndOfFile, RampsAndChecksOfEverySubmodel) {
  const auto r = read_submodel("Submodel_type Bus_hold\n" + kTriggers +
                                   "[Ramp]\ndV/dt_r 1/2m NA NA\ndV/dt_f 1/1n NA NA\n" + kPullup,
                               true);
  EXPECT_NE(r.report.find("WARNING t.ibs - Sub Model 's': Rising TYP Ramptime 2.000e+06nsec "
                          "unusually large ( > 1.000e+06nsec )\n"),
            std::string::npos)
      << r.report;
  // s is ended by the next [Submodel] after an unknown keyword, t by the end of the file.
  EXPECT_EQ(without_lines(read_submodel("Submodel_type Dynamic_clamp\n[Bogus]\n"
                                        "[Submodel] t\nSubmodel_type Dynamic_clamp\n[Bogus]\n",
                                        true)
                              .report),
            "ERROR t.ibs - Submodel s: GND Pulse Table or POWER Pulse Table or GND Clamp or POWER "
            "Clamp is required when Submodel_type is Dynamic_clamp\n"
            "ERROR t.ibs - Required keyword 'Component' not found.\n"
            "ERROR t.ibs - Submodel t: GND Pulse Table or POWER Pulse Table or GND Clamp or POWER "
            "Clamp is required when Submodel_type is Dynamic_clamp\n");
}

// A trigger against the first and last voltages of each waveform of its edge.
TEST(SubmodelChecks, TriggersAgainstWaveforms) {
  const std::string rising = "[Rising Waveform]\nR_fixture = 50\nV_fixture = 0\n";
  const std::string falling = "[Falling Waveform]\nR_fixture = 50\nV_fixture = 3.3\n";
  const std::string up = rising + "0 0.2 NA NA\n1n 3.0 NA NA\n";
  const std::string down = falling + "0 3.0 NA NA\n1n 0.2 NA NA\n";
  const std::string min_max =
      "WARNING t.ibs -\n"
      "    Submodel s: V_trigger_r (Min) is less than the start of Rising Waveform\n"
      "WARNING t.ibs -\n"
      "    Submodel s: V_trigger_r (Max) is greater than the end of Rising Waveform\n";
  test::expect_reports(
      [](const std::string& lines) {
        const size_t eol = lines.find('\n') + 1;
        return without_lines(read_submodel("Submodel_type Dynamic_clamp\n[Submodel Spec]\n" +
                                           lines.substr(0, eol) + kGndClamp + lines.substr(eol))
                                 .report);
      },
      {
          {"V_trigger_r 1.5 1.4 1.6\n" + rising + "0 0.2 0.1 0.3\n1n 3.0 2.9 3.1\n", ""},
          {"V_trigger_r 0.2 NA NA\n" + up, ""},  // equal is not beyond
          {"V_trigger_r 0.1 NA NA\n" + up + rising + "0 0 NA NA\n1n 3.0 NA NA\n",
           "WARNING t.ibs -\n"
           "    Submodel s: V_trigger_r (Typ) is less than the start of Rising Waveform\n"},
          // Corner by corner; a side without the corner uses its typical value, and a corner
          // neither side gives is skipped.
          {"V_trigger_r 1.5 0.1 3.5\n" + up, min_max},
          {"V_trigger_r 1.5 NA NA\n" + rising + "0 0.2 1.6 0.1\n1n 3.0 3.1 1.4\n", min_max},
          // Without a typical value (its NA was reported at its line) it is not compared.
          {"V_trigger_r NA 0.1 5\n" + up, ""},
          {"V_trigger_f 1.0 NA NA\n" + down + up, ""},
          {"V_trigger_f 3.5 NA NA\n" + down,
           "WARNING t.ibs -\n"
           "    Submodel s: V_trigger_f (Typ) is greater than the start of Falling Waveform\n"},
          {"V_trigger_f 0.1 NA NA\n" + down,
           "WARNING t.ibs -\n"
           "    Submodel s: V_trigger_f (Typ) is less than the end of Falling Waveform\n"},
      });
}

TEST(SubmodelEndOfFile, AddSubmodelEntriesAreResolved) {
  const std::string models = "[Model] m\n" + kModel + "[Add Submodel]\nbus All\nclamp All\n" +
                             "[Model] n\n" + kModel + "[Add Submodel]\nBus Non-Driving\n";
  const std::string no_component = "ERROR t.ibs - Required keyword 'Component' not found.\n";
  // The newest model first; names compared with case.
  const auto r = test::read_lines(models + "[Submodel] bus\n" + kBusHold + "[End]\n", "t.ibs", 3,
                                  true);
  EXPECT_EQ(r.report, no_component +
                          "ERROR t.ibs - Could not find definition for Submodel Bus of Model n\n"
                          "ERROR t.ibs - Could not find definition for Submodel clamp of Model m\n");
  EXPECT_EQ(SUBMDL_Find(r.document.get(), "bus"), submodel_at(r));
  EXPECT_EQ(SUBMDL_Find(r.document.get(), "Bus"), nullptr);
  // A file without submodels still has its entries looked up.
  EXPECT_EQ(test::read_lines(models + "[End]\n", "t.ibs", 3, true).report,
            no_component +
                "ERROR t.ibs - Could not find definition for Submodel Bus of Model n\n"
                "ERROR t.ibs - Could not find definition for Submodel bus of Model m\n"
                "ERROR t.ibs - Could not find definition for Submodel clamp of Model m\n");
}

}  // namespace
}  // namespace tarn
