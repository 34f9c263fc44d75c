// What every fuzz target needs: the input as a file of a given kind (the reader and the parsers
// open files by name), and standard output kept quiet (the reader prints its banner there).
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

namespace tarn::fuzz {

/// A folder of this process's own, made once; inputs are written into it.
inline const std::filesystem::path& work_dir() {
  static const std::filesystem::path dir = [] {
    auto path = std::filesystem::temp_directory_path() /
                ("tarn-fuzz-" + std::to_string(static_cast<long>(getpid())));
    std::filesystem::create_directories(path);
    return path;
  }();
  return dir;
}

/// Writes the input to `name` in the work folder and returns the path.
inline std::string input_file(const char* name, const uint8_t* data, size_t size) {
  const std::string path = (work_dir() / name).string();
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file) {
    if (size) std::fwrite(data, 1, size, file);
    std::fclose(file);
  }
  return path;
}

/// Sends standard output to /dev/null for the whole run; libFuzzer reports on standard error.
inline void quiet_stdout() {
  std::fflush(stdout);
  const int null = open("/dev/null", O_WRONLY);
  if (null >= 0) {
    dup2(null, STDOUT_FILENO);
    close(null);
  }
}

}  // namespace tarn::fuzz
