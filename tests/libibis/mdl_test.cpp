#include "libibis/src/mdl.h"

#include <gtest/gtest.h>

#include <span>
#include <string>

#include "libibis/src/mdl_plus.h"
#include "libibis/src/parse.h"
#include "libibis/src/rpt.h"
#include "model_fixture.h"
#include "report_table.h"

namespace tarn {
namespace {

using test::at_lines;
using test::read_lines;
using test::model_at;
using test::without_lines;

test::ReadResult read_model(const std::string& body, int version = 3) {
  return test::read_lines("[Model] m\n" + body + "[End]\n", "t.ibs", version);
}

TEST(ModelName, Rules) {
  const auto at = [](const std::string& lines) { return at_lines(read_lines(lines).report); };
  test::expect_reports(at, {
      {"[Model] abcdefghijklmnopqrst\n", ""},
      {"[Model] abcdefghijklmnopqrstu\n",
       "ERROR t.ibs (line    1) - Model Name Over 20 Characters Long\n"},
      {"[Model]\n", "ERROR t.ibs (line    1) - 'Model' Keyword Missing name\n"},
      {"[Model] a b\n",
       "ERROR t.ibs (line    1) -\n    Incorrect Number of Line Items (2) For Keyword Model: "
       "Expecting 1\n"},
      {"[Model] na\n", "ERROR t.ibs (line    1) - Invalid Model Name (\"na\"); Reserved Word.\n"},
      {"[Model] buf\n[Model] buf\n",
       "ERROR t.ibs (line    2) - Model Name Previously Defined (\"buf\")\n"},
      {"[Model] buf\n[Model] BUF\n", ""},
      // A cut name is neither a reserved word nor a duplicate.
      {"[Model] abcdefghijklmnopqrst\n[Model] abcdefghijklmnopqrstuv\n",
       "ERROR t.ibs (line    2) - Model Name Over 20 Characters Long\n"},
  });
  // Each is kept, under its name as cut or its first item.
  const auto r =
      read_lines("[Model] abcdefghijklmnopqrstu\n[Model]\n[Model] a b\n[Model] na\n[Model] na\n");
  std::string names;
  for (const auto& m : r.document->models) names += m->name + ",";
  EXPECT_EQ(names, "abcdefghijklmnopqrst,,a,na,na,");
}

TEST(ModelSubparameters, Lines) {
  const auto at = [](int version) {
    return [version](const std::string& line) {
      return at_lines(read_model(line + "\n", version).report);
    };
  };
  test::expect_reports(at(3), {
      {"Model_type input",
       "ERROR t.ibs (line    2) - Invalid Model_type (\"input\") (try \"Input\")\n"},
      {"Model_type = Input", "ERROR t.ibs (line    2) - Invalid Model_type Line\n"},
      {"Model_type Input Output",
       "ERROR t.ibs (line    2) -\n    Incorrect Number of Line Items (3) For Model_type: "
       "Expecting 2\n"},
      {"Model_type", "ERROR t.ibs (line    2) - 'Model_type' Subparameter Missing Setting\n"},
      {"Polarity inverting",
       "ERROR t.ibs (line    2) - Invalid Polarity (\"inverting\") (try \"Inverting\")\n"},
      {"Enable High", "ERROR t.ibs (line    2) - Invalid Enable (\"High\")\n"},
      {"Vinl 0.8", "ERROR t.ibs (line    2) - Invalid Vinl Line\n"},
      {"Cref =", "ERROR t.ibs (line    2) - Invalid Cref Line\n"},
      {"Rref : 50", "ERROR t.ibs (line    2) - Invalid Rref Line\n"},
      {"Vref = 0.5 V",
       "ERROR t.ibs (line    2) - Incorrect Number of Line Items (4) For Vref: Expecting 3\n"},
      {"Vinh = high", "ERROR t.ibs (line    2) - Invalid Vinh Value (\"high\")\n"},
      {"C_comp NA 1p 3p", "ERROR t.ibs (line    2) - 'NA' Not Allowed For Typical Value\n"},
      {"C_comp 2p 1p", "ERROR t.ibs (line    2) - No maximum Value Was Provided for C_comp\n"},
      {"model_type Input", "ERROR t.ibs (line    2) - Unknown Line Among Model Data\n"},
  });
  // The types that came with the later version.
  test::expect_reports(at(2), {
      {"Model_type Series", "ERROR t.ibs (line    2) - Invalid Model_type (\"Series\")\n"},
      {"Model_type 3-state_ECL",
       "ERROR t.ibs (line    2) - Invalid Model_type (\"3-state_ECL\")\n"},
      {"Model_type Terminator", ""},
  });
}

TEST(ModelSubparameters, StoredValues) {
  const auto r = read_model(
      "Model_type I/O_open_sink\nEnable Active-Low\nVinl = 0.8V\nVmeas=1.65\nVref = 0.5 V\n"
      "C_comp 2p 1p 3p\n[Model] bad\nModel_type input\nPolarity inverting\nEnable High\n"
      "Vinh = high\n");
  const IbisModel& m = *model_at(r);
  EXPECT_EQ(m.model_type, ModelType::IOOpenSink);
  EXPECT_EQ(m.enable, Enable::ActiveLow);
  EXPECT_EQ(m.vinl, 0.8);
  EXPECT_EQ(m.vmeas, 1.65);
  EXPECT_EQ(m.vref, 0.5);  // kept though the line has an item too many
  EXPECT_EQ(m.c_comp->typ, 2e-12);
  const IbisModel& bad = *model_at(r, 1);
  EXPECT_EQ(bad.model_type, ModelType::NoType);
  EXPECT_EQ(bad.polarity, Polarity::Invalid);
  EXPECT_EQ(bad.enable, Enable::Invalid);
  EXPECT_FALSE(bad.vinh);
}

TEST(ModelSubparameters, SecondDefinitionsKeepTheFirst) {
  const auto r = read_model(
      "Polarity Inverted\nPolarity Inverting\nModel_type Output\nModel_type Input\n"
      "C_comp 1p NA NA\nC_comp 2p NA NA\nVinl = x\nVinl = 0.8\nVinl = 0.9\n");
  EXPECT_EQ(at_lines(r.report),
            "ERROR t.ibs (line    2) - Invalid Polarity (\"Inverted\")\n"
            "ERROR t.ibs (line    3) - Polarity Already Defined For Model 'm'\n"
            "ERROR t.ibs (line    5) - Model_type Already Defined For Model 'm'\n"
            "ERROR t.ibs (line    7) - C_comp Already Defined For Model 'm'\n"
            "ERROR t.ibs (line    8) - Invalid Vinl Value (\"x\")\n"
            "ERROR t.ibs (line   10) - Vinl Already Defined For Model 'm'\n");
  const IbisModel& m = *model_at(r);
  EXPECT_EQ(m.model_type, ModelType::Output);
  EXPECT_EQ(m.c_comp->typ, 1e-12);
  EXPECT_EQ(m.vinl, 0.8);  // a value refused is not given
}

TEST(ModelKeywords, EachKeywordIsReadWhereItBelongs) {
  const auto r = read_model(
      "Model_type Output\n[Temperature Range] 25 100 0\nx\n[Voltage Range] 3.3 3 3.6\n"
      "[Pullup Reference] 3.3 NA NA\n[Pulldown Reference] 0 NA NA\n"
      "[POWER Clamp Reference] 3.3 NA NA\n[GND Clamp Reference] 0 NA NA\n[TTgnd] 1n NA NA\n"
      "[TTpower] 1n NA NA\n[Pulldown]\n0 0 NA NA\n[Pullup]\n0 0 NA NA\n[GND Clamp]\n"
      "0 0 NA NA\n[POWER Clamp]\n0 0 NA NA\n[Ramp]\nR_load = 50\n[Rising Waveform]\n"
      "R_fixture = 50\n[Falling Waveform]\nV_fixture = 0\n[Driver Schedule]\nm2 1n NA 1n NA\n"
      "[Model] t\nModel_type Terminator\n[Rgnd] 50 NA NA\n[Rpower] 50 NA NA\n[Rac] 50 NA NA\n"
      "[Cac] 5p NA NA\n[Model] s\nModel_type Series\n[R Series] 1 NA NA\nx\n"
      "[L Series] 1n NA NA\n[Rl Series] 1 NA NA\n[C Series] 1p NA NA\n[Lc Series] 1n NA NA\n"
      "[Rc Series] 1 NA NA\n[Series Current]\n0 0 NA NA\n[Series MOSFET]\nVds = 1\n"
      "[Model] w\nModel_type Series_switch\n[Off]\n[Model] i\nModel_type Input\n"
      "[Model Spec]\nVmeas 1.5 NA NA\n[Add Submodel]\nbus Non-Driving\n");
  // Keywords without data lines take none.
  EXPECT_EQ(at_lines(r.report),
            "ERROR t.ibs (line    4) - Expecting Keyword.  Invalid Line\n"
            "ERROR t.ibs (line   37) - Expecting Keyword.  Invalid Line\n");
  const IbisModel& o = *model_at(r);
  const IbisModel& t = *model_at(r, 1);
  const IbisModel& s = *model_at(r, 2);
  const IbisModel& w = *model_at(r, 3);
  const IbisModel& i = *model_at(r, 4);
  for (const auto& [name, kept] : std::initializer_list<std::pair<const char*, bool>>{
           {"Temperature Range", o.temperature_range && o.temperature_range->max == 0},
           {"Voltage Range", o.voltage_range && o.voltage_range->min == 3},
           {"Pullup Reference", !!o.pullup_reference},
           {"Pulldown Reference", !!o.pulldown_reference},
           {"POWER Clamp Reference", !!o.power_clamp_reference},
           {"GND Clamp Reference", !!o.gnd_clamp_reference},
           {"TTgnd", !!o.ttgnd},
           {"TTpower", !!o.ttpower},
           {"Pulldown", o.pulldown && o.pulldown->rows.size() == 1},
           {"Pullup", o.pullup && o.pullup->rows.size() == 1},
           {"GND Clamp", o.gnd_clamp && o.gnd_clamp->rows.size() == 1},
           {"POWER Clamp", o.power_clamp && o.power_clamp->rows.size() == 1},
           {"Ramp", o.ramp && o.ramp->r_load == 50},
           {"Rising Waveform", o.rising_waveforms.size() == 1 && o.rising_waveforms[0]->r_fixture},
           {"Falling Waveform",
            o.falling_waveforms.size() == 1 && o.falling_waveforms[0]->v_fixture},
           {"Driver Schedule", o.driver_schedule && o.driver_schedule->entries.size() == 1},
           {"Rgnd", !!t.rgnd},
           {"Rpower", !!t.rpower},
           {"Rac", !!t.rac},
           {"Cac", !!t.cac},
           {"R Series", s.on_block && s.on_block->r_series},
           {"L Series", s.on_block && s.on_block->l_series},
           {"Rl Series", s.on_block && s.on_block->rl_series},
           {"C Series", s.on_block && s.on_block->c_series},
           {"Lc Series", s.on_block && s.on_block->lc_series},
           {"Rc Series", s.on_block && s.on_block->rc_series},
           {"Series Current", s.on_block && s.on_block->series_current->rows.size() == 1},
           {"Off", w.off_block && !w.on_block},
           {"Model Spec", i.model_spec && i.model_spec->values[14] != nullptr},
           {"Add Submodel", i.add_submodels.size() == 1 && i.add_submodels[0].name == "bus" &&
                                i.add_submodels[0].mode == SubmodelMode::NonDriving},
       })
    EXPECT_TRUE(kept) << name;
}

TEST(ModelKeywords, RangeKeywordRules) {
  const auto r = read_model(
      "Model_type Output\n[Voltage Range] 3.3 NA NA\n[Voltage Range] 5 NA NA\n[Rgnd] NA 1 2\n"
      "[TTgnd] 0 -1n 1n\n[TTpower] NA NA -2n\n");
  EXPECT_EQ(at_lines(r.report),
            "ERROR t.ibs (line    4) - Voltage Range Already Defined For Model 'm'\n"
            "ERROR t.ibs (line    5) - 'NA' Not Allowed For Typical Value\n"
            "ERROR t.ibs (line    6) - TTgnd Typical value should be > 0\n"
            "ERROR t.ibs (line    6) - TTgnd Min value should be > 0\n"
            "ERROR t.ibs (line    7) - 'NA' Not Allowed For Typical Value\n"
            "ERROR t.ibs (line    7) - TTpower Max value should be > 0\n");
  EXPECT_EQ(model_at(r)->voltage_range->typ, 3.3);
}

TEST(ModelKeywords, OrphansOutsideAModel) {
  const auto r = test::read_lines(
      "[Pullup]\n0 0 NA NA\n[Model] m\nModel_type Terminator\nC_comp 1p NA NA\n"
      "[Voltage Range] 3.3 NA NA\n[Component] C\n[Ramp]\nR_load = 50\n[End]\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    1) - Orphan Model keyword.\n"
            "ERROR t.ibs (line    2) - Orphan data line keyword.\n"
            "ERROR t.ibs (line    8) - Orphan Model keyword.\n"
            "ERROR t.ibs (line    9) - Orphan data line keyword.\n");
  EXPECT_EQ(model_at(r)->ramp, nullptr);
}

TEST(ModelKeywords, SeriesBlocks) {
  test::expect_reports([](const std::string& body) { return at_lines(read_model(body).report); }, {
      {"Model_type Series_switch\n[R Series] 1 NA NA\n[On]\n[L Series] 1n NA NA\n",
       "ERROR t.ibs (line    3) - No preceding [On] or [Off] keyword found. Assuming [On]\n"
       "ERROR t.ibs (line    4) - [On] Series Info: Already Defined for this model\n"},
      {"Model_type Series\n[R Series] 1 NA NA\n[C Series] 1p NA NA\n[R Series] 2 NA NA\n",
       "ERROR t.ibs (line    5) - R_series Already Defined For Model 'm'\n"},
      {"Model_type Output\n[R Series] 1 NA NA\n[On]\n[Series Current]\n0 0 NA NA\n",
       "ERROR t.ibs (line    3) - Keyword is valid only for Series and Series_switch models\n"
       "ERROR t.ibs (line    4) - Keyword is valid only for Series_switch models\n"
       "ERROR t.ibs (line    5) - Keyword is valid only for Series and Series_switch models\n"
       "ERROR t.ibs (line    6) - Keyword is valid only for Series and Series_switch models\n"},
      {"Model_type Series\n[Off]\n",
       "ERROR t.ibs (line    3) - Keyword is valid only for Series_switch models\n"},
      {"Model_type Series_switch\n[Voltage Range] 3.3 NA NA\n[Off]\n[R Series] 1 NA NA\n"
       "[Pulldown Reference] 0 NA NA\n[Rgnd] 5 NA NA\n",
       "ERROR t.ibs (line    6) - Model 'm' is of type Series_switch. Pulldown Reference should be "
       "defined before the [On] and [Off] sections\n"},
  });

  const auto r = read_model(
      "Model_type Series_switch\n[On]\n[R Series] 1 NA NA\n[Off]\n[R Series] 1M NA NA\n");
  const IbisModel& m = *model_at(r);
  ASSERT_NE(m.on_block, nullptr);
  ASSERT_NE(m.off_block, nullptr);
  EXPECT_EQ(m.on_block->r_series->typ, 1);
  EXPECT_EQ(m.off_block->r_series->typ, 1e6);
}

TEST(ModelKeywords, ModelSpecComesBeforeTheOtherKeywords) {
  // The states of a switch do not count, nor does an empty list not yet holding data.
  for (const auto& [before, misplaced] : std::initializer_list<std::pair<const char*, bool>>{
           {"", false}, {"[On]\n", false}, {"[Add Submodel]\n", false},
           {"[Voltage Range] 3.3 NA NA\n", true}, {"[Pulldown]\n", true}, {"[Ramp]\n", true},
           {"[Falling Waveform]\n", true}, {"[Add Submodel]\nbus All\n", true},
           {"[TTpower] 1n NA NA\n", true}}) {
    const auto r = read_model(std::string("Model_type Series_switch\n") + before +
                              "[Model Spec]\nVmeas 1 NA NA\n");
    const bool reported = r.report.find(
                              "[Model Spec] should be specified immediately after all the "
                              "subparameters of a model and before the other keywords of "
                              "a model") != std::string::npos;
    EXPECT_EQ(reported, misplaced) << before;
    EXPECT_NE(model_at(r)->model_spec, nullptr) << before;
  }
}

TEST(AddSubmodel, KeywordAndLines) {
  const auto at = [](const std::string& lines) { return at_lines(read_model(lines).report); };
  test::expect_reports(at, {
      {"Model_type Input\n[Add Submodel]\nhold Non-Driving\nclamp All\n", ""},
      {"Model_type Input\n[Add Submodel] x\nhold\n",
       "ERROR t.ibs (line    3) -\n    Incorrect Number of Line Items (2) For Add Submodel: "
       "Expecting 1\n"
       "ERROR t.ibs (line    4) - Add Submodel Mode not found\n"},
      {"Model_type Input\n[Add Submodel]\nhold Driving\n",
       "ERROR t.ibs (line    4) - Driving mode is not valid for input model types\n"},
      {"Model_type Terminator\n[Add Submodel]\nhold Driving\n",
       "ERROR t.ibs (line    4) - Driving mode is not valid for input model types\n"},
      {"Model_type 3-state_ECL\n[Add Submodel]\nhold Non-Driving\n", ""},
      {"Model_type Open_source\n[Add Submodel]\nhold Non-Driving\n",
       "ERROR t.ibs (line    4) - Non-Driving mode is not valid for output model types\n"},
      {"Model_type I/O\n[Add Submodel]\nhold driving\nclamp Drive\n",
       "ERROR t.ibs (line    4) - Invalid Add Submodel Mode (\"driving\") (try \"Driving\")\n"
       "ERROR t.ibs (line    5) - Invalid Add Submodel Mode (\"Drive\")\n"},
      {"Model_type I/O\n[Add Submodel]\nhold All x\nthe_submodel_name_is_long All\nGND All\n",
       "ERROR t.ibs (line    4) - Invalid Add Submodel Line. Expecting two items only\n"
       "ERROR t.ibs (line    5) - Add Submodel Name Over 20 Characters Long\n"
       "ERROR t.ibs (line    6) - Invalid Submodel Name (\"GND\"); Reserved Word.\n"},
      {"Model_type Series\n[Add Submodel]\nhold All\n",
       "ERROR t.ibs (line    3) -\n    Add Submodel is not allowed for Series or Series_switch "
       "models\n"},
      {"Model_type I/O\n[Add Submodel]\nhold All\n[Add Submodel]\nclamp All\n",
       "ERROR t.ibs (line    5) - Add sub model: Already Defined for this model\n"},
  });
  // Entries are kept whatever their findings, names as cut; a second list replaces the first.
  const auto r =
      read_model("Model_type I/O\n[Add Submodel]\nthe_submodel_name_is_long All\nx Drive\n");
  const auto& entries = model_at(r)->add_submodels;
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].name, "the_submodel_name_is");
  EXPECT_EQ(entries[0].mode, SubmodelMode::All);
  EXPECT_EQ(entries[1].mode, SubmodelMode::NoMode);
  const auto second = read_model("Model_type I/O\n[Add Submodel]\na All\n[Add Submodel]\nb All\n");
  ASSERT_EQ(model_at(second)->add_submodels.size(), 1u);
  EXPECT_EQ(model_at(second)->add_submodels[0].name, "b");
}

