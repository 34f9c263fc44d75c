// The model library end to end: a component asked for, compiled when needed, recorded, read
// back into pins and parameters; the recompile question, the log and the compiled store.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "service/listdb.h"
#include "service/source_index.h"
#include "tarn/ibis_comp_mdls.h"
#include "test_support.h"

// The private ways of filling an object, as the tests reach them.
struct CIbisCompInfoTest {
  static eRdIbisResult PopulateFromSource(CIbisCompInfo* info, const std::string& source) {
    info->data_->text[eIbisSourceFile] = source;
    return info->PopulateInfo(CIbisCompInfo::kSkipCompiled);
  }
};

namespace tarn::test {
namespace {

namespace fs = std::filesystem;

// A library whose questions and messages the test answers and records.
class TestLibrary : public CIbisCompMdls {
 public:
  using CIbisCompMdls::AddSrcIndex;
  int GetReCompileState(const char*) override {
    ++questions;
    return answer;
  }
  void DisplayCompileStatus(eRdIbisResult result) override { compiles.push_back(result); }
  void MessageBox(const char* text, eMessageIcon) override {
    messages.emplace_back(text);
    if (message_fd >= 0) (void)!write(message_fd, messages.back().data(), messages.back().size());
  }

  int message_fd = -1;  // a child process's messages go to its parent through this
  int answer = 1;
  int questions = 0;
  std::vector<eRdIbisResult> compiles;
  std::vector<std::string> messages;
};

constexpr const char* kPart = R"([IBIS Ver] 3.2
[File Name] part.ibs
[Component] Part
[Manufacturer] Acme
[Package]
R_pkg 0.1 0.08 NA
L_pkg 1n NA NA
C_pkg 1p NA NA
[Pin] signal_name model_name R_pin L_pin C_pin
1 IN buf 0.2 2n 0.5p
2 VCC POWER
[Model] buf
Model_type Input
Vinl = 0.8
Vinh = 2.0
C_comp 1p 0.9p NA
[Voltage Range] 3.3 3.0 3.6
[End]
)";

constexpr const char* kBroken =
    "[IBIS Ver] 3.2\n[File Name] broken.ibs\n[Component] Broken\n"
    "[Manufacturer] Acme\n[Pin] signal_name model_name\n1 VCC POWER\n"
    "[End]\n";

constexpr const char* kStoreHead =
    "***** This is an automatically generated file, do not edit! *****\n";

// A source folder with its index and an empty cache folder beside it.
struct Library {
  TempDir dir;
  fs::path src = dir.path() / "src";
  fs::path cache = dir.path() / "cache";
  std::string index;
  TestLibrary lib;

  Library() {
    fs::create_directories(src);
    write("part.ibs", kPart);
    write("broken.ibs", kBroken);
    index = quietly([&] { return LIB_IndexFolder(src.string()); }).index_path;
    lib.AddSrcIndex(index.c_str(), "src");
    lib.Init(cache.string().c_str());
  }
  // A source written a minute ago, well before any compile of the test.
  void write(const char* name, const std::string& text) {
    std::ofstream(src / name) << text;
    fs::last_write_time(src / name, fs::file_time_type::clock::now() - std::chrono::minutes(1));
  }
  void reindex() {
    quietly([&] { return LIB_IndexFolder(src.string()); });
    lib.SetSearchPaths(1);
  }
  // A source edited after its compile.
  void touch(const char* name) {
    fs::last_write_time(src / name, fs::file_time_type::clock::now() + std::chrono::seconds(10));
  }
  CIbisCompInfo* ask(const char* name, eRdIbisResult* result) {
    return quietly([&] { return lib.GetIbisCompInfo(name, result, 0); });
  }
  // Another session on the same folders, as a later run of the program opens them.
  std::unique_ptr<TestLibrary> session(int message_fd = -1) const {
    auto next = std::make_unique<TestLibrary>();
    next->message_fd = message_fd;
    next->AddSrcIndex(index.c_str(), "src");
    next->Init(cache.string().c_str());
    return next;
  }
};

// What a session run in a child process (under a file size limit, as another user) gave: its
// exit code and the messages it showed.
struct ChildRun {
  int code = -1;
  std::string said;
};

template <class Session>
ChildRun in_child(Session session) {
  int pipe_fds[2];
  if (pipe(pipe_fds) != 0) return {};
  std::fflush(stdout);
  const pid_t pid = fork_settled();
  if (pid == 0) {
    close(pipe_fds[0]);
    std::freopen("/dev/null", "w", stdout);
    _exit(session(pipe_fds[1]));
  }
  close(pipe_fds[1]);
  ChildRun run;
  char buffer[512];
  for (ssize_t n; (n = read(pipe_fds[0], buffer, sizeof buffer)) > 0;) run.said.append(buffer, n);
  close(pipe_fds[0]);
  int status = 0;
  if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status))
    run.code = WEXITSTATUS(status);
  return run;
}

