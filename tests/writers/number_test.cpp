// The writers' number text: printf's "%.6g" without printf, so exact on ties, carries, the
// switch to an exponent and subnormals.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "writers/wrt.h"

namespace tarn::test {
namespace {

std::string general(double value) {
  std::string text;
  WRT_AppendGeneral(&text, value);
  return text;
}

TEST(WriterNumbers, GeneralFormOfEdgeValues) {
  const struct {
    double value;
    const char* text;
  } cases[] = {
      {0.5, "0.5"}, {1234565.0, "1.23456e+06"}, {1e-5, "1e-05"}, {0.0001, "0.0001"},
      {100000.0, "100000"}, {1e6, "1e+06"}, {-2.5e-13, "-2.5e-13"}, {-0.0, "-0"}, {3.3, "3.3"},
      {1e21, "1e+21"}, {4.9406564584124654e-324, "4.94066e-324"},
      {1.7976931348623157e308, "1.79769e+308"},
      {123456.5, "123456"},           // a true tie goes to the even digit
      {999999.5, "1e+06"},            // the carry reaches the exponent
      {0.0001234565, "0.000123457"},  // just above the half in binary
  };
  for (const auto& c : cases) EXPECT_EQ(general(c.value), c.text) << c.value;
}

// Random bit patterns and random decimals with ties among them, against the C library.
TEST(WriterNumbers, GeneralFormMatchesPrintf) {
  std::mt19937_64 random(22);
  int mismatches = 0;
  for (int i = 0; i < 200000 && mismatches < 5; ++i) {
    const uint64_t bits = random();
    double values[3];
    std::memcpy(&values[0], &bits, sizeof bits);
    values[1] = double(int64_t(random() % 20000000) - 10000000) / 16.0;
    values[2] = double(random() % 2000000) * 0.5e-9;
    for (const double value : values) {
      if (value != value) continue;  // NaN prints by sign bit; not a number the writers meet
      char expected[64];
      std::snprintf(expected, sizeof expected, "%.6g", value);
      if (general(value) != expected) {
        ADD_FAILURE() << "value " << value << ": " << general(value) << " not " << expected;
        ++mismatches;
      }
    }
  }
}

// Every digit count the rounding takes, odd and even, against printf's "%.*e".
TEST(WriterNumbers, RoundedDigitsAtEveryCount) {
  const double values[] = {3.3, 0.000123456789012345, 987654321.987654, 2.5e-13, 9.9999999999999e7};
  for (int significant = 1; significant <= 15; ++significant) {
    for (const double value : values) {
      char expected[64];
      std::snprintf(expected, sizeof expected, "%.*e", significant - 1, value);
      const RoundedDecimal d = WRT_RoundDecimal(value, significant);
      std::string text(d.digits().substr(0, 1));
      if (significant > 1) text += "." + std::string(d.digits().substr(1));
      char exponent[8];
      std::snprintf(exponent, sizeof exponent, "e%+03d", d.exponent);
      EXPECT_EQ(text + exponent, expected) << significant << " digits of " << value;
    }
  }
}

}  // namespace
}  // namespace tarn::test