// The checks when a model ends, each with a model that breaks only that rule.
TEST(ModelEnd, Rules) {
  const std::string kRefs = "[Voltage Range] 3.3 NA NA\n";
  const std::string kRamp = "[Ramp]\ndV/dt_r 1/1n NA NA\ndV/dt_f 1/1n NA NA\n";
  const auto end = [](const std::string& body) { return without_lines(read_model(body).report); };
  test::expect_reports(end, {
      {"Model_type Output\nC_comp 1p NA NA\n" + kRefs + kRamp, ""},
      {kRefs + kRamp,
       "ERROR t.ibs - Model 'm': Model_type Not Defined\nERROR t.ibs - Model 'm': C_comp Not "
       "Defined\n"},
      {"Model_type Input\nC_comp 1p NA NA\nVinh = 2\n" + kRefs,
       "WARNING t.ibs - Model 'm': Model_type 'Input' must have Vinl set\n"},
      {"Model_type I/O_ECL\nC_comp 1p NA NA\n" + kRefs + kRamp,
       "WARNING t.ibs - Model 'm': Model_type 'I/O_ECL' must have Vinl set\n"
       "WARNING t.ibs - Model 'm': Model_type 'I/O_ECL' must have Vinh set\n"},
      {"Model_type Output\nC_comp 1p NA NA\n[Rgnd] 1 NA NA\n[Cac] 1p NA NA\n" + kRefs + kRamp,
       "ERROR t.ibs - Model 'm': Rgnd is set when Model_type is not Terminator\n"
       "ERROR t.ibs - Model 'm': Cac is set when Model_type is not Terminator\n"
       "ERROR t.ibs - Model 'm': Rac must be defined when Cac is\n"},
      {"Model_type Terminator\nC_comp 1p NA NA\n[Rac] 50 NA NA\n" + kRefs,
       "ERROR t.ibs - Model 'm': Cac must be defined when Rac is\n"},
      {"Model_type I/O\nVinl = 0.8\nVinh = 2\nC_comp 1p NA NA\n" + kRamp,
       "ERROR t.ibs - Model 'm': Pullup Reference Required when No Voltage Range is Specified\n"
       "ERROR t.ibs -\n    Model 'm': Pulldown Reference Required when No Voltage Range is "
       "Specified\n"
       "ERROR t.ibs - Model 'm': POWER Clamp Reference Required when No Voltage Range is "
       "Specified\n"
       "ERROR t.ibs -\n    Model 'm': GND Clamp Reference Required when No Voltage Range is "
       "Specified\n"},
      {"Model_type Input\nVinl = 0.8\nVinh = 2\nC_comp 1p NA NA\n[Pullup Reference] 3.3 NA NA\n"
       "[Pulldown Reference] 0 NA NA\n[POWER Clamp Reference] 3.3 NA NA\n[GND Clamp Reference] 0 "
       "NA NA\n",
       ""},
      {"Model_type 3-state_ECL\nC_comp 1p NA NA\n" + kRefs,
       "ERROR t.ibs - Model 'm': Ramp Not Defined\n"},
      {"Model_type Outptu\nC_comp 1p NA NA\n" + kRefs,
       "ERROR t.ibs - Model 'm': Ramp Not Defined\n"},
      {"Model_type Input_ECL\nVinl = -1.2\nVinh = -0.9\nC_comp 1p NA NA\n" + kRefs, ""},
      {"Model_type Series\nC_comp 1p NA NA\n" + kRefs + kRamp + "[R Series] 1 NA NA\n",
       "ERROR t.ibs - Model 'm': Ramp Not Allowed for Series and Series_switch\n"},
      {"Model_type Series\nC_comp 1p NA NA\n[Model Spec]\nVmeas 1 NA NA\n" + kRefs +
           "[TTgnd] 1n NA NA\n[TTpower] 1n NA NA\n[Pullup]\n0 0 NA NA\n1 -1 NA NA\n[Pulldown]\n"
           "0 0 NA NA\n1 1 NA NA\n[GND Clamp]\n0 0 NA NA\n1 0 NA NA\n[POWER Clamp]\n0 0 NA NA\n"
           "1 0 NA NA\n[Rising Waveform]\nR_fixture = 50\nV_fixture = 0\n0 0 NA NA\n1n 1 NA NA\n"
           "[Falling Waveform]\nR_fixture = 50\nV_fixture = 0\n0 1 NA NA\n1n 0 NA NA\n"
           "[Driver Schedule]\n",
       "ERROR t.ibs - Model 'm': Pullup is not allowed when Model_type is Series\n"
       "ERROR t.ibs - Model 'm': Pulldown is not allowed when Model_type is Series\n"
       "ERROR t.ibs - Model 'm': POWER_Clamp is not allowed when Model_type is Series\n"
       "ERROR t.ibs - Model 'm': GND_Clamp is not allowed when Model_type is Series\n"
       "ERROR t.ibs - Model 'm': Rising Waveform is not allowed when Model_type is Series\n"
       "ERROR t.ibs - Model 'm': Falling Waveform is not allowed when Model_type is Series\n"
       "ERROR t.ibs - Model 'm': TTgnd is not allowed when Model_type is Series\n"
       "ERROR t.ibs - Model 'm': TTpower is not allowed when Model_type is Series\n"
       "ERROR t.ibs - Model 'm': Driver Schedule is not allowed when Model_type is Series\n"
       "WARNING t.ibs - Model 'm': Model Spec is not allowed when Model_type is Series\n"},
      {"Model_type Series_switch\nC_comp 1p NA NA\n" + kRefs + "[Pullup]\n0 0 NA NA\n1 -1 NA NA\n",
       "ERROR t.ibs - Model 'm': Pullup is not allowed when Model_type is Series_switch\n"
       "ERROR t.ibs - Model m is of type Series_switch. [On] keyword is required\n"
       "ERROR t.ibs - Model m is of type Series_switch. [Off] keyword is required\n"},
      {"Model_type Series_switch\nC_comp 1p NA NA\n" + kRefs + "[Off]\n[R Series] 1M NA NA\n",
       "ERROR t.ibs - Model m is of type Series_switch. [On] keyword is required\n"},
  });
}

