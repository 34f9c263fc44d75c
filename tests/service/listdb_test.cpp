#include "service/listdb.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <locale>
#include <sstream>

#include "test_support.h"
#include "writers/safe_file.h"

namespace tarn {
namespace {

namespace fs = std::filesystem;
using std::nullopt;

const std::string kBanner = "***** This is an automatically generated file, do not edit! *****\n";

class ListDbTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return (dir_.path() / name).string(); }
  static void Write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  static std::string Read(const std::string& path) { return test::file_bytes(path).value_or(""); }
  // "key=disk:flag " per entry, in saved order.
  static std::string Keys(const ListDb& db) {
    std::string keys;
    for (const ListDbEntry* e : db.Entries())
      keys += e->user + "=" + e->disk + ":" + std::to_string(e->flag) + " ";
    return keys;
  }

  test::TempDir dir_;
};

TEST_F(ListDbTest, GeneratedNamesContinueAfterSaveAndLoad) {
  const std::string file = Path("compibis.ibx");
  auto db = ListDb::Create(file, "ib%06d.cbs", false);
  ListDbEntry* a = db->Add("CompA", nullopt, nullopt, 0);
  ASSERT_TRUE(a && db->Add("CompB", nullopt, nullopt, 0));
  EXPECT_EQ(a->disk, "ib000000.cbs");
  // An existing key returns its entry unchanged and costs no number; nor does a given name.
  EXPECT_EQ(db->Add("CompA", nullopt, "other", 5), a);
  EXPECT_EQ(a->text, nullopt);
  ASSERT_TRUE(db->Add("Given", "mine.cbs", nullopt, 0));
  EXPECT_EQ(db->next_index(), 2);
  EXPECT_FALSE(fs::exists(file)) << "nothing is written before a save";

  ASSERT_TRUE(db->Save());
  EXPECT_EQ(Read(file), kBanner +
                            "2\n"
                            "CompA\nib000000.cbs\n\n0\n"
                            "CompB\nib000001.cbs\n\n0\n"
                            "Given\nmine.cbs\n\n0\n");
  EXPECT_FALSE(fs::exists(file + ".tmp"));

  auto loaded = ListDb::Load(file, "ib%06d.cbs", false);
  ASSERT_TRUE(loaded && loaded->Find("compa"));
  EXPECT_EQ(loaded->size(), 3u);
  EXPECT_EQ(loaded->Find("compa")->text, std::string()) << "no text reads back as empty";
  ListDbEntry* c = loaded->Add("CompC", nullopt, nullopt, 0);
  ASSERT_TRUE(c);
  EXPECT_EQ(c->disk, "ib000002.cbs");
}

// Buckets hold the sum of the characters plus one each, modulo 100; anagrams share one.
TEST_F(ListDbTest, SavedFileFollowsBucketAndKeyOrder) {
  struct Case {
    bool case_sensitive;
    std::vector<std::string> keys;  // named f0, f1, ... in this order
    std::string body;
  };
  const Case cases[] = {
      {false, {"c", "ba", "b", "ab", "a", "A_", "_a"},
       "7\nc\nf0\n\n0\n"                // bucket 0
       "_a\nf6\n\n0\nA_\nf5\n\n0\n"     // 94: '_' before letters once folded to lower case
       "ab\nf3\n\n0\nba\nf1\n\n0\n"     // 97
       "a\nf4\n\n0\nb\nf2\n\n0\n"},     // 98, 99
      {true, {"aB", "b", "Ab", "A_", "_a"},
       "5\nA_\nf3\n\n0\n"               // 62
       "Ab\nf2\n\n0\naB\nf0\n\n0\n"     // 65, byte order
       "_a\nf4\n\n0\nb\nf1\n\n0\n"},    // 94, 99
  };
  const std::string file = Path("order.ibx");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.case_sensitive ? "case sensitive" : "case insensitive");
    auto db = ListDb::Create(file, "f%d", c.case_sensitive);
    for (const std::string& key : c.keys) ASSERT_TRUE(db->Add(key, nullopt, nullopt, 0));
    ASSERT_TRUE(db->Save());
    EXPECT_EQ(Read(file), kBanner + c.body);
    auto loaded = ListDb::Load(file, "f%d", c.case_sensitive);
    ASSERT_TRUE(loaded && loaded->Save());
    EXPECT_EQ(Read(file), kBanner + c.body) << "a load rebuilds the same buckets";
  }
}

