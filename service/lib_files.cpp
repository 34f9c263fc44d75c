#include "service/lib_files.h"

#include <sys/stat.h>

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
std::optional<std::time_t> lib_mtime(const std::string& path) {
  struct stat info {};
  if (path.empty() || ::stat(path.c_str(), &info) != 0) return std::nullopt;
  return info.st_mtime;
}

}  // namespace tarn
