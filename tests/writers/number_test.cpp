// The writers' number text: printf's "%.6g" and "%f" without printf, so exact on ties, carries,
// the switch to an exponent and subnormals.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

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

// The values where rounding goes wrong first: ties at the seventh digit (exact and near, at
// every scale), either side of each power of ten, random bit patterns (subnormals among them)
// and random binary fractions with exact ties.
std::vector<double> hard_values() {
  std::mt19937_64 random(22);
  std::vector<double> values;
  for (int exponent = -320; exponent <= 308; ++exponent) {
    char text[40];
    std::snprintf(text, sizeof text, "1e%d", exponent);
    const double power = std::strtod(text, nullptr);
    values.push_back(std::nextafter(power, 0.0));
    values.push_back(power);
    values.push_back(std::nextafter(power, HUGE_VAL));
    for (int i = 0; i < 20; ++i) {
      std::snprintf(text, sizeof text, "%llu5e%d",
                    static_cast<unsigned long long>(100000 + random() % 900000), exponent - 6);
      values.push_back(std::strtod(text, nullptr));
    }
  }
  for (int i = 0; i < 100000; ++i) {
    const uint64_t bits = random() & ~(uint64_t{1} << 63);
    double value;
    std::memcpy(&value, &bits, sizeof bits);
    values.push_back(value);
    values.push_back(double(random() % 20000000) / 16.0);
    values.push_back(double(random() % 2000000) * 0.5e-9);
  }
  std::erase_if(values, [](double v) { return !std::isfinite(v) || v <= 0.0; });
  return values;
}

// Against the C library, with both signs.
TEST(WriterNumbers, GeneralFormMatchesPrintf) {
  int mismatches = 0;
  for (const double magnitude : hard_values()) {
    for (const double value : {magnitude, -magnitude}) {
      char expected[64];
      std::snprintf(expected, sizeof expected, "%.6g", value);
      if (general(value) == expected) continue;
      ADD_FAILURE() << "value " << value << ": " << general(value) << " not " << expected;
      if (++mismatches == 5) return;
    }
  }
}

// printf's "%f" of the same values, of exact ties in the seventh decimal (odd multiples of
// 1/128) and of their neighbours, and of both zeros.
TEST(WriterNumbers, FixedFormMatchesPrintf) {
  std::vector<double> values = hard_values();
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) {
    const double tie = double((random() % (uint64_t{1} << 40)) | 1) / 128.0;
    values.insert(values.end(), {tie, std::nextafter(tie, 0.0), std::nextafter(tie, HUGE_VAL)});
  }
  values.push_back(0.0);
  int mismatches = 0;
  for (const double magnitude : values) {
    for (const double value : {magnitude, -magnitude}) {
      char expected[512];
      std::snprintf(expected, sizeof expected, "%f", value);
      std::string text;
      WRT_AppendFixed(&text, value);
      if (text == expected) continue;
      ADD_FAILURE() << "value " << value << ": " << text << " not " << expected;
      if (++mismatches == 5) return;
    }
  }
}

// The digits, their count without trailing zeros and the exponent, against printf's "%.5e".
TEST(WriterNumbers, SixDigitsMatchPrintf) {
  int mismatches = 0;
  for (const double value : hard_values()) {
    char expected[64];
    std::snprintf(expected, sizeof expected, "%.5e", value);
    const SixDigits six = WRT_RoundSix(value);
    std::string digits(6, ' ');
    std::memcpy(digits.data(), &six.text, digits.size());
    std::string shown = digits.substr(0, 1) + "." + digits.substr(1);
    char exponent[8];
    std::snprintf(exponent, sizeof exponent, "e%+03d", six.exponent);
    shown += exponent;
    const size_t count = digits.find_last_not_of('0') + 1;
    if (shown == expected && six.count == count) continue;
    ADD_FAILURE() << "value " << value << ": " << shown << " (" << six.count << " digits) not "
                  << expected;
    if (++mismatches == 5) return;
  }
}

}  // namespace
}  // namespace tarn::test
