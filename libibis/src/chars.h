// Character classes of the reader, one 256-entry table.
#pragma once

#include <array>
#include <cstdint>

namespace tarn {

enum CharClass : uint8_t {
  kCharStored = 1 << 0,  // kept by the line reader as it is: tab and 32..127
  kCharSpace = 1 << 1,   // white space inside a line: blank and tab
  kCharDigit = 1 << 2,   // 0..9
  kCharAlpha = 1 << 3,   // A..Z, a..z
  kCharUpper = 1 << 4,   // A..Z
};

constexpr std::array<uint8_t, 256> make_char_table() {
  std::array<uint8_t, 256> t{};
  t['\t'] = kCharStored | kCharSpace;
  for (int c = 32; c <= 127; ++c) t[c] |= kCharStored;
  t[' '] |= kCharSpace;
  for (int c = '0'; c <= '9'; ++c) t[c] |= kCharDigit;
  for (int c = 'A'; c <= 'Z'; ++c) t[c] |= kCharAlpha | kCharUpper;
  for (int c = 'a'; c <= 'z'; ++c) t[c] |= kCharAlpha;
  return t;
}

inline constexpr std::array<uint8_t, 256> kCharTable = make_char_table();

constexpr bool char_is(char c, uint8_t cls) {
  return (kCharTable[static_cast<unsigned char>(c)] & cls) != 0;
}
constexpr bool is_space(char c) { return char_is(c, kCharSpace); }
constexpr bool is_digit(char c) { return char_is(c, kCharDigit); }
constexpr bool is_alpha(char c) { return char_is(c, kCharAlpha); }
constexpr bool is_upper(char c) { return char_is(c, kCharUpper); }
constexpr char to_upper(char c) { return is_alpha(c) && !is_upper(c) ? char(c - 'a' + 'A') : c; }

}  // namespace tarn
