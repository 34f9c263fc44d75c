#include "libibis/src/pin.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "libibis/src/rpt.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::read_lines;

// Line 1 opens the component, line 2 is the [Pin] line, rows start at line 3.
test::ReadResult read_pins(const std::string& headers, const std::string& rows, int version = 3,
                           bool end_checks = false) {
  return read_lines("[Component] C\n[Pin]" + headers + "\n" + rows + "[End]\n", "t.ibs", version,
                    end_checks);
}

const PinList* pins_of(const test::ReadResult& r) {
  const PinList* pins = nullptr;
  if (r.document && !r.document->components.empty())
    (void)CMPNT_GetPins(r.document->components[0].get(), &pins);
  return pins;
}

TEST(PinKeyword, ColumnHeaders) {
  struct Case {
    const char* headers;
    int columns;
    const char* expected;
  };
  const Case cases[] = {
      {" signal_name model_name", 3, ""},
      {" signal_name model_name R_pin L_pin C_pin", 6, ""},
      {" SIGNAL_NAME Model_Name r_pin L_PIN c_Pin", 6, ""},
      {" signal_name model_name C_pin R_pin L_pin", 6, ""},
      {"", 1, "ERROR t.ibs (line    2) - Unable to find column headers after Pin keyword.\n"},
      {" signal_name", 2,
       "ERROR t.ibs (line    2) - Pin keyword column count must be 3 or 6, found 2 columns.\n"
       "ERROR t.ibs (line    2) - 'model_name' column header not found or out of order.\n"},
      {" model_name signal_name", 3,
       "ERROR t.ibs (line    2) - 'signal_name' column header not found or out of order.\n"
       "ERROR t.ibs (line    2) - 'model_name' column header not found or out of order.\n"},
      {" signal_name model_name R_pin L_pin", 5,
       "ERROR t.ibs (line    2) - Pin keyword column count must be 3 or 6, found 5 columns.\n"},
      {" signal_name model_name R_pin X_pin C_pin", 6,
       "ERROR t.ibs (line    2) - Unknown column header 'X_pin' or out of order.\n"},
      {" signal_name model_name R_pin r_pin C_pin", 6,
       "ERROR t.ibs (line    2) - Duplicate column header 'r_pin' .\n"},
      {" signal_name model_name R_pin L_pin C_pin extra", 7,
       "ERROR t.ibs (line    2) - Pin keyword column count must be 3 or 6, found 7 columns.\n"},
  };
  for (const Case& c : cases) {
    const auto r = read_pins(c.headers, "1 VCC POWER\n");
    EXPECT_EQ(r.report, c.expected) << c.headers;
    const PinList* pins = pins_of(r);
    ASSERT_NE(pins, nullptr) << c.headers;
    EXPECT_EQ(pins->columns, c.columns) << c.headers;
  }
}

