#include "libibis/src/sswch.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "report_fixture.h"

namespace tarn {
namespace {

// Line 1 opens the component, line 2 is the keyword, entries start at line 3. The report,
// then the entries as "On:a,b Off:c".
std::string read_groups(const std::string& lines) {
  const auto r = test::read_lines("[Component] C\n[Series Switch Groups]\n" + lines + "[End]\n");
  const SwitchGroupList* list = nullptr;
  std::string text = r.report + "=";
  if (!CMPNT_GetSwitchGroups(r.document->components[0].get(), &list)) return text;
  for (const SwitchGroupEntry& entry : list->entries) {
    text += entry.on ? " On:" : " Off:";
    for (size_t i = 0; i < entry.groups.size(); ++i) text += (i ? "," : "") + entry.groups[i];
  }
  return text;
}

TEST(SeriesSwitchGroups, EntriesOverLinesAndTheirNames) {
  test::expect_reports(
      read_groups,
      {
          {"On g1\ng2 /\n", "= On:g1,g2"},
          {"On g1 / Off g1 g2/\n", "= On:g1 Off:g1,g2"},
          {"off G1 /\nON g1 /\n", "= Off:G1 On:g1"},  // names keep their case
          {"On\ng1 /\n", "ERROR t.ibs (line    3) - No Group names specified on this line\n= On:g1"},
          {"Off /\n", "ERROR t.ibs (line    3) - No Group names specified on this line\n= Off:"},
          {"Maybe g1 /\nOn g2 /\n", "ERROR t.ibs (line    3) - Unknown sub parameter 'Maybe'\n= On:g2"},
          {"On g1 / g2 /\n", "ERROR t.ibs (line    3) - Unknown sub parameter 'g2'\n= On:g1"},
          {"On g1 Off g2 /\n",
           "ERROR t.ibs (line    3) - Series switch Group name cannot be 'On' or 'Off'\n= On:g1,g2"},
          {"On g1\ng2 g1 /\nOff g1 /\n",
           "ERROR t.ibs (line    4) - Duplicate Series switch Group name 'g1'\n= On:g1,g2 Off:g1"},
          {"On group_name_of_21_chrs g2 /\n",
           "ERROR t.ibs (line    3) -\n"
           "    Series switch Group name 'group_name_of_21_chrs' over 20 characters long\n= On:g2"},
          // An entry left open is reported at the next keyword.
          {"On g1\n[Pin] signal_name model_name\n1 A buf\n",
           "ERROR t.ibs (line    4) -\n"
           "    Previous keyword not terminated properly. Possibly missing a \"/\"\n\n= On:g1"},
          {"On g1\n/\n[Pin] signal_name model_name\n1 A buf\n", "= On:g1"},
          // A second keyword is dropped with its lines.
          {"On g1 /\n[Series Switch Groups]\nOff g1 /\nOn g2\n[Pin]\n",
           "ERROR t.ibs (line    4) - Duplicate [Series_Switch_Groups] keyword found.\n"
           "ERROR t.ibs (line    7) - Unable to find column headers after Pin keyword.\n= On:g1"},
      });
  EXPECT_FALSE(PRS_SwitchGroupOpen());
}

}  // namespace
}  // namespace tarn
