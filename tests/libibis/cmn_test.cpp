#include "libibis/src/cmn.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "libibis/src/rpt.h"
#include "test_support.h"

namespace tarn {
namespace {

class Cmn : public ::testing::Test {
 protected:
  void SetUp() override {
    RPT_SetStream(out_.get());
    RPT_ResetCounts();
    RPT_SetFileNameMode(0);
    RPT_SetFileName("c.ibs");
    // Fix the line number that diagnostics show.
    test::read_lines("\n\n\n", "lines.ibs");
    RPT_SetStream(out_.get());
    RPT_SetFileName("c.ibs");
  }
  void TearDown() override { RPT_SetStream(nullptr); }
  std::string report() { return out_.text(); }

  test::MemStream out_;
};

TEST(ParseNumber, ScaledValues) {
  struct Case {
    const char* text;
    int result;
    double value;
  };
  const Case cases[] = {
      {"1.5n", 1, 1.5e-9},  {"10mA", 1, 0.01},   {"3.3V", 1, 3.3},     {"2M", 1, 2e6},
      {"2Meg", 1, 2e6},     {"10m5", 2, 0.01},   {"1e-3", 1, 0.001},   {"1e", 1, 1.0},
      {"1.0K", 1, 1.0},     {"1.0k", 1, 1000.0}, {"1pF2", 2, 1e-12},   {"-0.5", 1, -0.5},
      {"+.5u", 1, 0.5e-6},  {"5.", 1, 5.0},      {"7T", 1, 7e12},      {"7G", 1, 7e9},
      {"4f", 1, 4e-15},     {"1E+2ohm", 1, 100}, {"2.5e-3s", 1, 2.5e-3}, {"0", 1, 0.0},
      {"1e-400", 1, 0.0},   {" 42", 1, 42.0},   {"0x10", 2, 0.0},
  };
  for (const Case& c : cases) {
    double value = -1;
    EXPECT_EQ(CMN_ParseNumber(c.text, &value), c.result) << c.text;
    EXPECT_DOUBLE_EQ(value, c.value) << c.text;
  }
}

TEST(ParseNumber, RefusedTexts) {
  for (const char* text : {"5%", "abc", "", "-", ".", "e5", "N/A", "1.5.3", "3.3 ", "inf", "nan",
                           "1e999", "--1", "1,5"}) {
    double value = 123.0;
    EXPECT_EQ(CMN_ParseNumber(text, &value), 0) << text;
  }
}

TEST(ParseNumber, NotAVailableInAnyCase) {
  const struct {
    const char* text;
    int result;
    bool na;
    double value;
  } cases[] = {{"NA", 1, true, 0},  {"na", 1, true, 0},         {"Na", 1, true, 0},
               {"nA", 1, true, 0},  {"2.2n", 1, false, 2.2e-9}, {"N/A", 0, false, 7}};
  for (const auto& c : cases) {
    double value = 7;
    bool na = !c.na;
    EXPECT_EQ(CMN_GetValueOrNA(c.text, &value, &na), c.result) << c.text;
    if (c.result == 0) continue;
    EXPECT_EQ(na, c.na) << c.text;
    EXPECT_DOUBLE_EQ(value, c.value) << c.text;
  }
}

TEST_F(Cmn, CountFields) {
  struct Case {
    const char* text;
    bool already_set;
    int taken;
    uint32_t value;
    const char* expected;
  };
  const Case cases[] = {
      {"259", false, 1, 259, ""},
      {"1e1", false, 1, 10, ""},
      {"4000000000", false, 1, 4000000000u, ""},
      {"2k5", false, 1, 2000, "WARNING c.ibs (line    3) - Suspicious Pins value.\n"},
      {"", false, 0, 7, "ERROR c.ibs (line    3) - Blank Pins value.\n"},
      {"", true, 0, 7, "ERROR c.ibs (line    3) - Blank Pins value.\n"},
      {"3", true, 0, 7, "ERROR c.ibs (line    3) - Duplicate Pins keyword.\n"},
      {"0", false, 1, 0, "ERROR c.ibs (line    3) - Pins = 0.\n"},
      {"3.5", false, 1, 0, "ERROR c.ibs (line    3) - Bad Pins value.\n"},
      {"-1", false, 1, 0, "ERROR c.ibs (line    3) - Bad Pins value.\n"},
      {"4294967296", false, 1, 0, "ERROR c.ibs (line    3) - Bad Pins value.\n"},
      {"3 pins", false, 1, 0, "ERROR c.ibs (line    3) - Bad Pins value.\n"},
  };
  for (const Case& c : cases) {
    test::MemStream out;
    RPT_SetStream(out.get());
    uint32_t value = 7;
    EXPECT_EQ(CMN_ReadCount(c.text, "Pins", c.already_set, &value), c.taken) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_EQ(out.text(), c.expected) << c.text;
  }
}

TEST(SplitLine, ItemsAndDelimiters) {
  struct Case {
    const char* line;
    size_t max_items;
    char delimiter;
    std::vector<std::string> stored;
    size_t found;
  };
  const Case cases[] = {
      {"A B/C", 5, '/', {"A", "B", "/", "C"}, 4},
      {"  1  2.0\t3 ", 5, 0, {"1", "2.0", "3"}, 3},
      {"a b c d e", 2, 0, {"a", "b"}, 5},
      {"x//y", 9, '/', {"x", "/", "/", "y"}, 4},
      {"", 3, 0, {}, 0},
      {"one", 0, 0, {}, 1},
  };
  ItemList items;  // reused across lines, as the sections do
  for (const Case& c : cases) {
    ASSERT_EQ(CMN_SplitLine(c.line, c.max_items, c.delimiter, &items), 1);
    std::vector<std::string> stored(items.items.begin(), items.items.end());
    EXPECT_EQ(stored, c.stored) << c.line;
    EXPECT_EQ(items.found, c.found) << c.line;
    EXPECT_EQ(items[c.max_items + 1], "");
  }
  CMN_FreeItems(&items);
  EXPECT_EQ(items.stored(), 0u);
}

TEST_F(Cmn, ReservedWords) {
  for (const char* word : {"GND", "nc", "Power", "na"}) {
    EXPECT_EQ(CMN_IsReservedWord(word), 0) << word;
  }
  for (const char* word : {"GNDA", "VCC", "", "N A"}) {
    EXPECT_EQ(CMN_IsReservedWord(word), 1) << word;
  }
  CMN_CheckReservedWord("gnd");
  CMN_CheckReservedWord("vdd");
  EXPECT_EQ(report(),
            "ERROR c.ibs (line    3) - Illegal use of Reserved Word 'gnd'.\n");
}

TEST(Compare, CaseAndKeywordEquality) {
  EXPECT_TRUE(CMN_EqualNoCase("Pin", "pIN"));
  EXPECT_FALSE(CMN_EqualNoCase("Pin", "Pins"));
  EXPECT_TRUE(CMN_EqualNoCaseN("[Comment Char] x", "[COMMENT CHAR]", 14));
  EXPECT_FALSE(CMN_EqualNoCaseN("[Comment]", "[COMMENT CHAR]", 14));
  EXPECT_TRUE(CMN_EqualNoCaseN("ab", "AB", 10));
  EXPECT_TRUE(CMN_KeywordEqual("PIN_MAPPING", "pin mapping"));
  EXPECT_TRUE(CMN_KeywordEqual("PIN_MAPPING", "Pin_Mapping"));
  EXPECT_FALSE(CMN_KeywordEqual("PIN_MAPPING", "Pin  Mapping"));
  EXPECT_FALSE(CMN_KeywordEqual("PIN_MAPPING", "Pin\tMapping"));
}

TEST_F(Cmn, RlcSectionItems) {
  struct Case {
    const char* text;
    int token;
    double value;
    const char* rest;
  };
  const Case cases[] = {
      {"L = 2.5nH R=1", kRlcL, 2.5e-9, "R=1"},
      {"Len=0.5 C=1p /", kRlcLen, 0.5, "C=1p /"},
      {"R=10m/ next", kRlcR, 0.01, "/ next"},
      {"C=3pF", kRlcC, 3e-12, ""},
      {"   / Len=1", kRlcEndSection, 0, "Len=1"},
      {"   ", kRlcEndLine, 0, ""},
      {"L=", kRlcEndLine, 0, ""},
      {"L", kRlcEndLine, 0, ""},
      {"len=5", kRlcError, 0, "=5"},
      {"R 5", kRlcError, 0, "5"},
      {"C=abc R=1", kRlcC, 0, "R=1"},
      {"C=1pF2", kRlcC, 1e-12, ""},
  };
  for (const Case& c : cases) {
    double value = 0;
    std::string_view rest;
    EXPECT_EQ(CMN_ParseRlcToken(c.text, &value, &rest), c.token) << c.text;
    EXPECT_DOUBLE_EQ(value, c.value) << c.text;
    EXPECT_EQ(rest, c.rest) << c.text;
  }
  EXPECT_EQ(report(),
            "ERROR c.ibs (line    3) - Premature end of R/L/C section\n"
            "ERROR c.ibs (line    3) - Premature end of R/L/C section\n"
            "ERROR c.ibs (line    3) - Unexpected token 'len' found in R/L/C section\n"
            "ERROR c.ibs (line    3) - Error parsing R/L/C section. Missing '='\n"
            "ERROR c.ibs (line    3) - Illegal number found 'abc'\n"
            "ERROR c.ibs (line    3) - Illegal number found '1pF2'\n");
}

TEST_F(Cmn, RlcValueMissingBeforeTheSlash) {
  double value = 9;
  std::string_view rest;
  EXPECT_EQ(CMN_ParseRlcToken("R= /", &value, &rest), kRlcR);
  EXPECT_EQ(value, 0.0);
  EXPECT_EQ(rest, "/");
  EXPECT_EQ(report(), "ERROR c.ibs (line    3) - Numerical value expected\n");
}

TEST_F(Cmn, SourceNamesAreCheckedCompletedAndOpened) {
  test::TempDir dir;
  dir.write("part.ibs", "[IBIS Ver] 3.2\n");
  dir.write("board.EBD", "[IBIS Ver] 3.2\n");
  const std::string folder = dir.path().string() + "/";
  std::string base, full;

  std::FILE* f = CMN_OpenSource(folder + "part", FileKind::Ibs, &base, &full);
  ASSERT_NE(f, nullptr);
  std::fclose(f);
  EXPECT_EQ(base, "part.ibs");
  EXPECT_EQ(full, folder + "part.ibs");
  std::string directory;
  CMN_SourceDirectory(&directory);
  EXPECT_EQ(directory, folder);

  f = CMN_OpenSource(folder + "board.EBD", FileKind::Ebd, &base, &full);
  ASSERT_NE(f, nullptr);
  std::fclose(f);

  EXPECT_EQ(CMN_OpenSource(folder + "part.pkg", FileKind::Ibs, &base, &full), nullptr);
  EXPECT_EQ(CMN_OpenSource(folder + "part.ibs", FileKind::Pkg, &base, &full), nullptr);
  EXPECT_EQ(CMN_OpenSource(folder + "x.ibs", FileKind::Ebd, &base, &full), nullptr);
  EXPECT_EQ(CMN_OpenSource(folder + "absent.ibs", FileKind::Ibs, &base, &full), nullptr);
  EXPECT_EQ(CMN_OpenSource(std::string(1030, 'n'), FileKind::Ibs, &base, &full), nullptr);
  EXPECT_EQ(CMN_OpenSource(std::string(600, 'd') + "/" + std::string(600, 'n') + ".ibs",
                           FileKind::Ibs, &base, &full),
            nullptr);
  EXPECT_EQ(report(),
            "ERROR c.ibs - File Name Requires '.ibs' Extension.\n"
            "ERROR c.ibs - File Name Requires '.pkg' Extension.\n"
            "ERROR c.ibs - File Name Requires '.ebd' Extension.\n"
            "ERROR c.ibs - Unable to append filename extension.\n"
            "ERROR c.ibs - Unable to assemble filename.\n");
}

TEST(BaseName, SplitsAtEitherSeparatorAndCutsTheExtension) {
  EXPECT_EQ(CMN_BaseName("C:\\models\\part.ibs"), "part");
  EXPECT_EQ(CMN_BaseName("models/sub/part.v2.ibs"), "part.v2");
  EXPECT_EQ(CMN_BaseName("part"), "part");
  EXPECT_EQ(CMN_BaseName("dir.d/part"), "part");
}

TEST_F(Cmn, AllocationFailureIsReportedNotThrown) {
  std::vector<double> values;
  EXPECT_EQ(CMN_Alloc(&values, 4), 1);
  EXPECT_EQ(values.size(), 4u);
  EXPECT_EQ(CMN_Realloc(&values, 8), 1);
  EXPECT_EQ(values.size(), 8u);
  EXPECT_EQ(CMN_Alloc(&values, values.max_size() + 1), 0);
  EXPECT_EQ(CMN_Realloc(&values, values.max_size() + 1), 0);
  EXPECT_EQ(values.size(), 8u);
  const std::string r = report();
  EXPECT_NE(r.find("ERROR c.ibs - Memory allocation failed.  This request "), std::string::npos) << r;
  EXPECT_NE(r.find("ERROR c.ibs - Memory reallocation failed.  This request "), std::string::npos) << r;
}

// The short-number path must give the bits the full conversion gives.
TEST(ParseNumber, AgreesWithTheFullConversion) {
  std::mt19937_64 rng(7);
  for (int i = 0; i < 20000; ++i) {
    const int int_digits = static_cast<int>(rng() % 9);
    const int frac_digits = static_cast<int>(rng() % 12);
    std::string text = rng() % 2 ? "-" : "";
    for (int d = 0; d < int_digits; ++d) text += static_cast<char>('0' + rng() % 10);
    if (frac_digits > 0) text += ".";
    for (int d = 0; d < frac_digits; ++d) text += static_cast<char>('0' + rng() % 10);
    if (int_digits + frac_digits == 0) continue;
    if (rng() % 4 == 0) text += "e" + std::to_string(static_cast<int>(rng() % 40) - 20);
    double expected = 0;
    std::from_chars(text.data() + (text[0] == '-'), text.data() + text.size(), expected);
    if (text[0] == '-') expected = -expected;
    double value = 0;
    ASSERT_EQ(CMN_ParseNumber(text, &value), kNumberValid) << text;
    EXPECT_EQ(value, expected) << text;
  }
  double value = 0;
  ASSERT_EQ(CMN_ParseNumber("9007199254740993", &value), kNumberValid);  // past 2^53
  EXPECT_EQ(value, 9007199254740992.0);
  ASSERT_EQ(CMN_ParseNumber("12345678901234567890123e-3", &value), kNumberValid);
  EXPECT_EQ(value, 12345678901234567890.123);
}

// One pass over a line of values reads each item as the split line and the value reader do.
TEST(ScanValues, MatchesSplittingThenReading) {
  const char* lines[] = {
      "-3.3V       -92.89mA      -74.31mA      -111.5mA",
      "0 NA na nA",
      "1e5 1e 1.5.3 5% +.5u",
      "\t2n\t\t3p  ",
      "x",
      "",
      "1n5 2meg 1pF2 10m5",
      "\v7 8",
      "123456789012345678901234567890 .5 5.",
  };
  for (const char* line : lines) {
    ValueItem items[4];
    const size_t found = CMN_ScanValues(line, 4, items);
    ItemList split;
    ASSERT_EQ(CMN_SplitLine(line, 4, 0, &split), 1);
    EXPECT_EQ(found, split.found) << line;
    for (size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(items[i].text, split[i]) << line << " #" << i;
      if (split[i].empty()) continue;
      double value = 0;
      bool is_na = false;
      EXPECT_EQ(items[i].result, CMN_GetValueOrNA(split[i], &value, &is_na)) << line << " #" << i;
      EXPECT_EQ(items[i].is_na, is_na) << line << " #" << i;
      if (items[i].result != kNumberInvalid) {
        EXPECT_EQ(items[i].value, value) << line << " #" << i;
      }
    }
  }
}

// Every table value, read in a line, is strtod's value of its number times the scale of its
// first letter, bit for bit: short and long mantissas, signs, leading dots, exponents, suffixes.
TEST(ScanValues, AgreesWithStrtodTimesTheScale) {
  struct Suffix {
    const char* text;
    double factor;
  };
  const Suffix suffixes[] = {{"", 1},       {"T", 1e12},   {"G", 1e9},   {"M", 1e6},
                             {"k", 1e3},    {"m", 1e-3},   {"u", 1e-6},  {"n", 1e-9},
                             {"p", 1e-12},  {"f", 1e-15},  {"meg", 1e-3}, {"Meg", 1e6},
                             {"mA", 1e-3},  {"V", 1},      {"K", 1},     {"ohm", 1}};
  std::mt19937_64 rng(22);
  const auto digits = [&](int count) {
    std::string d;
    for (int i = 0; i < count; ++i) d += static_cast<char>('0' + rng() % 10);
    return d;
  };
  for (int i = 0; i < 50000; ++i) {
    const char* signs[] = {"", "-", "+"};
    std::string number = signs[rng() % 3];
    const int int_digits = static_cast<int>(rng() % 4 == 0 ? rng() % 26 : rng() % 4);
    const int frac_digits = static_cast<int>(rng() % 4 == 0 ? rng() % 26 : rng() % 6);
    number += digits(int_digits);
    if (rng() % 5 != 0) number += "." + digits(frac_digits);
    if (int_digits + frac_digits == 0 || number.back() == '+' || number.back() == '-') continue;
    if (number.find('.') == std::string::npos && int_digits == 0) continue;
    if (rng() % 6 == 0) number += (rng() % 2 ? "e" : "E-") + std::to_string(rng() % 30);
    const Suffix& suffix = suffixes[rng() % std::size(suffixes)];
    const std::string line = (rng() % 2 ? "\t" : "  ") + number + suffix.text + " 1";
    ValueItem items[2];
    ASSERT_EQ(CMN_ScanValues(line, 2, items), 2u) << line;
    ASSERT_EQ(items[0].result, kNumberValid) << line;
    const double expected = std::strtod(number.c_str(), nullptr) * suffix.factor;
    EXPECT_EQ(std::memcmp(&items[0].value, &expected, sizeof expected), 0)
        << line << " read " << items[0].value << ", strtod " << expected;
  }
}

// The one-step reading of a table row takes only lines the general reading passes without a
// finding, and gives their values bit for bit (the sign of a zero included).
TEST(ScanPlainValues, TakesOnlyCleanRowsOfFourAndAgreesWithTheGeneralReading) {
  const struct {
    const char* line;
    bool plain;
  } cases[] = {
      {"-3.3V       -92.89mA      -74.31mA      -111.5mA", true},
      {"\t2n\t\t3p 1 2  ", true},
      {"+.5u 5. 0 -0", true},
      {"1 2 3", false},
      {"1 2 3 4 5", false},
      {"", false},
      {"0 NA 1 2", false},
      {"1 2 3 na", false},
      {"-5.500E+00     -4.541E+00     -4.577E+00    -4.501E+00", true},
      {"1e5 1 2 3E-22", true},
      {"1 2 3 1e23", false},
      {"1e 1 2 3", false},
      {"1eV 1 2 3", false},
      {"1e5e 1 2 3", false},
      {"1n5 2 3 4", false},
      {"1 2 3 4pF2", false},
      {"1.5.3 1 2 3", false},
      {"5% 1 2 3", false},
      {"1 2 3 x", false},
      {"12345678901234567890 1 2 3", false},
      {"\v7 1 2 3", false},
  };
  for (const auto& c : cases) {
    double values[4] = {};
    ASSERT_EQ(CMN_ScanPlainValues(c.line, 4, values), c.plain) << c.line;
    if (!c.plain) continue;
    ValueItem items[4];
    ASSERT_EQ(CMN_ScanValues(c.line, 4, items), 4u) << c.line;
    for (size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(items[i].result, kNumberValid) << c.line << " #" << i;
      EXPECT_FALSE(items[i].is_na) << c.line << " #" << i;
      EXPECT_EQ(std::memcmp(&values[i], &items[i].value, sizeof(double)), 0) << c.line << " #" << i;
    }
  }
}

TEST(FirstItem, EndsAtTheDelimiter) {
  EXPECT_EQ(CMN_FirstItem("  R_fixture= 50", '='), "R_fixture");
  EXPECT_EQ(CMN_FirstItem("= 50", '='), "=");
  EXPECT_EQ(CMN_FirstItem("   ", '='), "");
}

}  // namespace
}  // namespace tarn