TEST(PinRows, ItemsLimitsAndValues) {
  constexpr const char* kSix = " signal_name model_name R_pin L_pin C_pin";
  constexpr const char* kThree = " signal_name model_name";
  struct Case {
    const char* headers;
    const char* row;
    const char* expected;
  };
  const Case cases[] = {
      {kThree, "1 OUT buf", ""},
      {kSix, "1 OUT buf 1m 2nH 3pF", ""},
      {kSix, "1 OUT buf", ""},
      {kSix, "1 OUT buf NA na NA", ""},
      {kThree, "1 OUT buf 1m 2n 3p",
       "ERROR t.ibs (line    3) -\n"
       "    When using 6 columns, the headers R_pin, L_pin, and C_pin must be listed.\n"},
      {kSix, "1 OUT buf 1m",
       "ERROR t.ibs (line    3) - Each line of Pin data must contain either 3 or 6 columns.\n"},
      {kSix, "1 OUT buf 1m 2n 3p 4p",
       "ERROR t.ibs (line    3) - Each line of Pin data must contain either 3 or 6 columns.\n"},
      {kThree, "1 OUT",
       "ERROR t.ibs (line    3) - Model name not found.\n"
       "ERROR t.ibs (line    3) - Each line of Pin data must contain either 3 or 6 columns.\n"},
      {kThree, "1",
       "ERROR t.ibs (line    3) - Signal name not found.\n"
       "ERROR t.ibs (line    3) - Model name not found.\n"
       "ERROR t.ibs (line    3) - Each line of Pin data must contain either 3 or 6 columns.\n"},
      {kThree, "123456 OUT buf",
       "WARNING t.ibs (line    3) -\n"
       "    Pin string '123456' is too long, truncating to 5 characters.\n"},
      {kThree, "1 a_very_long_signal_name_x buf",
       "WARNING t.ibs (line    3) - Signal name string 'a_very_long_signal_name_x' is too long, "
       "truncating to 20 characters.\n"},
      {kThree, "1 OUT model_name_of_21_chars",
       "WARNING t.ibs (line    3) - Model name string 'model_name_of_21_chars' is too long, "
       "truncating to 20 characters.\n"},
      {kSix, "1 OUT buf x 2n 3p", "ERROR t.ibs (line    3) - Invalid R_pin Value (\"x\")\n"},
      {kSix, "1 OUT buf 1m 2n 3p5",
       "WARNING t.ibs (line    3) - Suspicious C_pin Pin Value (\"3p5\"); Numeric in Scale\n"},
      {kThree, "1 A buf\n1 B buf", "ERROR t.ibs (line    4) - Duplicate Pin '1'.\n"},
      {kThree, "123456 A buf\n123457 B buf",
       "WARNING t.ibs (line    3) -\n"
       "    Pin string '123456' is too long, truncating to 5 characters.\n"
       "WARNING t.ibs (line    4) -\n"
       "    Pin string '123457' is too long, truncating to 5 characters.\n"
       "ERROR t.ibs (line    4) - Duplicate Pin '12345'.\n"},
      {kThree, "a A buf\nA B buf", ""},  // pin names keep their case
  };
  for (const Case& c : cases) {
    const auto r = read_pins(c.headers, std::string(c.row) + "\n");
    EXPECT_EQ(r.report, c.expected) << c.row;
  }
}

TEST(PinRows, StoredFields) {
  const auto r = read_pins(" signal_name model_name C_pin L_pin R_pin",
                           "1 OUT buf 3p 2n 1m\n2 IN in NA NA NA\n3 IN in\n1 DUP buf\n"
                           "12345678 LONG buf\n");
  const PinList* pins = pins_of(r);
  ASSERT_NE(pins, nullptr);
  ASSERT_EQ(pins->pins.size(), 4u);  // the duplicate is dropped
  const Pin* pin = nullptr;
  ASSERT_EQ(PIN_Find(pins, "1", &pin), 1);
  std::string_view text;
  ASSERT_EQ(PIN_GetSignal(pin, &text), 1);
  EXPECT_EQ(text, "OUT");  // the first row stands
  ASSERT_EQ(PIN_GetModel(pin, &text), 1);
  EXPECT_EQ(text, "buf");
  double v = 0;
  // Values follow the order of the headers.
  ASSERT_EQ(PIN_GetRpin(pin, &v), 1);
  EXPECT_DOUBLE_EQ(v, 1e-3);
  ASSERT_EQ(PIN_GetLpin(pin, &v), 1);
  EXPECT_DOUBLE_EQ(v, 2e-9);
  ASSERT_EQ(PIN_GetCpin(pin, &v), 1);
  EXPECT_DOUBLE_EQ(v, 3e-12);
  EXPECT_EQ(pin->items, 6);
  ASSERT_EQ(PIN_Find(pins, "2", &pin), 1);
  EXPECT_EQ(PIN_GetRpin(pin, &v), 0);
  EXPECT_EQ(pin->r_pin_status, ValueStatus::NA);
  ASSERT_EQ(PIN_Find(pins, "3", &pin), 1);
  EXPECT_EQ(pin->c_pin_status, ValueStatus::Absent);
  EXPECT_EQ(pin->items, 3);
  EXPECT_EQ(PIN_Find(pins, "12345678", &pin), 0);
  ASSERT_EQ(PIN_Find(pins, "12345", &pin), 1);
  ASSERT_EQ(PIN_GetName(pin, &text), 1);
  EXPECT_EQ(text, "12345");
}

