#include "libibis/src/drvsh.h"

#include <gtest/gtest.h>

#include <string>

#include "check_fixture.h"
#include "model_fixture.h"
#include "report_table.h"

namespace tarn {
namespace {

using test::at_lines;

// Model m1 whose schedule (line 3) has `lines` from line 4 on.
test::ReadResult read_schedule(const std::string& lines) {
  return test::read_lines("[Model] m1\nModel_type Output\n[Driver Schedule]\n" + lines + "[End]\n");
}

TEST(DriverSchedule, Lines) {
  const auto at = [](const std::string& line) {
    return at_lines(read_schedule(line + "\n").report);
  };
  test::expect_reports(at, {
      {"m2 1n NA 2n NA", ""},
      {"m2 NA 1n NA 2n", ""},
      {"m2 1n NA NA 2n",
       "ERROR t.ibs (line    4) - Rise_on_dly and Fall_off_delay cannot be specified together\n"},
      {"m2 NA 1n 2n NA",
       "ERROR t.ibs (line    4) - Rise_off_dly and Fall_on_delay cannot be specified together\n"},
      {"m2 1n NA NA NA", "ERROR t.ibs (line    4) - At least two delays must be specified\n"},
      {"m2", "ERROR t.ibs (line    4) - At least two delays must be specified\n"},
      {"m2 1n",
       "ERROR t.ibs (line    4) - No Rise_off_dly Value Was Provided for m2\n"
       "ERROR t.ibs (line    4) - At least two delays must be specified\n"},
      {"m2 1n 2n", "ERROR t.ibs (line    4) - No Fall_on_dly Value Was Provided for m2\n"},
      {"m2 1n 2n NA",
       "ERROR t.ibs (line    4) - No Fall_off_dly Value Was Provided for m2\n"},
      {"m2 1n NA 2n NA 3n",
       "ERROR t.ibs (line    4) - Incorrect Number of Line Items (5) For m2: Expecting 4\n"},
      {"m2 1n NA -1p NA", "ERROR t.ibs (line    4) - Fall_on_dly is less than zero\n"},
      // Too few delays: their values are not judged.
      {"m2 -1n NA NA NA", "ERROR t.ibs (line    4) - At least two delays must be specified\n"},
      {"m2 n1 NA 2n NA",
       "ERROR t.ibs (line    4) - Invalid Rise_on_dly Value (\"n1\")\n"
       "ERROR t.ibs (line    4) - At least two delays must be specified\n"},
      {"m1 1n NA 2n NA",
       "ERROR t.ibs (line    4) -\n"
       "    Model Name in Driver Schedule is the same as enclosing Model (\"m1\")\n"},
      {"gnd 1n NA 2n NA",
       "ERROR t.ibs (line    4) -\n"
       "    Invalid Model Name in Driver Schedule (\"gnd\"); Reserved Word.\n"},
      {"abcdefghijklmnopqrstu 1n NA 2n NA",
       "ERROR t.ibs (line    4) - Model Name Over 20 Characters Long\n"},
  });
  // An entry is kept whatever its delays, its name as cut.
  const auto r = read_schedule("abcdefghijklmnopqrstu -1n NA NA NA\n");
  ASSERT_EQ(test::model_at(r)->driver_schedule->entries.size(), 1u);
  EXPECT_EQ(test::model_at(r)->driver_schedule->entries[0].model_name, "abcdefghijklmnopqrst");
}

TEST(DriverSchedule, DelaysAsRead) {
  const auto r = read_schedule("m2 1n NA 2.5n\n");
  const DriverDelays& d = test::model_at(r)->driver_schedule->entries[0].delays;
  double v = 0;
  ASSERT_EQ(dly_get(&d, kRiseOnDly, &v), 1);
  EXPECT_DOUBLE_EQ(v, 1e-9);
  EXPECT_EQ(d[kRiseOffDly].status, ValueStatus::NA);
  ASSERT_EQ(dly_get(&d, kFallOnDly, &v), 1);
  EXPECT_DOUBLE_EQ(v, 2.5e-9);
  EXPECT_EQ(dly_get(&d, kFallOffDly, &v), 0);
}

TEST(DriverSchedule, RepeatsAndSecondKeyword) {
  const auto r = read_schedule(
      "m2 1n NA 2n NA\nm2 1n NA 2n NA\nm2 1n NA 2n NA\n[Driver Schedule] x\nm3 1n NA 2n NA\n");
  EXPECT_EQ(
      at_lines(r.report),
      "ERROR t.ibs (line    5) - Model Name (\"m2\") previously used in this Driver Schedule\n"
      "ERROR t.ibs (line    6) - Model Name (\"m2\") previously used in this Driver Schedule\n"
      "ERROR t.ibs (line    7) - Driver Schedule: Already Defined for this model\n"
      "ERROR t.ibs (line    7) -\n"
      "    Incorrect Number of Line Items (2) For Driver Schedule: Expecting 1\n");
  // The first schedule stays and takes the lines after the second keyword.
  EXPECT_EQ(test::model_at(r)->driver_schedule->entries.size(), 4u);
}

TEST(DriverSchedule, LineWithoutName) {
  DriverSchedule schedule;
  test::MemStream out;
  RPT_SetStream(out.get());
  driver_schedule_line("  ", &schedule, "m1");
  RPT_SetStream(nullptr);
  EXPECT_NE(out.text().find(") - 'Driver Schedule' Missing model Name\n"), std::string::npos);
  EXPECT_TRUE(schedule.entries.empty());
}

TEST(DriverSchedule, ScheduledModelsAtEndOfFile) {
  const std::string text =
      "[Model] sched\nModel_type I/O\n[Driver Schedule]\n"
      "io 1n NA 2n NA\nnone 1n NA 2n NA\nin 1n NA 2n NA\nterm 1n NA 2n NA\nown 1n NA 2n NA\n"
      "[Model] io\nModel_type I/O\n[Model] in\nModel_type Input\n"
      "[Model] term\nModel_type Terminator\n"
      "[Model] own\nModel_type Input_ECL\n[Driver Schedule]\nio 1n NA 2n NA\n[End]\n";
  // Newest first: the entries of `own`, then those of `sched` from its last line up.
  EXPECT_EQ(
      test::check_report(text, driver_schedule_end_of_file),
      "ERROR t.ibs - Model own used in the Driver Schedule of Model sched cannot itself have a "
      "Driver Schedule\n"
      "ERROR t.ibs - Model own used in the Driver Schedule of Model sched should be an output "
      "model\n"
      "ERROR t.ibs - Model term used in the Driver Schedule of Model sched should be an output "
      "model\n"
      "ERROR t.ibs - Model in used in the Driver Schedule of Model sched should be an output "
      "model\n"
      "ERROR t.ibs - Model none used in the Driver Schedule of Model sched is not defined\n");
}

}  // namespace
}  // namespace tarn
