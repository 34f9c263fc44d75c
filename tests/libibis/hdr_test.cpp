#include "libibis/src/hdr.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::read_lines;

const FileHeader& header_of(const test::ReadResult& r) {
  const FileHeader* h = nullptr;
  EXPECT_EQ(IBIS_GetHeader(r.document.get(), &h), 1);
  static const FileHeader empty;
  return h ? *h : empty;
}

TEST(Header, VersionMustComeFirstYetIsAccepted) {
  const auto r = read_lines("[File Rev] 1.0\n[IBIS Ver] 3.2\n[End]\n", "t.ibs", 2);
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    1) - Orphan File Header keyword.\n"
            "ERROR t.ibs (line    2) - IBIS_Version must be first keyword.\n\n");
  EXPECT_EQ(header_of(r).ibis_version, "3.2");
  EXPECT_EQ(PRS_GetVersion(), 3);
}

TEST(Header, VersionTexts) {
  struct Case {
    const char* text;
    bool accept_version1;
    const char* expected;
    int version;  // the code after reading, starting from 2
    bool accept_newer = false;
  };
  const Case cases[] = {
      {"2.1", false, "", 2},
      {"3.0", false, "", 3},
      {"3.2", false, "", 3},
      {"4.0", false, "ERROR t.ibs (line    1) - Illegal IBIS_Version '4.0'.\n", 2},
      {"3.3", false, "ERROR t.ibs (line    1) - Illegal IBIS_Version '3.3'.\n", 3},
      {"1.1", false, "ERROR t.ibs (line    1) - Illegal IBIS_Version '1.1'.\n", 1},
      {"1.1", true, "", 1},
      {"3.2a", false, "ERROR t.ibs (line    1) - Illegal IBIS_Version '3.2a'.\n", 3},
      {"4.2", false, "", 4, true},
      {"7.2", false, "", 7, true},
      {"3.2", false, "", 3, true},
      {"4.3", false, "ERROR t.ibs (line    1) - Illegal IBIS_Version '4.3'.\n", 2, true},
      {"8.0", false, "ERROR t.ibs (line    1) - Illegal IBIS_Version '8.0'.\n", 2, true},
  };
  for (const Case& c : cases) {
    HDR_SetAcceptVersion1(c.accept_version1);
    HDR_SetAcceptNewer(c.accept_newer);
    const auto r = read_lines(std::string("[IBIS Ver] ") + c.text + "\n[End]\n", "t.ibs", 2);
    EXPECT_EQ(r.report, c.expected) << c.text;
    EXPECT_EQ(PRS_GetVersion(), c.version) << c.text;
    EXPECT_EQ(header_of(r).ibis_version, c.text);
  }
  HDR_SetAcceptVersion1(false);
  HDR_SetAcceptNewer(false);
  EXPECT_EQ(read_lines("[IBIS Ver]\n[End]\n").report,
            "WARNING t.ibs (line    1) - Zero length value for keyword 'IBIS_Version'.\n"
            "ERROR t.ibs (line    1) - Illegal IBIS_Version ''.\n");
}

// From 7.0 a file may be named as current systems allow: capitals, and longer names.
TEST(Header, FileNamesOfLaterVersions) {
  const struct {
    const char* version;
    const char* name;
    const char* expected;
  } cases[] = {
      {"7.0", "My_Chip.ibs", ""},
      {"7.0", "a_very_long_file_name_of_thirty.ibs", ""},
      {"6.1", "My_chip.ibs",
       "ERROR My_chip.ibs (line    2) -\n"
       "    File_name 'My_chip.ibs' contains an upper case character 'M'.\n"},
  };
  HDR_SetAcceptNewer(true);
  for (const auto& c : cases) {
    const std::string text =
        std::string("[IBIS Ver] ") + c.version + "\n[File Name] " + c.name + "\n[End]\n";
    EXPECT_EQ(read_lines(text, c.name).report, c.expected) << c.name;
  }
  HDR_SetAcceptNewer(false);
}

