// File names and times as the model library uses them: paths split at '/' and '\\' and joined
// with '/', and modification times in whole seconds.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace tarn {

/// `dir` and `name` joined with one '/' (just `name` when `dir` is empty).
std::string lib_join(std::string_view dir, std::string_view name);
/// The directory part of `path` without its last separator; empty when it has none.
std::string lib_directory(std::string_view path);
/// The modification time, or none when the file cannot be stat'ed.
std::optional<std::time_t> lib_mtime(const std::string& path);

}  // namespace tarn
