#include "libibis/src/msel.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/ibis.h"
#include "model_fixture.h"
#include "report_table.h"

namespace tarn {
namespace {

using test::at_lines;
using test::without_lines;

const ModelSelector* last_selector(const test::ReadResult& r) {
  if (!r.document || r.document->selectors.empty()) return nullptr;
  return r.document->selectors.back().get();
}

TEST(ModelSelectorName, Rules) {
  struct Case {
    std::string lines;
    const char* name;  // of the last selector
    const char* expected;
  };
  const Case cases[] = {
      {"[Model Selector]\n", "",
       "ERROR t.ibs (line    1) - 'Model Selector' Keyword Missing name\n"},
      {"[Model Selector] Gnd\n", "Gnd",
       "ERROR t.ibs (line    1) - Invalid Model SelectorName (\"Gnd\"); Reserved Word.\n"},
      {"[Model Selector] sel\n[Model Selector] SEL\n", "SEL", ""},
      // Unlike a model's or a submodel's, a cut name is still compared.
      {"[Model Selector] abcdefghijklmnopqrst\n[Model Selector] abcdefghijklmnopqrstuv\n",
       "abcdefghijklmnopqrst",
       "ERROR t.ibs (line    2) - Model Selector Name Over 20 Characters Long\n"
       "ERROR t.ibs (line    2) -\n    Model Selector Name Previously Defined "
       "(\"abcdefghijklmnopqrst\")\n"},
  };
  for (const Case& c : cases) {
    const auto r = test::read_lines(c.lines + "[End]\n");
    EXPECT_EQ(at_lines(r.report), c.expected) << c.lines;
    ASSERT_NE(last_selector(r), nullptr) << c.lines;
    EXPECT_EQ(last_selector(r)->name, c.name) << c.lines;
  }
}

TEST(ModelSelectorModels, Lines) {
  const std::string twenty = "abcdefghijklmnopqrst";
  const std::string sixty(60, 'd');
  struct Case {
    std::string lines;
    std::string expected;
    const char* name;        // of the last entry
    std::string descriptor;  // of the last entry
  };
  const Case cases[] = {
      {"buf  3.3V   drive, fast\n", "", "buf", "3.3V   drive, fast"},
      {"buf\n",
       "ERROR t.ibs (line    2) -\n    Incorrect Number of Line Items (1) For Keyword Model "
       "Selector: Expecting 2\n",
       "buf", ""},
      {"na slow\n", "ERROR t.ibs (line    2) - Invalid Model Name (\"NA\")\n", "na", "slow"},
      {"GND rail\n", "", "GND", "rail"},
      // The name as cut and the descriptor share 80 characters.
      {twenty + "u " + sixty + "e\n",
       "WARNING t.ibs (line    2) - Exceeds official IBIS maximum length of 80 chararacters.\n"
       "ERROR t.ibs (line    2) - Model Name Over 20 Characters Long\n"
       "ERROR t.ibs (line    2) - Model Descriptor string '" + sixty +
           "e' is too long, truncating to 60 characters.\n",
       "abcdefghijklmnopqrst", sixty},
      // Once per earlier equal entry, and the repeat stays.
      {"m a\nM b\nm c\nm d\n",
       "ERROR t.ibs (line    4) - Model 'm'. already used in this Model Selector\n"
       "ERROR t.ibs (line    5) - Model 'm'. already used in this Model Selector\n"
       "ERROR t.ibs (line    5) - Model 'm'. already used in this Model Selector\n",
       "m", "d"},
  };
  for (const Case& c : cases) {
    const auto r = test::read_lines("[Model Selector] sel\n" + c.lines + "[End]\n");
    EXPECT_EQ(at_lines(r.report), c.expected) << c.lines;
    const ModelSelector* s = last_selector(r);
    ASSERT_NE(s, nullptr);
    ASSERT_FALSE(s->models.empty()) << c.lines;
    EXPECT_EQ(s->models.back().name, c.name) << c.lines;
    EXPECT_EQ(s->models.back().descriptor, c.descriptor) << c.lines;
  }
}

TEST(ModelSelectorSection, NeedsModels) {
  const auto report = [](const std::string& lines) {
    return without_lines(test::read_lines(lines + "[End]\n").report);
  };
  test::expect_reports(report, {
      {"[Model Selector] none\n[Model Selector] one\na x\n[Model Selector] two\na x\nb y\n",
       "ERROR t.ibs - Model Selector: 'none' has no models defined\n"
       "WARNING t.ibs - Model Selector: 'one' has only one model defined\n"},
      // A selector whose section an unknown keyword ended is still checked, once.
      {"[Model Selector] one\na x\n[Bogus]\n[Model Selector] two\na x\nb y\n",
       "WARNING t.ibs - Model Selector: 'one' has only one model defined\n"},
  });
}

TEST(ModelSelectorEndOfFile, AgainstTheModels) {
  const auto r = test::read_lines(
      "[Model Selector] first\nbuf strong\nBuf weak\nnc none\n"
      "[Model Selector] buf\nbuf same\nmissing gone\n"
      "[Model] buf\nModel_type Terminator\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n"
      "[End]\n",
      "t.ibs", 3, true);
  // Newest selector first; entries in file order; a reserved word is not looked up, and names
  // are compared with case.
  EXPECT_EQ(r.report,
            "ERROR t.ibs - Required keyword 'Component' not found.\n"
            "ERROR t.ibs - 'buf' is the name of a Model and a Model Selector\n"
            "ERROR t.ibs - Model 'missing' in Model Selector 'buf' is not defined in the file\n"
            "ERROR t.ibs - Model 'Buf' in Model Selector 'first' is not defined in the file\n");
}

}  // namespace
}  // namespace tarn