TEST(Header, FileNameRules) {
  struct Case {
    const char* opened;
    const char* text;
    const char* expected;
  };
  const Case cases[] = {
      {"part.ibs", "part.ibs", ""},
      {"Part.IBS", "part.ibs", ""},  // differs from the opened name only in case
      {"my_file.ibs", "My_File.ibs",
       "ERROR my_file.ibs (line    2) -\n"
       "    File_name 'My_File.ibs' contains an upper case character 'M'.\n"
       "ERROR my_file.ibs (line    2) -\n"
       "    File_name 'My_File.ibs' contains an upper case character 'F'.\n"},
      {"my.file.ibs", "my.file.ibs",
       "ERROR my.file.ibs (line    2) - File_name 'my.file.ibs' contains more than one period.\n"},
      {"t.ibs", "readme",
       "ERROR t.ibs (line    2) - File_name 'readme' must contain one period.\n"
       "ERROR t.ibs (line    2) -\n"
       "    File name opened 't.ibs' not the same as File_name 'readme'.\n"},
      {"t.ibs", "a*b{c}~.ibs",
       "ERROR t.ibs (line    2) -\n"
       "    File_name 'a*b{c}~.ibs' contains a character '*' that is illegal for DOS.\n"
       "ERROR t.ibs (line    2) -\n"
       "    File name opened 't.ibs' not the same as File_name 'a*b{c}~.ibs'.\n"},
      {"t.ibs", "gnd",
       "ERROR t.ibs (line    2) - File_name 'gnd' must contain one period.\n"
       "ERROR t.ibs (line    2) - File name opened 't.ibs' not the same as File_name 'gnd'.\n"
       "ERROR t.ibs (line    2) - Illegal use of Reserved Word 'gnd'.\n"},
      {"t.ibs", "a_very_long_file_name_of_thirty.ibs",
       "WARNING t.ibs (line    2) - File_name string 'a_very_long_file_name_of_thirty.ibs' is "
       "too long, truncating to 24 characters.\n"
       "ERROR t.ibs (line    2) -\n"
       "    File_name 'a_very_long_file_name_of' must contain one period.\n"
       "ERROR t.ibs (line    2) - File name opened 't.ibs' not the same as File_name "
       "'a_very_long_file_name_of'.\n"},
  };
  for (const Case& c : cases) {
    const auto r = read_lines(std::string("[IBIS Ver] 3.2\n[File Name] ") + c.text + "\n[End]\n",
                              c.opened);
    EXPECT_EQ(r.report, c.expected) << c.text;
  }
  const auto r = read_lines("[IBIS Ver] 3.2\n[File Name] t.ibs\n[File Name] u.ibs\n[End]\n");
  EXPECT_EQ(r.report, "ERROR t.ibs (line    3) - Duplicate File_name keyword.\n");
  EXPECT_EQ(header_of(r).file_name, "t.ibs");
  EXPECT_EQ(header_of(r).file_time, PRS_GetFileTime());
  EXPECT_NE(header_of(r).file_time, 0);
}

TEST(Header, RevisionAndDate) {
  const auto r = read_lines(
      "[IBIS Ver] 3.2\n"
      "[File Rev] 1.0\n"
      "[Date] NA\n"
      "[File Rev] 2.0\n"
      "[Date] Monday\n"
      "[End]\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    3) - Illegal use of Reserved Word 'NA'.\n"
            "ERROR t.ibs (line    4) - Duplicate File_Rev keyword.\n"
            "ERROR t.ibs (line    5) - Duplicate Date keyword.\n");
  EXPECT_EQ(header_of(r).file_rev, "1.0");
  EXPECT_EQ(header_of(r).date, "NA");
  const std::string long_date(45, 'd');
  EXPECT_EQ(read_lines("[IBIS Ver] 3.2\n[Date] " + long_date + "\n[End]\n").report,
            "WARNING t.ibs (line    2) - Date string '" + long_date +
                "' is too long, truncating to 40 characters.\n");
}

TEST(Header, FreeTextKeywords) {
  const auto r = read_lines(
      "[IBIS Ver] 3.2\n"
      "[Source] From lab\n"
      "  measurements [1]\n"
      "[Notes]\n"
      "first note\n"
      "second note | not kept\n"
      "[Disclaimer] One.\n"
      "[Copyright] (c) Acme\n"
      "[Source] Again\n"
      "dropped too\n"
      "[Disclaimer] Two.\n"
      "more\n"
      "[Notes] again\n"
      "[Copyright] again\n"
      "[Date] today\n"
      "orphan\n"
      "[End]\n");
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line    9) - Duplicate Source keyword.\n"
            "ERROR t.ibs (line   13) - Duplicate Notes keyword.\n"
            "ERROR t.ibs (line   14) - Duplicate Copyright keyword.\n"
            "ERROR t.ibs (line   16) - Orphan Data Line.\n");
  const FileHeader& h = header_of(r);
  EXPECT_EQ(h.source, "From lab\n  measurements [1]");
  EXPECT_EQ(h.notes, "first note\nsecond note");
  EXPECT_EQ(h.disclaimer, "One.\nTwo.\nmore");
  EXPECT_EQ(h.copyright, "(c) Acme");
  EXPECT_EQ(h.date, "today");
  EXPECT_FALSE(read_lines("[IBIS Ver] 3.2\n[End]\n").document->header->notes.has_value());
}

TEST(Header, OrphanDataAfterVersion) {
  EXPECT_EQ(read_lines("[IBIS Ver] 3.2\nstray\n[End]\n").report,
            "ERROR t.ibs (line    2) - Orphan Data Line.\n");
}

}  // namespace
}  // namespace tarn
