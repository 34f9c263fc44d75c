#include "libibis/src/mdl.h"

#include <gtest/gtest.h>

#include <span>
#include <string>

#include "libibis/src/mdl_plus.h"
#include "libibis/src/parse.h"
#include "libibis/src/rpt.h"
#include "model_fixture.h"

namespace tarn {
namespace {

using test::at_lines;
using test::model_at;
using test::without_lines;

test::ReadResult read_model(const std::string& body, int version = 3) {
  return test::read_lines("[Model] m\n" + body + "[End]\n", "t.ibs", version);
}

TEST(ModelName, Rules) {
  struct Case {
    std::string lines;
    const char* name;  // of the last model
    const char* expected;
  };
  const Case cases[] = {
      {"[Model] abcdefghijklmnopqrst\n", "abcdefghijklmnopqrst", ""},
      {"[Model] abcdefghijklmnopqrstu\n", "abcdefghijklmnopqrst",
       "ERROR t.ibs (line    1) - Model Name Over 20 Characters Long\n"},
      {"[Model]\n", "", "ERROR t.ibs (line    1) - 'Model' Keyword Missing name\n"},
      {"[Model] a b\n", "a",
       "ERROR t.ibs (line    1) -\n    Incorrect Number of Line Items (2) For Keyword Model: "
       "Expecting 1\n"},
      {"[Model] na\n", "na",
       "ERROR t.ibs (line    1) - Invalid Model Name (\"na\"); Reserved Word.\n"},
      {"[Model] buf\n[Model] buf\n", "buf",
       "ERROR t.ibs (line    2) - Model Name Previously Defined (\"buf\")\n"},
      {"[Model] buf\n[Model] BUF\n", "BUF", ""},
      // A cut name is neither a reserved word nor a duplicate.
      {"[Model] abcdefghijklmnopqrst\n[Model] abcdefghijklmnopqrstuv\n", "abcdefghijklmnopqrst",
       "ERROR t.ibs (line    2) - Model Name Over 20 Characters Long\n"},
  };
  for (const Case& c : cases) {
    const auto r = test::read_lines(c.lines + "[End]\n");
    EXPECT_EQ(at_lines(r.report), c.expected) << c.lines;
    ASSERT_NE(r.document, nullptr);
    EXPECT_EQ(r.document->models.back()->name, c.name) << c.lines;
  }
}

TEST(ModelSubparameters, Lines) {
  struct Case {
    std::string line;
    int version;
    const char* expected;
    bool (*stored)(const IbisModel&);
  };
  const Case cases[] = {
      {"Model_type I/O_open_sink", 3, "",
       [](const IbisModel& m) { return m.model_type == ModelType::IOOpenSink; }},
      {"Model_type input", 3,
       "ERROR t.ibs (line    2) - Invalid Model_type (\"input\") (try \"Input\")\n",
       [](const IbisModel& m) { return m.model_type == ModelType::NoType; }},
      {"Model_type Series", 3, "",
       [](const IbisModel& m) { return m.model_type == ModelType::Series; }},
      {"Model_type Series", 2, "ERROR t.ibs (line    2) - Invalid Model_type (\"Series\")\n",
       [](const IbisModel& m) { return m.model_type == ModelType::NoType; }},
      {"Model_type 3-state_ECL", 2,
       "ERROR t.ibs (line    2) - Invalid Model_type (\"3-state_ECL\")\n",
       [](const IbisModel& m) { return m.model_type == ModelType::NoType; }},
      {"Model_type Terminator", 2, "",
       [](const IbisModel& m) { return m.model_type == ModelType::Terminator; }},
      {"Model_type = Input", 3, "ERROR t.ibs (line    2) - Invalid Model_type Line\n",
       [](const IbisModel& m) { return m.model_type == ModelType::NoType; }},
      {"Model_type Input Output", 3,
       "ERROR t.ibs (line    2) -\n    Incorrect Number of Line Items (3) For Model_type: "
       "Expecting 2\n",
       [](const IbisModel& m) { return m.model_type == ModelType::NoType; }},
      {"Model_type", 3, "ERROR t.ibs (line    2) - 'Model_type' Subparameter Missing Setting\n",
       [](const IbisModel& m) { return m.model_type == ModelType::NoType; }},
      {"Polarity inverting", 3,
       "ERROR t.ibs (line    2) - Invalid Polarity (\"inverting\") (try \"Inverting\")\n",
       [](const IbisModel& m) { return m.polarity == Polarity::Invalid; }},
      {"Enable Active-Low", 3, "",
       [](const IbisModel& m) { return m.enable == Enable::ActiveLow; }},
      {"Enable High", 3, "ERROR t.ibs (line    2) - Invalid Enable (\"High\")\n",
       [](const IbisModel& m) { return m.enable == Enable::Invalid; }},
      {"Vinl = 0.8V", 3, "", [](const IbisModel& m) { return m.vinl == 0.8; }},
      {"Vmeas=1.65", 3, "", [](const IbisModel& m) { return m.vmeas == 1.65; }},
      {"Vinl 0.8", 3, "ERROR t.ibs (line    2) - Invalid Vinl Line\n",
       [](const IbisModel& m) { return !m.vinl; }},
      {"Cref =", 3, "ERROR t.ibs (line    2) - Invalid Cref Line\n",
       [](const IbisModel& m) { return !m.cref; }},
      {"Rref : 50", 3, "ERROR t.ibs (line    2) - Invalid Rref Line\n",
       [](const IbisModel& m) { return !m.rref; }},
      {"Vref = 0.5 V", 3,
       "ERROR t.ibs (line    2) - Incorrect Number of Line Items (4) For Vref: Expecting 3\n",
       [](const IbisModel& m) { return m.vref == 0.5; }},
      {"Vinh = high", 3, "ERROR t.ibs (line    2) - Invalid Vinh Value (\"high\")\n",
       [](const IbisModel& m) { return !m.vinh; }},
      {"C_comp 2p 1p 3p", 3, "",
       [](const IbisModel& m) { return m.c_comp && m.c_comp->typ == 2e-12; }},
      {"C_comp NA 1p 3p", 3, "ERROR t.ibs (line    2) - 'NA' Not Allowed For Typical Value\n",
       [](const IbisModel& m) { return m.c_comp != nullptr; }},
      {"C_comp 2p 1p", 3, "ERROR t.ibs (line    2) - No maximum Value Was Provided for C_comp\n",
       [](const IbisModel& m) { return m.c_comp && m.c_comp->max_status == ValueStatus::Absent; }},
      {"model_type Input", 3, "ERROR t.ibs (line    2) - Unknown Line Among Model Data\n",
       [](const IbisModel& m) { return m.model_type == ModelType::NotGiven; }},
  };
  for (const Case& c : cases) {
    const auto r = read_model(c.line + "\n", c.version);
    EXPECT_EQ(at_lines(r.report), c.expected) << c.line;
    ASSERT_NE(model_at(r), nullptr);
    EXPECT_TRUE(c.stored(*model_at(r))) << c.line;
  }
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
  struct Case {
    const char* type;
    const char* keyword;  // line 3
    const char* data;     // line 4
    const char* expected;
    bool (*landed)(const IbisModel&);
  };
  const char* kExpecting = "ERROR t.ibs (line    4) - Expecting Keyword.  Invalid Line\n";
  const Case cases[] = {
      {"Output", "[Temperature Range] 25 100 0", "x", kExpecting,
       [](const IbisModel& m) { return m.temperature_range && m.temperature_range->max == 0; }},
      {"Output", "[Voltage Range] 3.3 3 3.6", "x", kExpecting,
       [](const IbisModel& m) { return m.voltage_range && m.voltage_range->min == 3; }},
      {"Output", "[Pullup Reference] 3.3 NA NA", "x", kExpecting,
       [](const IbisModel& m) { return !!m.pullup_reference; }},
      {"Output", "[Pulldown Reference] 0 NA NA", "x", kExpecting,
       [](const IbisModel& m) { return !!m.pulldown_reference; }},
      {"Output", "[POWER Clamp Reference] 3.3 NA NA", "x", kExpecting,
       [](const IbisModel& m) { return !!m.power_clamp_reference; }},
      {"Output", "[GND Clamp Reference] 0 NA NA", "x", kExpecting,
       [](const IbisModel& m) { return !!m.gnd_clamp_reference; }},
      {"Terminator", "[Rgnd] 50 NA NA", "x", kExpecting,
       [](const IbisModel& m) { return !!m.rgnd; }},
      {"Terminator", "[Rpower] 50 NA NA", "x", kExpecting,
       [](const IbisModel& m) { return !!m.rpower; }},
      {"Terminator", "[Rac] 50 NA NA", "x", kExpecting, [](const IbisModel& m) { return !!m.rac; }},
      {"Terminator", "[Cac] 5p NA NA", "x", kExpecting, [](const IbisModel& m) { return !!m.cac; }},
      {"Output", "[TTgnd] 1n NA NA", "x", kExpecting, [](const IbisModel& m) { return !!m.ttgnd; }},
      {"Output", "[TTpower] 1n NA NA", "x", kExpecting,
       [](const IbisModel& m) { return !!m.ttpower; }},
      {"Output", "[Pulldown]", "0 0 NA NA", "",
       [](const IbisModel& m) { return m.pulldown && m.pulldown->rows.size() == 1; }},
      {"Output", "[Pullup]", "0 0 NA NA", "",
       [](const IbisModel& m) { return m.pullup && m.pullup->rows.size() == 1; }},
      {"Output", "[GND Clamp]", "0 0 NA NA", "",
       [](const IbisModel& m) { return m.gnd_clamp && !m.gnd_clamp->rows.empty(); }},
      {"Output", "[POWER Clamp]", "0 0 NA NA", "",
       [](const IbisModel& m) { return m.power_clamp && !m.power_clamp->rows.empty(); }},
      {"Output", "[Ramp]", "R_load = 50", "",
       [](const IbisModel& m) { return m.ramp && m.ramp->r_load == 50; }},
      {"Output", "[Rising Waveform]", "R_fixture = 50", "",
       [](const IbisModel& m) {
         return m.rising_waveforms.size() == 1 && m.rising_waveforms[0]->r_fixture;
       }},
      {"Output", "[Falling Waveform]", "V_fixture = 0", "",
       [](const IbisModel& m) {
         return m.falling_waveforms.size() == 1 && m.falling_waveforms[0]->v_fixture;
       }},
      {"Input", "[Model Spec]", "Vmeas 1.5 NA NA", "",
       [](const IbisModel& m) { return m.model_spec && m.model_spec->values[14] != nullptr; }},
      {"Output", "[Driver Schedule]", "m2 1n NA 1n NA", "",
       [](const IbisModel& m) {
         return m.driver_schedule && m.driver_schedule->entries.size() == 1 &&
                m.driver_schedule->entries[0].model_name == "m2";
       }},
      {"Series_switch", "[On]", "x", kExpecting,
       [](const IbisModel& m) { return m.on_block && !m.off_block; }},
      {"Series_switch", "[Off]", "x", kExpecting,
       [](const IbisModel& m) { return m.off_block && !m.on_block; }},
      {"Series", "[R Series] 1 NA NA", "x", kExpecting,
       [](const IbisModel& m) { return m.on_block && m.on_block->r_series; }},
      {"Series", "[L Series] 1n NA NA", "x", kExpecting,
       [](const IbisModel& m) { return m.on_block && m.on_block->l_series; }},
      {"Series", "[Rl Series] 1 NA NA", "x", kExpecting,
       [](const IbisModel& m) { return m.on_block && m.on_block->rl_series; }},
      {"Series", "[C Series] 1p NA NA", "x", kExpecting,
       [](const IbisModel& m) { return m.on_block && m.on_block->c_series; }},
      {"Series", "[Lc Series] 1n NA NA", "x", kExpecting,
       [](const IbisModel& m) { return m.on_block && m.on_block->lc_series; }},
      {"Series", "[Rc Series] 1 NA NA", "x", kExpecting,
       [](const IbisModel& m) { return m.on_block && m.on_block->rc_series; }},
      {"Series", "[Series Current]", "0 0 NA NA", "",
       [](const IbisModel& m) {
         return m.on_block && m.on_block->series_current->rows.size() == 1;
       }},
      {"Series", "[Series MOSFET]", "Vds = 1", "", [](const IbisModel& m) { return !!m.on_block; }},
      {"I/O", "[Add Submodel]", "bus Non-Driving", "",
       [](const IbisModel& m) {
         return m.add_submodels.size() == 1 && m.add_submodels[0].name == "bus" &&
                m.add_submodels[0].mode == SubmodelMode::NonDriving;
       }},
  };
  for (const Case& c : cases) {
    const auto r =
        read_model(std::string("Model_type ") + c.type + "\n" + c.keyword + "\n" + c.data + "\n");
    EXPECT_EQ(at_lines(r.report), c.expected) << c.keyword;
    ASSERT_NE(model_at(r), nullptr);
    EXPECT_TRUE(c.landed(*model_at(r))) << c.keyword;
  }
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
  struct Case {
    const char* body;
    const char* expected;
  };
  const Case cases[] = {
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
  };
  for (const Case& c : cases) EXPECT_EQ(at_lines(read_model(c.body).report), c.expected) << c.body;

  const auto r = read_model(
      "Model_type Series_switch\n[On]\n[R Series] 1 NA NA\n[Off]\n[R Series] 1M NA NA\n");
  const IbisModel& m = *model_at(r);
  ASSERT_NE(m.on_block, nullptr);
  ASSERT_NE(m.off_block, nullptr);
  EXPECT_EQ(m.on_block->r_series->typ, 1);
  EXPECT_EQ(m.off_block->r_series->typ, 1e6);
}

TEST(ModelKeywords, ModelSpecComesBeforeTheOtherKeywords) {
  struct Case {
    const char* before;
    bool misplaced;
  };
  const Case cases[] = {
      {"", false},
      {"[On]\n", false},  // the states of a switch do not count
      {"[Voltage Range] 3.3 NA NA\n", true},
      {"[Pulldown]\n", true},
      {"[Ramp]\n", true},
      {"[Falling Waveform]\n", true},
      {"[Add Submodel]\n", false},  // an empty list is not yet a keyword's data
      {"[Add Submodel]\nbus All\n", true},
      {"[TTpower] 1n NA NA\n", true},
  };
  for (const Case& c : cases) {
    const auto r = read_model(std::string("Model_type Series_switch\n") + c.before +
                              "[Model Spec]\nVmeas 1 NA NA\n");
    const bool reported = r.report.find(
                              "[Model Spec] should be specified immediately after all the "
                              "subparameters of a model and before the other keywords of "
                              "a model") != std::string::npos;
    EXPECT_EQ(reported, c.misplaced) << c.before;
    EXPECT_NE(model_at(r)->model_spec, nullptr) << c.before;
  }
}

TEST(AddSubmodel, KeywordAndLines) {
  struct Case {
    const char* type;
    const char* lines;
    const char* expected;
    size_t entries;
  };
  const Case cases[] = {
      {"Input", "[Add Submodel]\nhold Non-Driving\nclamp All\n", "", 2},
      {"Input", "[Add Submodel] x\nhold\n",
       "ERROR t.ibs (line    3) -\n    Incorrect Number of Line Items (2) For Add Submodel: "
       "Expecting 1\n"
       "ERROR t.ibs (line    4) - Add Submodel Mode not found\n",
       1},
      {"Input", "[Add Submodel]\nhold Driving\n",
       "ERROR t.ibs (line    4) - Driving mode is not valid for input model types\n", 1},
      {"Terminator", "[Add Submodel]\nhold Driving\n",
       "ERROR t.ibs (line    4) - Driving mode is not valid for input model types\n", 1},
      {"3-state", "[Add Submodel]\nhold Non-Driving\n", "", 1},
      {"3-state_ECL", "[Add Submodel]\nhold Non-Driving\n", "", 1},
      {"Open_source", "[Add Submodel]\nhold Non-Driving\n",
       "ERROR t.ibs (line    4) - Non-Driving mode is not valid for output model types\n", 1},
      {"I/O", "[Add Submodel]\nhold driving\nclamp Drive\n",
       "ERROR t.ibs (line    4) - Invalid Add Submodel Mode (\"driving\") (try \"Driving\")\n"
       "ERROR t.ibs (line    5) - Invalid Add Submodel Mode (\"Drive\")\n",
       2},
      {"I/O", "[Add Submodel]\nhold All x\nthe_submodel_name_is_long All\nGND All\n",
       "ERROR t.ibs (line    4) - Invalid Add Submodel Line. Expecting two items only\n"
       "ERROR t.ibs (line    5) - Add Submodel Name Over 20 Characters Long\n"
       "ERROR t.ibs (line    6) - Invalid Submodel Name (\"GND\"); Reserved Word.\n",
       3},
      {"Series", "[Add Submodel]\nhold All\n",
       "ERROR t.ibs (line    3) -\n    Add Submodel is not allowed for Series or Series_switch "
       "models\n",
       1},
      {"I/O", "[Add Submodel]\nhold All\n[Add Submodel]\nclamp All\n",
       "ERROR t.ibs (line    5) - Add sub model: Already Defined for this model\n", 1},
  };
  for (const Case& c : cases) {
    const auto r = read_model(std::string("Model_type ") + c.type + "\n" + c.lines);
    EXPECT_EQ(at_lines(r.report), c.expected) << c.type << " " << c.lines;
    EXPECT_EQ(model_at(r)->add_submodels.size(), c.entries) << c.lines;
  }
  const auto r =
      read_model("Model_type I/O\n[Add Submodel]\nthe_submodel_name_is_long All\nx Drive\n");
  const auto& entries = model_at(r)->add_submodels;
  EXPECT_EQ(entries[0].name, "the_submodel_name_is");
  EXPECT_EQ(entries[0].mode, SubmodelMode::All);
  EXPECT_EQ(entries[1].mode, SubmodelMode::NoMode);
}

// The checks when a model ends, each with a model that breaks only that rule.
TEST(ModelEnd, Rules) {
  const std::string kRefs = "[Voltage Range] 3.3 NA NA\n";
  const std::string kRamp = "[Ramp]\ndV/dt_r 1/1n NA NA\ndV/dt_f 1/1n NA NA\n";
  struct Case {
    std::string body;
    const char* expected;
  };
  const Case cases[] = {
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
  };
  for (const Case& c : cases) {
    const auto r = read_model(c.body);
    EXPECT_EQ(without_lines(r.report), c.expected) << c.body;
  }
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
  const auto r = read_model(
      "Model_type I/O\nPolarity Inverting\nVinl = 0.8\nVinh = 2\nC_comp 1p NA NA\n"
      "[Voltage Range] 3.3 NA NA\n[Pullup]\n0 0 NA NA\n1 -1m NA NA\n[Ramp]\nR_load = 50\n"
      "[Add Submodel]\nbus All\n[Model] empty\n");
  const IbisModel* m = model_at(r);
  const IbisModel* empty = model_at(r, 1);
  ASSERT_NE(empty, nullptr);
  std::string_view name;
  ModelType type{};
  Polarity polarity{};
  Enable enable{};
  double v = 0;
  const Range* range = nullptr;
  const ViTable* table = nullptr;
  const Ramp* ramp = nullptr;
  const WaveformList* waveforms = nullptr;
  const std::vector<AddSubmodelEntry>* entries = nullptr;
  ASSERT_EQ(mdl_get_name(m, &name), 1);
  EXPECT_EQ(name, "m");
  ASSERT_EQ(mdl_get_model_type(m, &type), 1);
  EXPECT_EQ(type, ModelType::IO);
  EXPECT_EQ(mdl_get_polarity(m, &polarity), 1);
  EXPECT_EQ(mdl_get_enable(m, &enable), 0);
  ASSERT_EQ(mdl_get_vinh(m, &v), 1);
  EXPECT_EQ(v, 2.0);
  EXPECT_EQ(mdl_get_vmeas(m, &v), 0);
  EXPECT_EQ(mdl_get_voltage_range(m, &range), 1);
  EXPECT_EQ(mdl_get_pullup_reference(m, &range), 0);
  EXPECT_EQ(range, nullptr);
  ASSERT_EQ(mdl_get_pullup(m, &table), 1);
  EXPECT_EQ(table->rows.size(), 2u);
  EXPECT_EQ(mdl_get_pulldown(m, &table), 0);
  EXPECT_EQ(mdl_get_ramp(m, &ramp), 1);
  EXPECT_EQ(mdl_get_rising_waveforms(m, &waveforms), 0);
  ASSERT_EQ(mdl_get_add_submodels(m, &entries), 1);
  EXPECT_EQ(entries->size(), 1u);
  EXPECT_EQ(mdl_get_model_type(empty, &type), 0);
  EXPECT_EQ(mdl_get_c_comp(empty, &range), 0);
  EXPECT_EQ(mdl_get_ramp(empty, &ramp), 0);

  EXPECT_STREQ(model_type_text(m), "I/O");
  EXPECT_STREQ(model_type_text(empty), "No Type");
  IbisModel any;
  for (size_t i = 0; i < std::size(kModelTypeNames); ++i) {
    any.model_type = kModelTypeNames[i].code;
    any.differential = i >= kModelTypesV32 && i < kModelTypesDiff;
    EXPECT_EQ(model_type_text(&any), kModelTypeNames[i].name);
  }
  any.differential = false;
  for (const auto& row : kPolarityNames) {
    any.polarity = row.code;
    EXPECT_EQ(polarity_text(&any), row.name);
  }
  for (const auto& row : kEnableNames) {
    any.enable = row.code;
    EXPECT_EQ(enable_text(&any), row.name);
  }
  // A setting that was not given is named by the table's end marker.
  EXPECT_STREQ(polarity_text(empty), "No Polarity");
  EXPECT_STREQ(enable_text(empty), "No Enable");

  IbisModel plotted;
  EXPECT_EQ(mdl_get_plot_reference(&plotted, &v), 0);
  mdl_set_plot_reference(&plotted, 1.5);
  mdl_set_plot_reference(&plotted, 1.5);
  ASSERT_EQ(mdl_get_plot_reference(&plotted, &v), 1);
  EXPECT_EQ(v, 1.5);
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

TEST(FindModel, ExactNameNewestFirst) {
  const auto r = test::read_lines(
      "[Model] a\nModel_type Input\n[Model] b\n[Model] a\nModel_type Output\n[End]\n");
  ASSERT_NE(r.document, nullptr);
  const IbisModel* a = find_model(r.document.get(), "a");
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->model_type, ModelType::Output);
  EXPECT_EQ(find_model(r.document.get(), "B"), nullptr);
  EXPECT_EQ(find_model(r.document.get(), "b"), model_at(r, 1));
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