TEST(ModelEnd, TablesAndModelsCloseAtTheNextKnownKeyword) {
  // An unknown keyword between leaves the table open until the next model keyword, and the
  // model open until the end of the file.
  const auto r = test::read_lines(
      "[Model] m\nModel_type Terminator\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n[Pullup]\n"
      "0 0 NA NA\n[Bogus]\n[GND Clamp]\n0 0 NA NA\n1 0 NA NA\n[Other]\n[End]\n",
      "t.ibs", 3, true);
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    7) - Invalid Keyword. Bogus\n"
            "ERROR t.ibs - Require at least 2 Voltage Points for Pullup Beginning at Line 5\n"
            "ERROR t.ibs (line   11) - Invalid Keyword. Other\n"
            "ERROR t.ibs - Required keyword 'Component' not found.\n");
}

TEST(ModelCalls, CallsThatNoReadingMakesAreProgramBugs) {
  test::read_lines("\n", "lines.ibs");
  test::MemStream out;
  RPT_SetStream(out.get());
  RPT_SetFileName("t.ibs");
  MDL_Reset();
  MDL_Line(LineKind::Comment, Kw::MODEL, "x");
  MDL_Line(LineKind::Data, Kw::COMPONENT, "x");
  MDL_Line(LineKind::Data, Kw::PULLUP, "x");
  RPT_SetStream(nullptr);
  EXPECT_EQ(out.text(),
            "PROGRAM BUG t.ibs (line    1) - Bad line type passed to mdl.\n"
            "PROGRAM BUG t.ibs (line    1) - Bad keyword type passed to mdl.\n"
            "ERROR t.ibs (line    1) - Orphan data line keyword.\n");
}