TEST_F(ListDbTest, CaseRules) {
  auto folded = ListDb::Create(Path("ci.ibx"), "f%d", false);
  ListDbEntry* lower = folded->Add("ab", nullopt, nullopt, 0);
  ListDbEntry* upper = folded->Add("AB", nullopt, nullopt, 0);
  ASSERT_TRUE(lower && upper && folded->Add("aB", nullopt, nullopt, 0));
  EXPECT_NE(upper, lower);
  EXPECT_EQ(folded->Add("AB", nullopt, nullopt, 0), upper) << "a byte-equal twin is reused";
  EXPECT_EQ(folded->Find("AB"), lower) << "lookups find the first twin";
  EXPECT_EQ(Keys(*folded), "ab=f0:0 AB=f1:0 aB=f2:0 ");
  ASSERT_TRUE(folded->Save());
  auto reread = ListDb::Load(folded->file(), "f%d", false);
  ASSERT_TRUE(reread);
  EXPECT_EQ(Keys(*reread), "ab=f0:0 AB=f1:0 aB=f2:0 ") << "twins keep their order";

  EXPECT_TRUE(folded->Remove("AB"));
  EXPECT_EQ(folded->Find("ab"), upper);
  EXPECT_TRUE(folded->Remove("ab") && folded->Remove("ab"));
  EXPECT_FALSE(folded->Remove("ab"));
  EXPECT_EQ(folded->size(), 0u);

  auto exact = ListDb::Create(Path("cs.ibx"), "f%d", true);
  ListDbEntry* e1 = exact->Add("ab", nullopt, nullopt, 0);
  ListDbEntry* e2 = exact->Add("AB", nullopt, nullopt, 0);
  EXPECT_EQ(exact->Find("ab"), e1);
  EXPECT_EQ(exact->Find("AB"), e2);
  EXPECT_EQ(exact->Find("Ab"), nullptr);
}

TEST_F(ListDbTest, LoadRefusesDamagedFiles) {
  struct Case {
    const char* name;
    std::string content;
    std::optional<std::string> keys;  // none: refused
    int32_t next;
  };
  const std::string b = kBanner;
  const Case cases[] = {
      {"empty file", "", "", 0},
      {"no index line", b, nullopt, 0},
      {"negative index", b + "-1\n", nullopt, 0},
      {"index not a number", b + "abc\n", nullopt, 0},
      {"index with trailing text", b + "12 x\n", nullopt, 0},
      {"index beyond int", b + "2147483648\n", nullopt, 0},
      {"index only", b + "12\n", "", 12},
      {"short last group dropped", b + "3\nk1\nd1\n\n4\nk2\nd2\nt2\n", "k1=d1:4 ", 3},
      {"repeated key keeps the first", b + "3\nk\nd1\n\n0\nk\nd2\n\n0\n", "k=d1:0 ", 3},
      {"windows line ends", b + "4\r\nk1\r\nd1\r\nt\r\n5\r\n", "k1=d1:5 ", 4},
      {"no final line feed", b + "4\nk1\nd1\n\n5", "k1=d1:5 ", 4},
      {"flags as scanf reads them", b + "0\na\nd\n\n -3\nb\nd\n\n+9 x\nc\nd\n\nx\nd\nd\n\n40000\n",
       "c=d:0 d=d:0 a=d:-3 b=d:9 ", 0},  // buckets 0, 1, 98, 99
      {"long key cut, groups stay aligned",
       b + "1\n" + std::string(300, 'k') + "\nd1\n\n0\nk2\nd2\n\n0\n",
       std::string(255, 'k') + "=d1:0 k2=d2:0 ", 1},
  };
  const std::string file = Path("in.ibx");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Write(file, c.content);
    auto db = ListDb::Load(file, "f%d", true);
    ASSERT_EQ(db != nullptr, c.keys.has_value());
    if (!db) continue;
    EXPECT_EQ(Keys(*db), *c.keys);
    EXPECT_EQ(db->next_index(), c.next);
  }
  EXPECT_EQ(ListDb::Load(Path("missing.ibx"), "f%d", true), nullptr);
  EXPECT_EQ(ListDb::Load(dir_.path().string(), "f%d", true), nullptr) << "a folder is no index";
}