// A child that may not write where root could: an unprivileged user when run as root.
void become_unprivileged() {
  if (geteuid() != 0) return;
  constexpr uid_t kNobody = 65534;
  if (setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(99);
}

TEST(Library, CompilesOnFirstRequestOnly) {
  Library l;
  eRdIbisResult result = eRdIbisNone;
  CIbisCompInfo* info = l.ask("part", &result);
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(result, eRdIbisSuccess);
  EXPECT_EQ(info->GetStatus(), eIbisCurrent);
  EXPECT_EQ(std::string(info->SourceFile()), (l.src / "part.ibs").string());
  const char* compiled = nullptr;
  ASSERT_TRUE(info->GetModelParam(eIbisCompiledFile, &compiled, 0));
  EXPECT_EQ(std::string(compiled), (l.cache / "ib000000.cbs").string());
  EXPECT_EQ(file_bytes(compiled).value_or("").substr(0, 13), "File_Rev 3 0\n");
  EXPECT_EQ(file_bytes(l.cache / "tarn_rdr.txt"),
            "\n  Compiling IBIS model for component part from file " +
                (l.src / "part.ibs").string() + "\n  IBIS Compilation Completed successfully\n");

  EXPECT_EQ(l.ask("PART", &result), info) << "names compared as the store compares them";
  EXPECT_EQ(l.ask("part", &result), info);
  EXPECT_EQ(result, eRdIbisNone);
  EXPECT_EQ(l.lib.compiles.size(), 1u) << "PART finds part's compiled file in the store";
  EXPECT_EQ(l.lib.questions, 0);
}

TEST(Library, NewerSourceAsksAndTheAnswerDecides) {
  Library l;
  eRdIbisResult result = eRdIbisNone;
  CIbisCompInfo* info = l.ask("Part", &result);
  l.touch("part.ibs");
  l.ask("Part", &result);
  EXPECT_EQ(l.lib.questions, 1);
  EXPECT_EQ(result, eRdIbisSuccess) << "compiled again";
  EXPECT_EQ(info->GetStatus(), eIbisCurrent);
  EXPECT_EQ(l.lib.compiles.size(), 2u);

  l.touch("part.ibs");
  l.lib.answer = 0;
  l.ask("Part", &result);
  EXPECT_EQ(result, eRdIbisNone);
  EXPECT_EQ(info->GetStatus(), eIbisOutOfDateKept);
  EXPECT_TRUE(info->IsStatusOk());
  EXPECT_EQ(info->GetPinCount(), 2) << "the older compiled information stays";
  l.ask("Part", &result);
  EXPECT_EQ(l.lib.questions, 3) << "asked again while the status is 6";

  l.lib.ClearCompileOodFlags();
  EXPECT_EQ(info->GetStatus(), eIbisCurrent);
  l.ask("Part", &result);
  EXPECT_EQ(l.lib.questions, 3) << "not asked again until the source changes once more";
  EXPECT_EQ(l.lib.compiles.size(), 2u);
}

TEST(Library, ARefusedReadingShowsItsErrorCount) {
  Library l;
  l.write("later.ibs", "[IBIS Ver] 4.0\n[File Name] later.ibs\n[Component] Later\n[End]\n");
  const std::string index = (l.src / "later.ibx").string();
  std::ofstream(index) << kStoreHead << "0\n"
                          "Later\nlater.ibs\n\n0\n";
  l.lib.AddSrcIndex(index.c_str(), "later");
  l.lib.SetSearchPaths(1);
  eRdIbisResult result = eRdIbisNone;
  EXPECT_EQ(l.ask("Later", &result)->GetStatus(), eIbisSourceErrors);
  EXPECT_EQ(result, eRdIbisFailed);
  EXPECT_EQ(file_bytes(l.cache / "tarn_rdr.txt"),
            "\n  Compiling IBIS model for component Later from file " +
                (l.src / "later.ibs").string() +
                "\n    ERROR  - Unrecognized IBIS Version\n"
                "  IBIS Compilation Failed due to  1 Errors\n");
}

// File systems stamp times in ticks, some in whole seconds: an edit that keeps the second of the
// compile, or the very time of the compiled file, still makes the source newer.
TEST(Library, ASourceEditedInTheSecondOfItsCompileIsOutOfDate) {
  Library l;
  eRdIbisResult result = eRdIbisNone;
  CIbisCompInfo* info = l.ask("part", &result);
  const fs::path source = l.src / "part.ibs";
  fs::last_write_time(source, fs::last_write_time(source) + std::chrono::nanoseconds(1));
  l.ask("part", &result);
  EXPECT_EQ(result, eRdIbisSuccess) << "compiled again in the same session";
  EXPECT_EQ(info->GetStatus(), eIbisCurrent);

  const auto second = std::chrono::floor<std::chrono::seconds>(fs::file_time_type::clock::now() -
                                                               std::chrono::minutes(2));
  fs::last_write_time(l.cache / "ib000000.cbs", second + std::chrono::milliseconds(100));
  fs::last_write_time(source, second + std::chrono::milliseconds(600));
  l.lib.Fini(1);
  const auto next = l.session();
  quietly([&] { return next->GetIbisCompInfo("part", &result, 0); });
  EXPECT_EQ(result, eRdIbisSuccess) << "compiled again in the next session";
}

TEST(Library, AComponentWithoutIbisStandsInWithTheCallersPins) {
  Library l;
  eRdIbisResult result = eRdIbisNone;
  CIbisCompInfo* known =
      quietly([&] { return l.lib.GetIbisCompInfoAsKdf("Part", &result, MT_OUTPUT, 9); });
  CIbisCompInfo* unknown = l.lib.GetIbisCompInfoAsKdf("Resistor", &result, MT_TERMINATOR, 2);
  EXPECT_EQ(known->GetStatus(), eIbisCurrent);
  EXPECT_EQ(known->GetPinCount(), 2) << "a usable component as it is";
  EXPECT_EQ(unknown->GetStatus(), eIbisNotFound);
  ASSERT_EQ(unknown->GetPinCount(), 2);
  EXPECT_EQ(unknown->FindIndex4Pin("2", eIbisPinName), 1);
  int type = 0;
  ASSERT_TRUE(unknown->GetModelParam(eIbisModelType, &type, 1));
  EXPECT_EQ(type, MT_TERMINATOR);
  EXPECT_EQ(unknown, l.ask("resistor", nullptr));
}

// Sixty pins: a compiled file of several kilobytes, beside a log of a few hundred bytes.
std::string wide_source() {
  std::string text =
      "[IBIS Ver] 3.2\n[File Name] wide.ibs\n[Component] Wide\n[Manufacturer] Acme\n[Package]\n"
      "R_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n[Pin] signal_name model_name\n";
  for (int pin = 1; pin <= 60; ++pin)
    text += std::to_string(pin) + " DQ" + std::to_string(pin) + " buf\n";
  return text +
         "[Model] buf\nModel_type Input\nVinl = 0.8\nVinh = 2.0\nC_comp 1p NA NA\n"
         "[Voltage Range] 3.3 3.0 3.6\n[End]\n";
}

// A disk that fills while the compiled file is written (a file size limit, with its signal
// ignored, makes each write past it fail as a full disk does).
TEST(Faults, AFullDiskFailsTheCompileAndKeepsAnOlderFile) {
  Library l;
  l.write("wide.ibs", wide_source());
  l.reindex();
  const auto full_disk_session = [&l](int fd) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{2048, 2048};
    setrlimit(RLIMIT_FSIZE, &limit);
    const auto lib = l.session(fd);
    eRdIbisResult result = eRdIbisNone;
    const CIbisCompInfo* info = lib->GetIbisCompInfo("Wide", &result, 0);
    lib->Fini(1);
    return result * 10 + info->GetStatus();
  };
  const ChildRun first = in_child(full_disk_session);
  EXPECT_EQ(first.code, eRdIbisFailed * 10 + eIbisSourceErrors);
  EXPECT_EQ(file_bytes(l.cache / "tarn_rdr.txt"),
            "\n  Compiling IBIS model for component Wide from file " +
                (l.src / "wide.ibs").string() +
                "\n    ERROR  - Unable to close output file.\n"
                "    ERROR  - Unable to write file \"" +
                (l.cache / "ib000000.cbs").string() +
                "\": File too large\n"
                "  IBIS Compilation Failed due to  2 Errors\n");
  EXPECT_FALSE(fs::exists(l.cache / "ib000000.cbs"));
  const std::unique_ptr<ListDb> store =
      ListDb::Load((l.cache / "compibis.ibx").string(), "ib%06d.cbs", false);
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(store->Find("Wide"), nullptr) << "not recorded";

  // With an older compiled file, that one stays in use and whole.
  l.lib.Init(l.cache.string().c_str());
  EXPECT_EQ(l.ask("Wide", nullptr)->GetStatus(), eIbisCurrent);
  l.lib.Fini(1);
  const std::string older = file_bytes(l.cache / "ib000001.cbs").value_or("");
  l.touch("wide.ibs");
  const ChildRun again = in_child(full_disk_session);
  EXPECT_EQ(again.code, eRdIbisFailed * 10 + eIbisOutOfDateKept);
  EXPECT_EQ(file_bytes(l.cache / "ib000001.cbs"), older);
}