TEST(ModelAccessors, GivenFieldsAndTheRest) {
  const auto r = read_model("Model_type I/O\nVinh = 2\n[Add Submodel]\nbus All\n[Model] empty\n");
  const IbisModel* m = model_at(r);
  const IbisModel* empty = model_at(r, 1);
  ASSERT_NE(empty, nullptr);
  double v = 0;
  const Range* range = nullptr;
  const Ramp* ramp = nullptr;
  const std::vector<AddSubmodelEntry>* entries = nullptr;
  ASSERT_EQ(mdl_get_vinh(m, &v), 1);
  EXPECT_EQ(v, 2.0);
  EXPECT_EQ(mdl_get_vmeas(m, &v), 0);
  EXPECT_EQ(mdl_get_pullup_reference(m, &range), 0);
  EXPECT_EQ(range, nullptr);
  ASSERT_EQ(mdl_get_add_submodels(m, &entries), 1);
  EXPECT_EQ(entries->size(), 1u);
  EXPECT_EQ(mdl_get_ramp(empty, &ramp), 0);
  EXPECT_STREQ(model_type_text(m), "I/O");
  // A setting that was not given is named by the table's end marker.
  EXPECT_STREQ(model_type_text(empty), "No Type");
  EXPECT_STREQ(polarity_text(empty), "No Polarity");
  EXPECT_STREQ(enable_text(empty), "No Enable");

  IbisModel plotted;
  EXPECT_EQ(mdl_get_plot_reference(&plotted, &v), 0);
  mdl_set_plot_reference(&plotted, 1.5);
  mdl_set_plot_reference(&plotted, -2.0);
  ASSERT_EQ(mdl_get_plot_reference(&plotted, &v), 1);
  EXPECT_EQ(v, -2.0);
}

