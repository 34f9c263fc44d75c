// The list database's load on arbitrary text; what loads must also save and load back alike.
#include <cstdint>
#include <cstdlib>

#include "fuzz_support.h"
#include "service/listdb.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = tarn::fuzz::input_file("in.ibx", data, size);
  for (const bool case_sensitive : {false, true}) {
    std::unique_ptr<tarn::ListDb> db = tarn::ListDb::Load(path, "ib%06d.cbs", case_sensitive);
    if (!db) continue;
    const size_t entries = db->size();
    (void)db->NextName();
    const std::string copy = (tarn::fuzz::work_dir() / "copy.ibx").string();
    std::unique_ptr<tarn::ListDb> saved = tarn::ListDb::Create(copy, "ib%06d.cbs", case_sensitive);
    for (const tarn::ListDbEntry* entry : db->Entries()) {
      const std::optional<std::string_view> text =
          entry->text ? std::optional<std::string_view>(*entry->text) : std::nullopt;
      (void)saved->Add(entry->user, entry->disk, text, entry->flag);
    }
    if (!saved->Save()) continue;
    const std::unique_ptr<tarn::ListDb> back = tarn::ListDb::Load(copy, "", case_sensitive);
    if (!back || back->size() != saved->size() || saved->size() > entries) std::abort();
  }
  return 0;
}