TEST(PinKeyword, SecondPinKeywordIsDroppedWithItsRows) {
  const auto r = read_lines(
      "[Component] C\n[Pin] signal_name model_name\n1 A POWER\n[Pin] signal_name model_name\n"
      "2 B GND\n[End]\n");
  EXPECT_EQ(r.report, "ERROR t.ibs (line    4) - Duplicate Pin keyword found.\n");
  const PinList* pins = pins_of(r);
  ASSERT_NE(pins, nullptr);
  EXPECT_EQ(pins->pins.size(), 1u);
}

class PinChecks : public ::testing::Test {
 protected:
  void SetUp() override {
    document_ = read_lines(
        "[Component] C\n[Pin] signal_name model_name\n"
        "1 a buf\n2 b gnd\n3 c Power\n4 d nc\n5 e sel\n6 f nothing\n7 g\n"
        "[Model Selector] sel\nbuf strong\nnothing weak\n"
        "[Model] buf\nModel_type Terminator\nC_comp 1p NA NA\n"
        "[Voltage Range] 3.3 NA NA\n[End]\n");
    ASSERT_EQ(document_.report, "ERROR t.ibs (line    9) - Model name not found.\n"
                                "ERROR t.ibs (line    9) - Each line of Pin data must contain "
                                "either 3 or 6 columns.\n");
    RPT_SetStream(out_.get());
    RPT_ResetCounts();
    RPT_SetFileName("t.ibs");
  }
  void TearDown() override {
    RPT_SetStream(nullptr);
    PRS_SetVersion(3);
  }
  std::string check(int version, const PackageModel* package_model) {
    PRS_SetVersion(version);
    test::MemStream out;
    RPT_SetStream(out.get());
    PIN_EndOfFile("C", *pins_of(document_), PIN_ModelNames(*document_.document), nullptr,
                  package_model);
    return out.text();
  }

  test::ReadResult document_;
  test::MemStream out_;
};

TEST_F(PinChecks, ModelsAndSelectorsByVersion) {
  // Rails need no model; a pin whose model was missing was reported at its row.
  EXPECT_EQ(check(3, nullptr), "ERROR t.ibs - Component 'C': Model 'nothing' for Pin '6' not defined.\n");
  EXPECT_EQ(check(2, nullptr),
            "ERROR t.ibs - Component 'C': Model 'sel' for Pin '5' not defined.\n"
            "ERROR t.ibs - Component 'C': Model 'nothing' for Pin '6' not defined.\n");
}

TEST_F(PinChecks, PackageModelPinsMustBePinsOfTheComponent) {
  PackageModel package_model;
  package_model.name = "QFP7";
  package_model.pin_numbers = {"1", "2", "9", "4"};
  EXPECT_EQ(check(3, &package_model),
            "ERROR t.ibs - Component 'C': Model 'nothing' for Pin '6' not defined.\n"
            "ERROR t.ibs - Pin '9' found in Package_Model 'QFP7' Pin_Numbers list not found in "
            "Component 'C' Pin list.\n");
}

TEST_F(PinChecks, EmptyRowIsReportedItemByItem) {
  test::MemStream out;
  RPT_SetStream(out.get());
  PinList list;
  EXPECT_EQ(PIN_Row(&list, ""), 1);
  EXPECT_EQ(out.text(),
            "ERROR t.ibs (line   17) - Pin not found.\n"
            "ERROR t.ibs (line   17) - Signal name not found.\n"
            "ERROR t.ibs (line   17) - Model name not found.\n"
            "ERROR t.ibs (line   17) - Each line of Pin data must contain either 3 or 6 columns.\n");
}

}  // namespace
}  // namespace tarn
