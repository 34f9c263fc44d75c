// The hold every public entry point takes: one reading at a time in the process, and numbers
// formatted the same whatever locale the host program set.
#pragma once

#include <locale.h>

#include <mutex>

namespace tarn {

/// The "C" locale for the calling thread while in scope: for a thread the library starts itself.
class CLocaleScope {
 public:
  CLocaleScope();
  ~CLocaleScope();
  CLocaleScope(const CLocaleScope&) = delete;
  CLocaleScope& operator=(const CLocaleScope&) = delete;

 private:
  locale_t previous_;
};

class ApiGuard {
 public:
  ApiGuard();
  ~ApiGuard();
  ApiGuard(const ApiGuard&) = delete;
  ApiGuard& operator=(const ApiGuard&) = delete;

 private:
  std::unique_lock<std::recursive_mutex> lock_;
  locale_t previous_;
};

}  // namespace tarn
