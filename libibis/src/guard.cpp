#include "libibis/src/guard.h"

namespace tarn {
namespace {

std::recursive_mutex& api_mutex() {
  static std::recursive_mutex mutex;
  return mutex;
}

locale_t c_locale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return locale;
}

}  // namespace

// Recursive, so that a public entry that calls another keeps the same hold.
ApiGuard::ApiGuard() : lock_(api_mutex()), previous_(uselocale(c_locale())) {}

ApiGuard::~ApiGuard() { uselocale(previous_); }

CLocaleScope::CLocaleScope() : previous_(uselocale(c_locale())) {}

CLocaleScope::~CLocaleScope() { uselocale(previous_); }

}  // namespace tarn
