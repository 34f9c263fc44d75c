// The source index of a folder: every component of the folder's IBIS sources mapped to the
// file that defines it, as the model library looks components up.
#pragma once

#include <string>
#include <vector>

namespace tarn {

/// The file name of a folder's source index.
inline constexpr const char* kSourceIndexName = "ibisindex.ibx";

/// What indexing a folder gave.
struct SourceIndexResult {
  bool written = false;             // the index file was saved
  int components = 0;               // entries in it
  std::vector<std::string> unread;  // sources that could not be read (no component found)
  std::string index_path;
};

/// Reads every .ibs file of `folder` (in name order) and saves the index in the folder. A
/// component defined in two files keeps the first file.
SourceIndexResult LIB_IndexFolder(const std::string& folder);

}  // namespace tarn
