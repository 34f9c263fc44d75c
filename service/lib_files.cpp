#include "service/lib_files.h"

#include <sys/stat.h>

#include <cerrno>

namespace tarn {

std::string lib_join(std::string_view dir, std::string_view name) {
  if (dir.empty()) return std::string(name);
  std::string path(dir);
  if (path.back() != '/' && path.back() != '\\') path += '/';
  path += name;
  return path;
}

std::string lib_directory(std::string_view path) {
  const size_t sep = path.find_last_of("/\\");
  return sep == std::string_view::npos ? std::string() : std::string(path.substr(0, sep));
}

// A plain stat: the request for a current component costs this and a lookup.
std::optional<int64_t> lib_mtime(const std::string& path) {
  struct stat info {};
  if (path.empty() || ::stat(path.c_str(), &info) != 0) return std::nullopt;
  return static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
}

bool lib_exists(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

bool lib_is_plain_name(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\\:\0", 4)) == std::string_view::npos;
}

}  // namespace tarn
