// One table of cases per rule: an input and the full report lines it must give.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace tarn::test {

struct Expect {
  std::string input;
  std::string expected;
};

/// Checks `report(input)` against `expected` for every case, naming the input that failed.
template <class Report>
void expect_reports(Report report, std::initializer_list<Expect> cases) {
  for (const Expect& c : cases) EXPECT_EQ(report(c.input), c.expected) << c.input;
}

}  // namespace tarn::test
