// Standard output sent to /dev/null for a scope: the reader prints its compatibility banner
// there, which would break up the benchmark table.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace tarn::bench {

class QuietStdout {
 public:
  QuietStdout() : saved_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    close(null);
  }
  ~QuietStdout() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
  QuietStdout(const QuietStdout&) = delete;
  QuietStdout& operator=(const QuietStdout&) = delete;

 private:
  int saved_;
};

}  // namespace tarn::bench
