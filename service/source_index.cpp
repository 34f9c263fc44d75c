#include "service/source_index.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include "libibis/src/cmn.h"
#include "libibis/src/guard.h"
#include "service/lib_files.h"
#include "service/listdb.h"
#include "tarn/document.h"

namespace tarn {
namespace {

std::vector<std::filesystem::path> ibs_files(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ec)) {
    const std::string name = entry.path().filename().string();
    if (entry.is_regular_file(ec) && name.size() > 4 &&
        CMN_EqualNoCase(std::string_view(name).substr(name.size() - 4), ".ibs"))
      files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

SourceIndexResult LIB_IndexFolder(const std::string& folder) {
  ApiGuard guard;
  SourceIndexResult result;
  result.index_path = lib_join(folder, kSourceIndexName);
  // Component names are looked up without regard to case, as the compile step finds them.
  std::unique_ptr<ListDb> index = ListDb::Create(result.index_path, "", false);
  ReadOptions options;
  options.banner = true;  // each file read announces itself, as the reader always did here
  for (const std::filesystem::path& file : ibs_files(folder)) {
    const ReadResult read = read_file(file.string(), options);
    const List<ComponentView> components = read.document().components();
    if (!read.read() || components.empty()) {
      result.unread.push_back(file.filename().string());
      continue;
    }
    const std::string name = file.filename().string();
    for (const ComponentView component : components) {
      if (component.name().empty() || index->Find(component.name())) continue;
      if (index->Add(component.name(), name, std::nullopt, 0)) ++result.components;
    }
  }
  result.written = index->Save();
  return result;
}

}  // namespace tarn
