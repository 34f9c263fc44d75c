#include "libibis/src/pin.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "report_fixture.h"

namespace tarn {
namespace {

using test::read_lines;

// Line 1 opens the component, line 2 is the [Pin] line, rows start at line 3.
test::ReadResult read_pins(const std::string& headers, const std::string& rows) {
  return read_lines("[Component] C\n[Pin]" + headers + "\n" + rows + "[End]\n");
}

const PinList* pins_of(const test::ReadResult& r) {
  const PinList* pins = nullptr;
  if (r.document && !r.document->components.empty())
    (void)CMPNT_GetPins(r.document->components[0].get(), &pins);
  return pins;
}

// A pin as stored, through its accessors: "name signal model R L C items", "-" for no value.
std::string pin_fields(const PinList* pins, const char* name) {
  const Pin* pin = nullptr;
  if (!pins || !PIN_Find(pins, name, &pin)) return "none";
  std::ostringstream out;
  std::string_view text;
  for (auto get : {PIN_GetName, PIN_GetSignal, PIN_GetModel}) out << (get(pin, &text) ? text : "-") << " ";
  for (auto get : {PIN_GetRpin, PIN_GetLpin, PIN_GetCpin}) {
    double v = 0;
    if (get(pin, &v)) out << v << " "; else out << "- ";
  }
  out << pin->items;
  return out.str();
}

TEST(PinKeyword, ColumnHeaders) {
  const struct {
    const char* headers;
    int columns;
    const char* expected;
  } cases[] = {
      {" signal_name model_name", 3, ""},
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
  };
  for (const auto& c : cases) {
    const auto r = read_pins(c.headers, "1 VCC POWER\n");
    EXPECT_EQ(r.report, c.expected) << c.headers;
    int columns = 0;
    ASSERT_EQ(PIN_GetColumns(pins_of(r), &columns), 1) << c.headers;
    EXPECT_EQ(columns, c.columns) << c.headers;
  }
}

TEST(PinRows, ItemsLimitsAndValues) {
  const std::string six = " signal_name model_name R_pin L_pin C_pin\n";
  const std::string three = " signal_name model_name\n";
  test::expect_reports(
      [](const std::string& text) {
        const size_t eol = text.find('\n');
        return read_pins(text.substr(0, eol), text.substr(eol + 1) + "\n").report;
      },
      {
          {six + "1 OUT buf 1m 2nH 3pF", ""},
          {six + "1 OUT buf", ""},
          {six + "1 OUT buf NA na NA", ""},
          {three + "1 OUT buf 1m 2n 3p",
           "ERROR t.ibs (line    3) -\n"
           "    When using 6 columns, the headers R_pin, L_pin, and C_pin must be listed.\n"},
          {six + "1 OUT buf 1m",
           "ERROR t.ibs (line    3) - Each line of Pin data must contain either 3 or 6 columns.\n"},
          {three + "1",
           "ERROR t.ibs (line    3) - Signal name not found.\n"
           "ERROR t.ibs (line    3) - Model name not found.\n"
           "ERROR t.ibs (line    3) - Each line of Pin data must contain either 3 or 6 columns.\n"},
          {three + "1 a_very_long_signal_name_x buf",
           "WARNING t.ibs (line    3) - Signal name string 'a_very_long_signal_name_x' is too "
           "long, truncating to 20 characters.\n"},
          {three + "1 OUT model_name_of_21_chars",
           "WARNING t.ibs (line    3) - Model name string 'model_name_of_21_chars' is too long, "
           "truncating to 20 characters.\n"},
          {six + "1 OUT buf x 2n 3p", "ERROR t.ibs (line    3) - Invalid R_pin Value (\"x\")\n"},
          {six + "1 OUT buf 1m 2n 3p5",
           "WARNING t.ibs (line    3) - Suspicious C_pin Pin Value (\"3p5\"); Numeric in Scale\n"},
          {three + "1 A buf\n1 B buf", "ERROR t.ibs (line    4) - Duplicate Pin '1'.\n"},
          {three + "123456 A buf\n123457 B buf",
           "WARNING t.ibs (line    3) -\n"
           "    Pin string '123456' is too long, truncating to 5 characters.\n"
           "WARNING t.ibs (line    4) -\n"
           "    Pin string '123457' is too long, truncating to 5 characters.\n"
           "ERROR t.ibs (line    4) - Duplicate Pin '12345'.\n"},
          {three + "a A buf\nA B buf", ""},  // pin names keep their case
      });
}

TEST(PinRows, StoredFields) {
  // Values follow the order of the headers; the first of two rows stands.
  const auto r = read_pins(" signal_name model_name C_pin L_pin R_pin",
                           "1 OUT buf 3p 2n 1m\n2 IN in NA NA NA\n3 IN in\n1 DUP buf\n"
                           "12345678 LONG buf\n");
  const PinList* pins = pins_of(r);
  ASSERT_NE(pins, nullptr);
  EXPECT_EQ(pins->pins.size(), 4u);
  EXPECT_EQ(pin_fields(pins, "1"), "1 OUT buf 0.001 2e-09 3e-12 6");
  EXPECT_EQ(pin_fields(pins, "2"), "2 IN in - - - 6");
  EXPECT_EQ(pins->pins[1].r_pin_status, ValueStatus::NA);
  EXPECT_EQ(pin_fields(pins, "3"), "3 IN in - - - 3");
  EXPECT_EQ(pins->pins[2].c_pin_status, ValueStatus::Absent);
  EXPECT_EQ(pin_fields(pins, "12345678"), "none");
  EXPECT_EQ(pin_fields(pins, "12345"), "12345 LONG buf - - - 3");
  // A second [Pin] is dropped with its rows.
  const auto twice = read_pins(" signal_name model_name",
                               "1 A POWER\n[Pin] signal_name model_name\n2 B GND\n");
  EXPECT_EQ(twice.report, "ERROR t.ibs (line    4) - Duplicate Pin keyword found.\n");
  EXPECT_EQ(pins_of(twice)->pins.size(), 1u);
}

class PinChecks : public test::Reported {
 protected:
  void SetUp() override {
    document_ = read_pins(" signal_name model_name",
                          "1 a buf\n2 b gnd\n3 c Power\n4 d nc\n5 e sel\n6 f nothing\n7 g\n"
                          "[Model Selector] sel\nbuf strong\nnothing weak\n"
                          "[Model] buf\nModel_type Terminator\nC_comp 1p NA NA\n"
                          "[Voltage Range] 3.3 NA NA\n");
    ASSERT_EQ(document_.report, "ERROR t.ibs (line    9) - Model name not found.\n"
                                "ERROR t.ibs (line    9) - Each line of Pin data must contain "
                                "either 3 or 6 columns.\n");
    at(17, "t.ibs");
  }
  void TearDown() override {
    test::Reported::TearDown();
    PRS_SetVersion(3);
  }
  std::string check(int version, const PackageModel* package_model) {
    PRS_SetVersion(version);
    PIN_EndOfFile("C", *pins_of(document_), PIN_ModelNames(*document_.document), nullptr,
                  package_model);
    return report();
  }

