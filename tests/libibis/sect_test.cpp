#include "libibis/src/sect.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "report_fixture.h"

namespace tarn {
namespace {

class Sect : public test::Reported {
 protected:
  void SetUp() override { at(3, "s.pkg"); }
};

std::string at_line(const std::string& message) {
  return "ERROR s.pkg (line    3) - " + message + "\n";
}

TEST_F(Sect, OneSectionWithItsFindings) {
  const struct {
    const char* text;
    bool read;
    const char* rest;  // after a section read
    std::string expected;
  } cases[] = {
      {"Len=0 L=1n C=2p R=0.1 / Len=1 /", true, "Len=1 /", ""},
      {"Len = 0.5 L = 2.5nH C = 1pF /", true, "", ""},
      {"  /", true, "", at_line("Empty R/L/C section found")},
      {"Len=1 R=2 /", true, "", at_line(" L and C must be specified when Len != 0")},
      {"Len=1 L=1n /", true, "", at_line(" L and C must be specified when Len != 0")},
      {"R=2 Len=0 /", true, "", at_line("Len should be specified before R")},
      {"Len=0 L=1n L=2n /", true, "", at_line("Duplicate L sub param in R/L/C section")},
      {"Len=-1 L=1n C=1p /", true, "", at_line("Len should not be less than zero")},
      {"Len=0 C=-1p /", true, "", at_line("C should not be less than zero")},
      {"Len=0 L=", false, "",
       at_line("Premature end of R/L/C section") +
           at_line("Premature end of R/L/C section. Trailing '/' missing")},
      {"Len=0 X=1 /", false, "", at_line("Unexpected token 'X' found in R/L/C section")},
      {"Len=0 = 1 /", false, "", at_line("Unexpected '=' found")},
      {"   ", false, "", ""},
  };
  for (const auto& c : cases) {
    PinSection section;
    std::string_view rest;
    EXPECT_EQ(SECT_ReadSection(c.text, &section, &rest), c.read) << c.text;
    if (c.read) {
      EXPECT_EQ(rest, c.rest) << c.text;
    }
    EXPECT_EQ(report(), c.expected) << c.text;
  }
  // Items are kept, the later value winning.
  PinSection section;
  std::string_view rest;
  ASSERT_TRUE(SECT_ReadSection("Len=0 L=1n L=2n R=0.5 /", &section, &rest));
  ASSERT_TRUE(section.len && section.l && section.r && !section.c);
  EXPECT_EQ(std::vector<double>({*section.len, *section.l, *section.r}),
            std::vector<double>({0.0, 2e-9, 0.5}));
}

TEST_F(Sect, NestedForksBranchFromTheChainAndCloseBack) {
  SectionChain chain;
  ChainBuilder b;
  b.start(&chain);
  b.add(PinSection{0.0, {}, {}, {}});
  ASSERT_TRUE(b.open_fork());
  b.add(PinSection{1.0, {}, {}, {}});
  ASSERT_TRUE(b.open_fork());
  for (int i = 0; i < 100; ++i) b.add(PinSection{2.0, {}, {}, {}});
  EXPECT_EQ(b.open_forks(), 2u);
  ASSERT_TRUE(b.close_fork());
  b.add(PinSection{3.0, {}, {}, {}});
  ASSERT_TRUE(b.close_fork());
  b.add(PinSection{4.0, {}, {}, {}});
  EXPECT_EQ(report(), "");
  ASSERT_EQ(chain.size(), 3u);
  EXPECT_EQ(chain[0].kind, ChainElementKind::Section);
  ASSERT_EQ(chain[1].kind, ChainElementKind::Fork);
  const SectionChain& outer = chain[1].branch;
  ASSERT_EQ(outer.size(), 3u);
  EXPECT_EQ(outer[1].branch.size(), 100u);
  EXPECT_DOUBLE_EQ(*outer[2].section.len, 3.0);
  EXPECT_DOUBLE_EQ(*chain[2].section.len, 4.0);
  EXPECT_EQ(SECT_CountSections(chain), 104u);
}

TEST_F(Sect, OrphansAndUnmatchedForks) {
  ChainBuilder b;
  EXPECT_FALSE(b.open_fork());
  EXPECT_FALSE(b.close_fork());
  EXPECT_FALSE(b.may_continue());
  SectionChain chain;
  b.start(&chain);
  EXPECT_FALSE(b.may_continue());  // nothing to continue yet
  EXPECT_FALSE(b.close_fork());
  ASSERT_TRUE(b.open_fork());  // a fork at the start of the chain
  EXPECT_TRUE(b.may_continue());
  EXPECT_TRUE(b.close_fork());  // empty, reported, and closed
  EXPECT_EQ(b.open_forks(), 0u);
  EXPECT_EQ(report(), at_line("Detected the start of an orphan 'Fork'") +
                          at_line("Detected the start of an orphan 'Endfork'") +
                          at_line("Detected the start of an orphan R/L/C section") +
                          at_line("Detected the start of an orphan R/L/C section") +
                          at_line("Endfork found without enclosing Fork") +
                          at_line("Empty Fork/Endfork found"));
}

}  // namespace
}  // namespace tarn