// A cache folder the user may read but not write, with an out-of-date component.
TEST(Faults, AReadOnlyCacheKeepsTheOlderFileInUseAndSaysWhy) {
  Library l;
  l.ask("part", nullptr);
  l.lib.Fini(1);
  l.lib.ReleaseLogFD();
  l.touch("part.ibs");
  fs::permissions(l.cache / "tarn_rdr.txt",
                  fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
  fs::permissions(l.cache,
                  fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                  fs::perm_options::remove);
  const ChildRun run = in_child([&l](int fd) {
    become_unprivileged();
    const auto lib = l.session(fd);
    eRdIbisResult result = eRdIbisNone;
    const CIbisCompInfo* info = lib->GetIbisCompInfo("part", &result, 0);
    return result * 10 + info->GetStatus() + (info->GetPinCount() == 2 ? 0 : 50);
  });
  fs::permissions(l.cache, fs::perms::owner_all, fs::perm_options::add);
  EXPECT_EQ(run.code, eRdIbisFailed * 10 + eIbisOutOfDateKept);
  EXPECT_EQ(run.said, "Cannot Open IBIS Reader Log File\n" + (l.cache / "tarn_rdr.txt").string() +
                          "\nEnsure Directory and File are Writable");
}

std::string set_aside(const std::string& store, const char* aside) {
  return "The compiled model index \"" + store + "\" could not be read; it was kept as \"" +
         store + aside + "\" and a new index started";
}

// A store that does not load still says which compiled file is whose: it is set aside (never
// over an earlier one) and no compiled file it knew is overwritten.
TEST(Faults, ADamagedStoreIsSetAsideAndItsFilesKept) {
  // Which contents the store refuses is the list database's; here one refused store is enough.
  const std::string garbage = "\x7f" "ELF\x02\x01\x01\n\x01\x02\x03";
  {
    Library l;
    const std::string store = (l.cache / "compibis.ibx").string();
    std::ofstream(l.cache / "ib000000.cbs") << "another component's file\n";
    for (const char* aside : {".bad", ".bad1"}) {
      std::ofstream(store, std::ios::binary) << garbage;
      const auto lib = l.session();
      EXPECT_EQ(lib->messages, std::vector<std::string>{set_aside(store, aside)});
      EXPECT_EQ(file_bytes(store + aside), garbage);
      EXPECT_EQ(quietly([&] { return lib->GetIbisCompInfo("part", nullptr, 0); })->GetStatus(),
                eIbisCurrent);
      lib->Fini(1);
    }
    EXPECT_EQ(file_bytes(l.cache / "ib000000.cbs"), "another component's file\n");
    EXPECT_EQ(file_bytes(store + ".bad"), garbage);
  }

  // One the process may not read.
  Library l;
  const std::string store = (l.cache / "compibis.ibx").string();
  std::ofstream(store) << kStoreHead << "1\nOther\nib000000.cbs\n\n0\n";
  fs::permissions(store, fs::perms::none);
  fs::permissions(l.cache, fs::perms::all);
  const ChildRun run = in_child([&l](int fd) {
    become_unprivileged();
    TestLibrary lib;
    lib.message_fd = fd;
    lib.Init(l.cache.string().c_str());
    return 0;
  });
  EXPECT_EQ(run.said, set_aside(store, ".bad"));
  EXPECT_TRUE(fs::exists(store + ".bad"));
}

TEST(Faults, StoreEntriesNameOnlyFilesOfTheCacheFolder) {
  for (const char* name : {"../victim.txt", "/tmp/victim.txt", "sub\\victim.cbs", "..", ""}) {
    Library l;
    std::ofstream(l.dir.path() / "victim.txt") << "victim\n";
    const std::string store = (l.cache / "compibis.ibx").string();
    std::ofstream(store) << kStoreHead << "5\npart\n" << name << "\n\n0\n";
    const auto lib = l.session();
    const CIbisCompInfo* info = quietly([&] { return lib->GetIbisCompInfo("Part", nullptr, 0); });
    EXPECT_EQ(lib->messages, std::vector<std::string>{"The compiled model index \"" + store +
                                                     "\" names \"" + name +
                                                     "\" for component \"Part\", which is not a "
                                                     "file of its folder; it is not used"});
    EXPECT_EQ(info->GetStatus(), eIbisCurrent) << name;
    EXPECT_TRUE(fs::exists(l.cache / "ib000005.cbs")) << name;
    EXPECT_EQ(file_bytes(l.dir.path() / "victim.txt"), "victim\n") << name;
  }
}

TEST(Library, InitFiniAndTheCompiledStore) {
  TestLibrary bare;
  EXPECT_EQ(bare.Init(nullptr), 0);
  EXPECT_STREQ(bare.GetCompileLogPath(), "");

  {
    Library l;
    l.ask("part", nullptr);
    l.lib.Fini(0);
    EXPECT_FALSE(fs::exists(l.cache / "compibis.ibx")) << "Fini(0) writes nothing";
  }
  Library l;
  l.ask("part", nullptr);
  l.lib.Fini(1);
  const std::unique_ptr<ListDb> store =
      ListDb::Load((l.cache / "compibis.ibx").string(), "ib%06d.cbs", false);
  ASSERT_NE(store, nullptr);
  ASSERT_NE(store->Find("PART"), nullptr);
  EXPECT_EQ(store->Find("PART")->disk, "ib000000.cbs");
  EXPECT_EQ(store->next_index(), 1);

  // A new session finds the compiled file through the saved store and does not compile.
  const auto next = l.session();
  eRdIbisResult result = eRdIbisFailed;
  EXPECT_EQ(next->GetIbisCompInfo("part", &result, 0)->GetStatus(), eIbisCurrent);
  EXPECT_EQ(result, eRdIbisNone);
  EXPECT_TRUE(next->compiles.empty());
}

TEST(Library, ReaderLogAndItsBackup) {
  Library l;
  l.ask("part", nullptr);
  const std::string first = file_bytes(l.cache / "tarn_rdr.txt").value_or("");
  l.lib.ClearIBISLog();
  EXPECT_EQ(file_bytes(l.cache / "tarn_rdr.bak"), first);
  EXPECT_EQ(file_bytes(l.cache / "tarn_rdr.txt"), "\t\tIBIS COMPILER REPORT\n\n");
  std::ofstream(l.cache / "tarn_rdr.txt", std::ios::app) << "between\n";
  l.lib.ClearIBISLog();
  EXPECT_EQ(file_bytes(l.cache / "tarn_rdr.bak"), "\t\tIBIS COMPILER REPORT\n\nbetween\n")
      << "one backup: the log between the two clears";

  TestLibrary unwritable;
  unwritable.Init((l.src / "part.ibs").string().c_str());  // a file, not a folder
  EXPECT_EQ(unwritable.GetLogFD(), nullptr);
  ASSERT_EQ(unwritable.messages.size(), 1u);
  EXPECT_EQ(unwritable.messages[0], "Cannot Open IBIS Reader Log File\n" +
                                        (l.src / "part.ibs" / "tarn_rdr.txt").string() +
                                        "\nEnsure Directory and File are Writable");
}

TEST(Library, SourceIndexesLookupsAndWalk) {
  Library l;
  TestLibrary lib;
  const std::string missing = (l.dir.path() / "missing.ibx").string();
  const std::string garbage = l.dir.write("garbage.ibx", "\x01\x02\n\x7f\n");
  lib.AddSrcIndex(missing.c_str(), "gone");
  lib.AddSrcIndex(garbage.c_str(), "garbage");
  lib.AddSrcIndex(l.index.c_str(), "src");
  lib.Init(l.cache.string().c_str());
  EXPECT_EQ(lib.messages, (std::vector<std::string>{
                              "Warning: IBIS index file \"" + missing + "\" could not be opened.",
                              "Warning: IBIS index file \"" + garbage +
                                  "\" is unreadable: it is not an index file."}));

  const char* dir = nullptr;
  const char* file = nullptr;
  const char* label = nullptr;
  ASSERT_TRUE(lib.FindSrcForIbisModel("PART", &dir, &file, &label, nullptr));
  EXPECT_EQ(std::string(dir), l.src.string());
  EXPECT_STREQ(file, "part.ibs");
  EXPECT_STREQ(label, "src");
  EXPECT_FALSE(lib.FindSrcForIbisModel("Nowhere", &dir, &file, &label, nullptr));

  std::vector<std::string> walked;
  const char* name = nullptr;
  for (int more = lib.GetFirstIBISComp(&name, &file, nullptr, nullptr, nullptr); more;
       more = lib.GetNextIBISComp(&name, &file, nullptr, nullptr, nullptr))
    walked.push_back(std::string(name) + "=" + file);
  std::sort(walked.begin(), walked.end());
  EXPECT_EQ(walked, (std::vector<std::string>{"Broken=broken.ibs", "Part=part.ibs"}));

  // By preference: name2, else name1, else the tech component; only known sources count.
  EXPECT_STREQ(lib.GetIbisCompInfo("Part", "", "", 0)->Name(), "Part");
  EXPECT_EQ(lib.GetIbisCompInfo("Part", "Nowhere", "", 0), nullptr);
  EXPECT_STREQ(lib.GetIbisCompInfo("Nowhere", nullptr, "x", 0) ? "found" : "none", "none");
  EXPECT_EQ(lib.GetIbisCompInfo("Part", "", "", 0)->GetStatus(), eIbisNew) << "not populated";
}

TEST(Library, IndexingAFolderReportsWhatItCannotRead) {
  TempDir dir;
  dir.write("a.ibs", kPart);
  dir.write("b.ibs", "[IBIS Ver] 4.0\n[File Name] b.ibs\n[Component] Later\n[End]\n");
  dir.write("notes.txt", "not a source");
  const SourceIndexResult r = quietly([&] { return LIB_IndexFolder(dir.path().string()); });
  EXPECT_TRUE(r.written);
  EXPECT_EQ(r.components, 1);
  EXPECT_EQ(r.unread, (std::vector<std::string>{"b.ibs"}));
  EXPECT_EQ(file_bytes(dir.path() / "ibisindex.ibx"),
            std::string(kStoreHead) + "0\n"
            "Part\na.ibs\n\n0\n");
}

TEST(Library, StaticTexts) {
  struct Tech {
    const char* name;
    bool tech;
  };
  for (const Tech t : {Tech{"TECH_fast", true}, Tech{"tech_", true}, Tech{"Default", true},
                       Tech{"tech", false}, Tech{"defaults", false}, Tech{"part", false}}) {
    EXPECT_EQ(CIbisCompMdls::IsTechComp(t.name), t.tech) << t.name;
  }
  EXPECT_FALSE(CIbisCompMdls::IsTechComp(nullptr));
  const char* name = nullptr;
  ASSERT_TRUE(CIbisCompMdls::FindTypeName(5, &name));
  EXPECT_STREQ(name, "tristate");
  EXPECT_FALSE(CIbisCompMdls::FindTypeName(16, &name));
  EXPECT_EQ(CIbisCompMdls::FindTypeFromName("I/O"), 4);
  EXPECT_EQ(CIbisCompMdls::FindTypeFromName("Series"), 0);
  EXPECT_STREQ(CIbisCompInfo::GetModelTypeText(1), "no type (pwr, gnd or NC)");
  EXPECT_STREQ(CIbisCompInfo::GetModelTypeText(15), "terminator");
  EXPECT_STREQ(CIbisCompInfo::GetModelTypeText(0), "");
  EXPECT_STREQ(CIbisCompInfo::GetModelTypeText(16), "");
  EXPECT_STREQ(CIbisCompInfo::GetIbisStatusText(eIbisSourceErrors),
               "IBIS source has syntax errors");
  EXPECT_STREQ(CIbisCompInfo::GetIbisStatusText(eIbisOutOfDate), "IBIS source not found");
  EXPECT_STREQ(CIbisCompInfo::GetIbisStatusText(eIbisSourceOnly),
               "Using out of date Version of IBIS model");
  EXPECT_STREQ(CIbisCompInfo::GetIbisStatusText(eIbisCurrent), "");
}

// A compiled file put in the cache by hand, with no source: read back as it stands.
struct CompiledOnly {
  TempDir dir;
  TestLibrary lib;
  CIbisCompInfo* info = nullptr;

  explicit CompiledOnly(const std::string& compiled) {
    std::ofstream(dir.path() / "ib000007.cbs") << compiled;
    std::ofstream(dir.path() / "compibis.ibx")
        << kStoreHead << "8\n"
           "X\nib000007.cbs\n\n0\n";
    lib.Init(dir.path().string().c_str());
    info = lib.GetIbisCompInfo("X", nullptr, 0);
  }
};

TEST(CompiledReadBack, PinsAndParametersAsTheFileGivesThem) {
  CompiledOnly c(R"(File_Rev 3 0
Copyright "(c) ""Acme"""
Src_Name "x.ibs"
Component "X"
R_Pkg 0.2 0.1 0.3
Num_Pins 3
Pin "A1" "DQ" "io" 1 4
R_Pin 0.5
series_2nd_pin "B1" "ser1"
series_r 10 9 11
series_2nd_pin "C1" "ser2"
series_r 20 19 21
diff_2nd_pin "A2"
diff_polarity 5
vdiff 0.150000
tdelay 0.000001 0.000001 0.000003
ERate 1e+09 8e+08 1.2e+09
over_high_s 3.600000 3.600000 3.600000
vinh_plus 2.000000 1.900000 2.100000
PU_Pin "V1" "V7"
Pin "A2" "DQ#" "io" 1 4
Pin "V1" "VCC" "POWER" 0 1

Model "io"
Type "I/O"

Typ_Model
c_comp 1e-12
)");
  CIbisCompInfo* info = c.info;
  ASSERT_EQ(info->GetStatus(), eIbisCurrent);
  ASSERT_EQ(info->GetPinCount(), 3);
  double value = 0.0;
  EXPECT_TRUE(info->GetModelParam(eIbisRPkg, &value, 0, eMax));
  EXPECT_EQ(value, 0.3);
  const char* text = nullptr;
  ASSERT_TRUE(info->GetModelParam(eIbisSeriesPartners, &text, 0));
  EXPECT_STREQ(text, "B1 C1") << "both partners";
  ASSERT_TRUE(info->GetModelParam(eIbisSeriesModel, &text, 0));
  EXPECT_STREQ(text, "ser1") << "the first partner's model";
  ASSERT_TRUE(info->GetModelParam(eIbisSeriesR, &value, 0, eMin));
  EXPECT_EQ(value, 9) << "the first partner's values";
  EXPECT_EQ(info->GetModelParamCount(eIbisPullUpPins, 0), 2);
  ASSERT_TRUE(info->GetModelParamItem(eIbisPullUpPins, 0, 1, &text));
  EXPECT_STREQ(text, "V7");
  int flag = 0;
  ASSERT_TRUE(info->GetModelParam(eIbisDiffPolarity, &flag, 0));
  EXPECT_EQ(flag, 1) << "kept as 0/1";
  ASSERT_TRUE(info->GetModelParam(eIbisTdelay, &value, 0, eMax));
  EXPECT_EQ(value, 0.000003);
  ASSERT_TRUE(info->GetModelParam(eIbisVinhPlus, &value, 0, eMin));
  EXPECT_EQ(value, 1.9);
  EXPECT_FALSE(info->GetModelParam(eIbisOverHighS, &value, 0, eTyp)) << "checked, never stored";
  EXPECT_EQ(info->FindIndex4Pin("DQ#", eIbisSignalName), 1);
  EXPECT_EQ(info->FindIndex4Pin("V7", eIbisPullUpPins), 0);
  EXPECT_EQ(info->FindIndex4Pin(1, eIbisModelType), 2);
  EXPECT_EQ(info->FindIndex4Pin("none", eIbisPinName), -1);

  std::ostringstream listing;
  EXPECT_EQ(info->ListSimModel(listing, "io", eMin), 1) << "no min copy: the typ one";
  EXPECT_EQ(listing.str(), "\nc_comp 1e-12 \n");
  EXPECT_EQ(info->ListSimModel(listing, "other", eTyp), 0);
}

TEST(CompiledReadBack, RefusedFiles) {
  const CompiledOnly old("File_Rev 2 9\nComponent \"X\"\nNum_Pins 0\n");
  EXPECT_EQ(old.info->GetStatus(), eIbisUnreadable);
  const CompiledOnly unknown("File_Rev 3 0\nComponent \"X\"\nSurprise 1\n");
  EXPECT_EQ(unknown.info->GetStatus(), eIbisUnreadable);
  const CompiledOnly huge(
      "File_Rev 3 0\nComponent \"X\"\nNum_Pins 100000\nPin \"1\" \"\" \"\" 0 1\n");
  EXPECT_EQ(huge.info->GetStatus(), eIbisUnreadable) << "more pins than the file can hold";
  EXPECT_EQ(huge.info->GetPinCount(), 0);
  const CompiledOnly fine("File_Rev 3 1\nComponent \"X\"\nNum_Pins 0\n");
  EXPECT_EQ(fine.info->GetStatus(), eIbisCurrent);
  // A pin of a model type names one of the file's models, wherever it stands among them.
  const auto typed = [](const char* model) {
    return std::string("File_Rev 3 0\nComponent \"X\"\nNum_Pins 2\nPin \"1\" \"\" \"b\" 0 2\n") +
           "Pin \"2\" \"\" \"" + model + "\" 0 2\n\nModel \"a\"\nType \"Input\"\n\nTyp_Model\n" +
           "c_comp 1e-12\n\nModel \"b\"\nType \"Input\"\n\nTyp_Model\nc_comp 2e-12\n";
  };
  EXPECT_EQ(CompiledOnly(typed("a")).info->GetStatus(), eIbisCurrent);
  EXPECT_EQ(CompiledOnly(typed("c")).info->GetStatus(), eIbisUnreadable) << "no model c";
}

TEST(CompInfo, PinsStraightFromTheSource) {
  TempDir dir;
  const std::string part = dir.write("part.ibs", kPart);
  CIbisCompInfo info(nullptr);
  info.SetModelParam(eIbisCompName, "PART", 0);
  EXPECT_EQ(quietly([&] { return CIbisCompInfoTest::PopulateFromSource(&info, part); }),
            eRdIbisSuccess);
  EXPECT_EQ(info.GetStatus(), eIbisSourceOnly);
  ASSERT_EQ(info.GetPinCount(), 2);
  const char* text = nullptr;
  ASSERT_TRUE(info.GetModelParam(eIbisSignalName, &text, 1));
  EXPECT_STREQ(text, "VCC");
  int type = 0;
  ASSERT_TRUE(info.GetModelParam(eIbisModelType, &type, 0));
  EXPECT_EQ(type, MT_INPUT);
  ASSERT_TRUE(info.GetModelParam(eIbisModelType, &type, 1));
  EXPECT_EQ(type, MT_NO_TYPE);

  // A model defined twice gives its pins the type of the one defined last, as a check reads it.
  std::string twice = kPart;
  twice.replace(twice.find("[End]"), 5,
                "[Model] buf\nModel_type Terminator\n[Model] other\nModel_type Output\n[End]");
  CIbisCompInfo last(nullptr);
  last.SetModelParam(eIbisCompName, "Part", 0);
  EXPECT_EQ(quietly([&] {
              return CIbisCompInfoTest::PopulateFromSource(&last, dir.write("twice.ibs", twice));
            }),
            eRdIbisSuccess);
  ASSERT_TRUE(last.GetModelParam(eIbisModelType, &type, 0));
  EXPECT_EQ(type, MT_TERMINATOR);

  CIbisCompInfo other(nullptr);
  other.SetModelParam(eIbisCompName, "Other", 0);
  EXPECT_EQ(quietly([&] { return CIbisCompInfoTest::PopulateFromSource(&other, part); }),
            eRdIbisFailed);
  EXPECT_EQ(other.GetStatus(), eIbisSourceErrors);
}

// A search answers for the pins as they are now: each change comes after a search of the same
// kind, which the change must not leave stale. A value two pins hold finds the first of them.
TEST(CompInfo, PinSearchesFollowEveryChange) {
  CIbisCompInfo info(nullptr);
  info.AddPinDesc(3);
  const char* const names[] = {"A1", "B1", "A1"};
  for (int pin = 0; pin < 3; ++pin) info.SetModelParam(eIbisPinName, names[pin], pin);
  const struct {
    const char* what;
    eIbisParam id;
    const char* text;  // none: `number`
    int number;
    int before;
    std::function<void()> change;
    int after;
  } steps[] = {
      {"a pin renamed", eIbisPinName, "A1", 0, 0,
       [&] { info.SetModelParam(eIbisPinName, "C1", 0); }, 2},
      {"an item added to a later pin", eIbisPullUpPins, "V7", 0, -1,
       [&] { info.SetModelParam(eIbisPullUpPins, "V7", 2); }, 2},
      {"an item added to an earlier pin", eIbisPullUpPins, "V7", 0, 2,
       [&] { info.SetModelParam(eIbisPullUpPins, "V7", 0); }, 0},
      {"a number set", eIbisModelType, nullptr, 5, -1,
       [&] { info.SetModelParam(eIbisModelType, 5, 1); }, 1},
      {"a number changed", eIbisModelType, nullptr, 5, 1,
       [&] { info.SetModelParam(eIbisModelType, 6, 1); }, -1},
      {"a text of the component changed", eIbisPinName, "C1", 0, 0,
       [&] { info.SetModelParam(eIbisCompText, "new", 0); }, 0},
      {"the pins replaced", eIbisModelType, nullptr, 6, 1, [&] { info.AddPinDesc(2); }, -1},
  };
  const auto search = [&](const auto& step) {
    return step.text ? info.FindIndex4Pin(step.text, step.id) : info.FindIndex4Pin(step.number, step.id);
  };
  for (const auto& step : steps) {
    EXPECT_EQ(search(step), step.before) << step.what;
    step.change();
    EXPECT_EQ(search(step), step.after) << step.what;
  }

  info.SetModelParam(eIbisPinName, "D1", 1);
  EXPECT_EQ(info.FindIndex4Pin("D1", eIbisPinName), 1);
  CIbisCompInfo copy(info);
  info.SetModelParam(eIbisPinName, "E1", 1);
  EXPECT_EQ(copy.FindIndex4Pin("D1", eIbisPinName), 1) << "a copy searches pins of its own";
  EXPECT_EQ(info.FindIndex4Pin("D1", eIbisPinName), -1);
}

TEST(CompInfo, ParameterIdsKindsAndPinRules) {
  CIbisCompInfo info(nullptr);
  info.AddPinDesc(2);
  struct Text {
    eIbisParam id;
    int pin;
    int stored;
  };
  for (const Text t :
       {Text{eIbisCompName, 99, 1}, Text{eIbisCompText, 0, 1}, Text{eIbisCompInteger, 0, 0},
        Text{eIbisPinName, 1, 1}, Text{eIbisPinName, 2, 0}, Text{eIbisPinName, -1, 0},
        Text{eIbisDiffPartner, 0, 1}, Text{eIbisSeriesModel, 0, 1}, Text{eIbisDiffFlag, 0, 0},
        Text{eIbisRPin, 0, 0}, Text{static_cast<eIbisParam>(35), 0, 0}}) {
    EXPECT_EQ(info.SetModelParam(t.id, "A1", t.pin), t.stored) << t.id << " pin " << t.pin;
    const char* back = nullptr;
    EXPECT_EQ(info.GetModelParam(t.id, &back, t.pin), t.stored) << t.id;
  }
  struct Number {
    eIbisParam id;
    int pin;
    int as_int;
    int as_double;
  };
  for (const Number n : {Number{eIbisCompInteger, 0, 1, 0}, Number{eIbisRPkg, 99, 0, 1},
                         Number{eIbisDiffFlag, 1, 1, 0}, Number{eIbisModelType, 2, 0, 0},
                         Number{eIbisDiffPolarity, 0, 1, 0}, Number{eIbisRPin, 0, 0, 1},
                         Number{eIbisVinhMinus, 1, 0, 1}, Number{eIbisOverHighS, 0, 0, 0},
                         Number{static_cast<eIbisParam>(26), 0, 0, 0}}) {
    EXPECT_EQ(info.SetModelParam(n.id, 7, n.pin), n.as_int) << n.id;
    EXPECT_EQ(info.SetModelParam(n.id, 7.5, n.pin, eMax), n.as_double) << n.id;
    double value = 0.0;
    EXPECT_EQ(info.GetModelParam(n.id, &value, n.pin, eMax), n.as_double) << n.id;
    EXPECT_EQ(info.GetModelParam(n.id, &value, n.pin, eTyp), 0) << "only the max slot was set";
  }
  int flag = 0;
  ASSERT_TRUE(info.GetModelParam(eIbisDiffFlag, &flag, 1));
  EXPECT_EQ(flag, 1);

  CIbisCompInfo copy(info);
  info.AddPinDesc(0);
  EXPECT_EQ(copy.GetPinCount(), 2) << "a copy keeps its own pins";
  EXPECT_EQ(info.SetModelParam(eIbisPinName, "A1", 0), 0);
}

}  // namespace
}  // namespace tarn::test