TEST(ModelAccessorsDeathTest, NullArgumentsAreInternalFaults) {
  double v = 0;
  IbisModel m;
  EXPECT_DEATH((void)mdl_get_vinl(nullptr, &v), "");
  EXPECT_DEATH((void)mdl_get_vinl(&m, nullptr), "");
  EXPECT_DEATH(model_end(nullptr), "");
}

// A look-up, and the index built once for many, find the model defined last of equal names, by
// the exact name only.
TEST(FindModel, ExactNameNewestFirstWithOrWithoutTheIndex) {
  const auto r = test::read_lines(
      "[Model] a\nModel_type Input\n[Model] b\n[Model] a\nModel_type Output\n[Model] a\n"
      "Model_type Terminator\n[End]\n");
  ASSERT_NE(r.document, nullptr);
  const ModelIndex index(*r.document);
  const struct {
    const char* name;
    const IbisModel* found;
  } cases[] = {{"a", model_at(r, 3)}, {"b", model_at(r, 1)}, {"A", nullptr}, {"c", nullptr}};
  for (const auto& c : cases) {
    EXPECT_EQ(index.find(c.name), c.found) << c.name;
    EXPECT_EQ(find_model(r.document.get(), c.name), c.found) << c.name;
  }
}

// Models of every type, each as its type requires, in a file that checks cleanly.
TEST(ModelFile, EveryTypeChecksCleanly) {
  std::FILE* f = std::fopen(TARN_TEST_DATA "/model_types.ibs", "rb");
  ASSERT_NE(f, nullptr);
  std::string text;
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, f)) > 0;) text.append(buffer, n);
  std::fclose(f);
  const auto r = test::read_source(text, "model_types.ibs", true);
  EXPECT_EQ(r.report, "");
  ASSERT_NE(r.document, nullptr);
  EXPECT_EQ(r.document->models.size(), 17u);
  for (const auto& row : std::span(kModelTypeNames, kModelTypesV32))
    EXPECT_NE(find_model(r.document.get(), std::string(row.name) + "_m"), nullptr) << row.name;
}

}  // namespace
}  // namespace tarn