TEST_F(ListDbTest, TimestampedLayout) {
  const std::string file = Path("stamped.ibx");
  auto db = ListDb::Create(file, "s%03d.idx", false, ListDbLayout::kTimestamped);
  ListDbEntry* e = db->Add("Part", nullopt, "Vendor  X", -3);
  ASSERT_TRUE(e);
  e->timestamp = 1700000000;
  ASSERT_TRUE(db->Save());
  EXPECT_EQ(Read(file), kBanner + "1\nPart\ns000.idx\nVendor  X\n-3 1700000000\n");

  auto stamped = ListDb::Load(file, "s%03d.idx", false, ListDbLayout::kTimestamped);
  ASSERT_TRUE(stamped && stamped->Find("PART"));
  EXPECT_EQ(stamped->Find("PART")->timestamp, 1700000000);
  EXPECT_EQ(Keys(*stamped), "Part=s000.idx:-3 ");
  auto plain = ListDb::Load(file, "s%03d.idx", false);
  ASSERT_TRUE(plain);
  EXPECT_EQ(Keys(*plain), "Part=s000.idx:-3 ") << "the plain layout ignores the timestamp";
}

TEST_F(ListDbTest, FailedSaveLeavesPreviousFileWhole) {
  const std::string file = Path("keep.ibx");
  auto db = ListDb::Create(file, "ib%06d.cbs", false);
  ASSERT_TRUE(db->Add("One", nullopt, nullopt, 0));
  ASSERT_TRUE(db->Save());
  const std::string before = Read(file);
  ASSERT_TRUE(db->Add("Two", nullopt, nullopt, 0));

  SFL_SetStepHook(
      [](SafeFileStep step, const char*) { return step == SafeFileStep::kWritten ? ENOSPC : 0; });
  EXPECT_FALSE(db->Save()) << "a full disk";
  SFL_SetStepHook(nullptr);
  EXPECT_EQ(Read(file), before);
  ASSERT_TRUE(db->Save());
  EXPECT_EQ(Read(file), kBanner + "2\nOne\nib000000.cbs\n\n0\nTwo\nib000001.cbs\n\n0\n");

  // A folder in place of the index: the rename fails and the temporary file goes away.
  fs::create_directories(Path("dir.ibx/inside"));
  auto blocked = ListDb::Create(Path("dir.ibx"), "f%d", false);
  EXPECT_FALSE(blocked->Save());
  EXPECT_EQ(std::distance(fs::directory_iterator(dir_.path()), fs::directory_iterator()), 2)
      << "no temporary file left beside keep.ibx and dir.ibx";
  EXPECT_FALSE(ListDb::Create(Path("no/such.ibx"), "f%d", false)->Save());
}

TEST_F(ListDbTest, ReloadTakesOverTheFileButNeverReissuesNames) {
  const std::string file = Path("shared.ibx");
  auto mine = ListDb::Create(file, "f%d", false);
  ASSERT_TRUE(mine->Add("a", nullopt, nullopt, 0) && mine->Save());
  auto theirs = ListDb::Load(file, "f%d", false);
  ASSERT_TRUE(theirs && theirs->Add("b", nullopt, nullopt, 0) && theirs->Save());

  // Mine hands out f1 and f2 meanwhile; the file knows f0 and f1.
  ASSERT_TRUE(mine->Add("c", nullopt, nullopt, 0) && mine->Add("d", nullopt, nullopt, 0));
  ASSERT_TRUE(mine->Reload());
  EXPECT_EQ(Keys(*mine), "a=f0:0 b=f1:0 ");
  EXPECT_EQ(mine->size(), 2u);
  EXPECT_EQ(mine->NextName(), "f3");

  fs::remove(file);
  EXPECT_FALSE(mine->Reload());
  EXPECT_EQ(Keys(*mine), "a=f0:0 b=f1:0 ");
}