  test::ReadResult document_;
};

TEST_F(PinChecks, ModelsSelectorsAndPackageModelPins) {
  // Rails need no model; a pin whose model was missing was reported at its row.
  EXPECT_EQ(check(3, nullptr), "ERROR t.ibs - Component 'C': Model 'nothing' for Pin '6' not defined.\n");
  EXPECT_EQ(check(2, nullptr),
            "ERROR t.ibs - Component 'C': Model 'sel' for Pin '5' not defined.\n"
            "ERROR t.ibs - Component 'C': Model 'nothing' for Pin '6' not defined.\n");
  PackageModel package_model;
  package_model.name = "QFP7";
  package_model.pin_numbers = {"1", "2", "9", "4"};
  EXPECT_EQ(check(3, &package_model),
            "ERROR t.ibs - Component 'C': Model 'nothing' for Pin '6' not defined.\n"
            "ERROR t.ibs - Pin '9' found in Package_Model 'QFP7' Pin_Numbers list not found in "
            "Component 'C' Pin list.\n");
}

TEST_F(PinChecks, EmptyRowIsReportedItemByItem) {
  PinList list;
  EXPECT_EQ(PIN_Row(&list, ""), 1);
  EXPECT_EQ(report(),
            "ERROR t.ibs (line   17) - Pin not found.\n"
            "ERROR t.ibs (line   17) - Signal name not found.\n"
            "ERROR t.ibs (line   17) - Model name not found.\n"
            "ERROR t.ibs (line   17) - Each line of Pin data must contain either 3 or 6 columns.\n");
}

}  // namespace
}  // namespace tarn
