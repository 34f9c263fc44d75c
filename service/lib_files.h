// File names and times as the model library uses them: paths split at '/' and '\\' and joined
// with '/', and modification times at the file system's full resolution.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace tarn {

/// `dir` and `name` joined with one '/' (just `name` when `dir` is empty).
std::string lib_join(std::string_view dir, std::string_view name);
/// The directory part of `path` without its last separator; empty when it has none.
std::string lib_directory(std::string_view path);
/// The modification time in nanoseconds since the epoch, or none when the file cannot be
/// stat'ed. Whole seconds would call a source edited in the second of its compile current.
std::optional<int64_t> lib_mtime(const std::string& path);
/// The whole seconds of such a time.
inline std::time_t lib_seconds(int64_t time) { return static_cast<std::time_t>(time / 1000000000); }
/// True unless `path` surely names nothing (a dangling link or an unreadable folder counts as
/// something).
bool lib_exists(const std::string& path);
/// True for a plain file name: not empty, not "." or "..", no folder separator or drive.
bool lib_is_plain_name(std::string_view name);

}  // namespace tarn