TEST_F(ListDbTest, AddRefusesWhatCouldNotBeReadBack) {
  auto db = ListDb::Create(Path("r.ibx"), "f%d", true);
  EXPECT_FALSE(db->Add("two\nlines", nullopt, nullopt, 0));
  EXPECT_FALSE(db->Add("cr\r", nullopt, nullopt, 0));
  EXPECT_FALSE(db->Add(std::string(256, 'k'), nullopt, nullopt, 0));
  EXPECT_FALSE(db->Add("k", std::string(128, 'd'), nullopt, 0));
  EXPECT_FALSE(db->Add("k", nullopt, std::string(1024, 't'), 0));
  EXPECT_EQ(db->next_index(), 0) << "a refused entry costs no number";
  EXPECT_TRUE(db->Add(std::string(255, 'k'), std::string(127, 'd'), std::string(1023, 't'), 0));
  EXPECT_FALSE(ListDb::Create(Path("u.ibx"), "", true)->Add("k", nullopt, nullopt, 0));

  Write(Path("full.ibx"), kBanner + "2147483647\n");
  auto full = ListDb::Load(Path("full.ibx"), "f%d", true);
  ASSERT_TRUE(full);
  EXPECT_FALSE(full->Add("k", nullopt, nullopt, 0)) << "counter exhausted";
  EXPECT_TRUE(full->Add("k", "given", nullopt, 0));
}

TEST_F(ListDbTest, DumpIgnoresTheStreamLocale) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };
  Write(Path("d.ibx"), kBanner + "1234\nKey\nf9\nsome text\n1200 1700000000\n");
  auto db = ListDb::Load(Path("d.ibx"), "f%d", false, ListDbLayout::kTimestamped);
  ASSERT_TRUE(db && db->Add("New", "f1", nullopt, 0));
  std::ostringstream out;
  out.imbue(std::locale(std::locale::classic(), new Grouping));
  db->Dump(out);
  EXPECT_EQ(out.str(), "file: <" + Path("d.ibx") + ">\nformat: <f%d>\nnext index: 1234\n"
                       "# entries: 2\ncase sensitive: 0\n"
                       "user: <Key>\ndisk: <f9>\ntext: <some text>\nflag: 1200\n"
                       "timestamp: 1700000000\n"
                       "user: <New>\ndisk: <f1>\ntext: <>\nflag: 0\ntimestamp: 0\n");
}

TEST(ListDbName, FormatsOneIntegerConversion) {
  const std::tuple<const char*, int32_t, const char*> cases[] = {
      {"ib%06d.cbs", 0, "ib000000.cbs"}, {"ib%06d.cbs", 1234567, "ib1234567.cbs"},
      {"%i", 42, "42"},   {"x%-4dy", 7, "x7   y"}, {"%4d", 7, "   7"},   {"%+d", 7, "+7"},
      {"% d", 7, " 7"},   {"%5.3d", 7, "  007"},  {"%05.3d", 7, "  007"}, {"%.0d", 0, ""},
      {"%u", 9, "9"},     {"%X", 255, "FF"},      {"%#06x", 255, "0x00ff"}, {"%#o", 8, "010"},
      {"100%% %d", 3, "100% 3"},
  };
  for (const auto& [format, value, expected] : cases) {
    SCOPED_TRACE(format);
    EXPECT_EQ(FormatListDbName(format, value), std::string(expected));
  }
  for (const char* bad : {"", "plain", "%s", "%d%d", "%ld", "%'d", "%", "%5", "%1000d", "%n"}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(FormatListDbName(bad, 1), nullopt);
  }
}

}  // namespace
}  // namespace tarn
