#include "libibis/src/sswch.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::read_lines;

// Line 1 opens the component, line 2 is the keyword, entries start at line 3.
test::ReadResult read_groups(const std::string& lines) {
  return read_lines("[Component] C\n[Series Switch Groups]\n" + lines + "[End]\n");
}

// The entries as "On:a,b Off:c".
std::string entries_of(const test::ReadResult& r) {
  const SwitchGroupList* list = nullptr;
  if (!CMPNT_GetSwitchGroups(r.document->components[0].get(), &list)) return "";
  std::string text;
  for (const SwitchGroupEntry& entry : list->entries) {
    text += text.empty() ? "" : " ";
    text += entry.on ? "On:" : "Off:";
    for (size_t i = 0; i < entry.groups.size(); ++i) text += (i ? "," : "") + entry.groups[i];
  }
  return text;
}

TEST(SeriesSwitchGroups, EntriesOverLinesAndTheirNames) {
  struct Case {
    const char* lines;
    const char* entries;
    const char* expected;
  };
  const Case cases[] = {
      {"On g1 g2 /\n", "On:g1,g2", ""},
      {"On g1\ng2 /\n", "On:g1,g2", ""},
      {"On g1 / Off g1 g2/\n", "On:g1 Off:g1,g2", ""},
      {"off G1 /\nON g1 /\n", "Off:G1 On:g1", ""},  // names keep their case
      {"On\ng1 /\n", "On:g1", "ERROR t.ibs (line    3) - No Group names specified on this line\n"},
      {"Off /\n", "Off:", "ERROR t.ibs (line    3) - No Group names specified on this line\n"},
      {"Maybe g1 /\nOn g2 /\n", "On:g2",
       "ERROR t.ibs (line    3) - Unknown sub parameter 'Maybe'\n"},
      {"On g1 / g2 /\n", "On:g1", "ERROR t.ibs (line    3) - Unknown sub parameter 'g2'\n"},
      {"On g1 Off g2 /\n", "On:g1,g2",
       "ERROR t.ibs (line    3) - Series switch Group name cannot be 'On' or 'Off'\n"},
      {"On g1\ng2 g1 /\nOff g1 /\n", "On:g1,g2 Off:g1",
       "ERROR t.ibs (line    4) - Duplicate Series switch Group name 'g1'\n"},
      {"On group_name_of_21_chrs g2 /\n", "On:g2",
       "ERROR t.ibs (line    3) -\n"
       "    Series switch Group name 'group_name_of_21_chrs' over 20 characters long\n"},
  };
  for (const Case& c : cases) {
    const auto r = read_groups(c.lines);
    EXPECT_EQ(r.report, c.expected) << c.lines;
    EXPECT_EQ(entries_of(r), c.entries) << c.lines;
  }
}

TEST(SeriesSwitchGroups, EntryLeftOpenIsReportedAtTheNextKeyword) {
  const auto r = read_groups("On g1\n[Pin] signal_name model_name\n1 A buf\n");
  EXPECT_EQ(r.report, "ERROR t.ibs (line    4) -\n"
                      "    Previous keyword not terminated properly. Possibly missing a \"/\"\n\n");
  EXPECT_EQ(entries_of(r), "On:g1");
  EXPECT_FALSE(PRS_SwitchGroupOpen());
  // Closed entries leave nothing to report.
  EXPECT_EQ(read_groups("On g1\n/\n[Pin] signal_name model_name\n1 A buf\n").report, "");
}

TEST(SeriesSwitchGroups, SecondKeywordIsDroppedWithItsLines) {
  const auto r = read_groups("On g1 /\n[Series Switch Groups]\nOff g1 /\nOn g2\n[Pin]\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    4) - Duplicate [Series_Switch_Groups] keyword found.\n"
            "ERROR t.ibs (line    7) - Unable to find column headers after Pin keyword.\n");
  EXPECT_EQ(entries_of(r), "On:g1");
}

}  // namespace
}  // namespace tarn
