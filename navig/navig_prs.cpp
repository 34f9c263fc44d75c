// Keyword stream parser: tokenizer, table-driven parse loop and engineering notation.
#include "tarn/navig_prs.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace {

using TokenBuf = std::array<char, CNavigPrs::kMaxToken + 1>;

constexpr bool is_blank(int c) { return c == ' ' || c == '\t' || c == '\r'; }
constexpr bool is_digit(int c) { return c >= '0' && c <= '9'; }
constexpr char ascii_lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// Appends characters to a token buffer, keeping at most kMaxToken of them.
struct TokenWriter {
  char* buf;
  int used = 0;
  bool cut = false;
  void put(int c) {
    if (used < CNavigPrs::kMaxToken) {
      buf[used++] = static_cast<char>(c);
    } else {
      cut = true;
    }
  }
};

// The empty table of the base class: every word is an unknown keyword.
key_lookup g_no_keywords[] = {{nullptr, 0, 0, nullptr, 0}};

// Exponent appended for a scale letter, or null when `c` is none.
const char* scale_exponent(char c) {
  switch (c) {
    case 'F': case 'f': return "e-15";
    case 'P': case 'p': return "e-12";
    case 'N': case 'n': return "e-9";
    case 'U': case 'u': return "e-6";
    case 'm': return "e-3";
    case 'K': case 'k': return "e+3";
    case 'M': return "e+6";
    case 'G': case 'g': return "e+9";
    case 'T': case 't': return "e+12";
    default: return nullptr;
  }
}

// from_chars leaves out-of-range results to the caller; give what the C library's decimal
// conversion gives: +-HUGE_VAL on overflow, +-0 on underflow. `num` is the parsed prefix.
double out_of_range_value(std::string_view num) {
  size_t i = 0;
  const bool neg = !num.empty() && num[0] == '-';
  if (!num.empty() && (num[0] == '-' || num[0] == '+')) ++i;
  // Decimal magnitude: the position of the first significant digit relative to the point.
  long long mag = 0;
  bool significant = false;
  for (; i < num.size() && is_digit(num[i]); ++i) {
    if (num[i] != '0') significant = true;
    if (significant) ++mag;
  }
  if (i < num.size() && num[i] == '.') {
    for (++i; i < num.size() && is_digit(num[i]); ++i) {
      if (significant) continue;
      if (num[i] != '0') significant = true;
      else --mag;
    }
  }
  if (i < num.size() && (num[i] == 'e' || num[i] == 'E')) {
    ++i;
    const bool eneg = i < num.size() && num[i] == '-';
    if (i < num.size() && (num[i] == '-' || num[i] == '+')) ++i;
    long long e = 0;
    for (; i < num.size() && is_digit(num[i]); ++i) {
      e = std::min(e * 10 + (num[i] - '0'), 1'000'000'000LL);
    }
    mag += eneg ? -e : e;
  }
  if (mag > 0) return neg ? -HUGE_VAL : HUGE_VAL;
  return neg ? -0.0 : 0.0;
}

// Decimal conversion of a number text with the C library's rules: leading sign, longest
// valid prefix, 0 when there is none.
double decimal_to_double(std::string_view text) {
  size_t start = 0;
  // from_chars refuses a leading '+', the C conversion accepts one (but not "+-").
  if (!text.empty() && text[0] == '+') {
    if (text.size() > 1 && (text[1] == '+' || text[1] == '-')) return 0.0;
    start = 1;
  }
  double value = 0.0;
  const char* first = text.data() + start;
  const auto [ptr, ec] = std::from_chars(first, text.data() + text.size(), value);
  if (ec == std::errc::result_out_of_range) {
    return out_of_range_value(std::string_view(first, static_cast<size_t>(ptr - first)));
  }
  if (ec != std::errc()) return 0.0;
  return value;
}

// atoi-like: optional sign and the leading digits; saturates instead of overflowing.
int leading_int(const char* text) {
  const char* p = text;
  bool neg = false;
  if (*p == '+' || *p == '-') neg = (*p++ == '-');
  long long v = 0;
  for (; is_digit(*p); ++p) v = std::min(v * 10 + (*p - '0'), static_cast<long long>(INT_MAX) + 1);
  v = neg ? -v : v;
  return static_cast<int>(std::clamp<long long>(v, INT_MIN, INT_MAX));
}

// Fixed notation with `decimals` digits after the point (and a '+' when asked), written at
// `first` and right-aligned in `field` characters; returns the end. `last` bounds the text.
char* put_fixed(char* first, char* last, double v, int decimals, bool force_sign, int field) {
  char* p = first;
  if (force_sign && p < last) *p++ = '+';
  const auto r = std::to_chars(p, last, v, std::chars_format::fixed, decimals);
  if (r.ec != std::errc()) return first;
  const long len = r.ptr - first;
  if (len >= field) return r.ptr;
  const long pad = field - len;
  std::memmove(first + pad, first, static_cast<size_t>(len));
  std::memset(first, ' ', static_cast<size_t>(pad));
  return first + field;
}

}  // namespace

int CNavigPrs::ParseStream(std::ifstream& s) {
  m_stream = &s;
  m_end = 0;
  ut_parse_clear_buffer();
  return ut_parse(g_no_keywords, 0) <= 0 ? 1 : 0;
}

int CNavigPrs::ut_getc() {
  if (m_stream == nullptr) return -1;
  const auto c = m_stream->get();
  return c == std::ifstream::traits_type::eof() ? -1 : static_cast<int>(c);
}

void CNavigPrs::Error(int, int, int, char*, char*) {}

int CNavigPrs::switch_func(int action, arg_val*, int, int, int) { return action == 0 ? 0 : -1; }

void CNavigPrs::Reset() {
  m_comChar = '|';
  m_end = 0;
  ut_parse_clear_buffer();
}

int CNavigPrs::get_token(int* line, char* buf) {
  buf[0] = '\0';
  if (m_end) return kTokEnd;
  const int comment = static_cast<unsigned char>(m_comChar);

  int c;
  for (;;) {
    c = ut_getc();
    if (c < 0) {
      m_end = 1;
      return kTokEnd;
    }
    if (c == '\n') {
      ++*line;
    } else if (c == comment) {
      do {
        c = ut_getc();
      } while (c >= 0 && c != '\n');
      if (c < 0) {
        m_end = 1;
        return kTokEnd;
      }
      ++*line;
    } else if (!is_blank(c)) {
      break;
    }
  }

  TokenWriter w{buf};
  int type;
  if (c == '"') {
    type = kTokText;
    for (;;) {
      c = ut_getc();
      if (c < 0) {
        m_end = 1;
        break;
      }
      if (c == '"') {
        // A doubled quote is one quote; otherwise the character after the closing quote is
        // the token's separator and is dropped.
        c = ut_getc();
        if (c == '"') {
          w.put(c);
          continue;
        }
        if (c == '\n') ++*line;
        if (c < 0) m_end = 1;
        break;
      }
      if (c == '\n') ++*line;
      w.put(c);
    }
  } else {
    type = (is_digit(c) || c == '+' || c == '-' || c == '.') ? kTokNumber : kTokWord;
    w.put(c);
    for (;;) {
      c = ut_getc();
      if (c < 0) {
        m_end = 1;
        break;
      }
      if (c == '\n') {
        ++*line;
        break;
      }
      if (is_blank(c)) break;
      w.put(c);
    }
  }
  // An over-long token is read to its end and cut, so that the next read starts on a real
  // token instead of on the tail of this one.
  buf[w.used] = '\0';
  return w.cut ? kTokTooLong : type;
}

int CNavigPrs::get_buf_token(int* line, char* buf) {
  if (m_pushType == kTokEnd) {
    // Stopped or at the end: stays so until the slot is cleared.
    buf[0] = '\0';
    return kTokEnd;
  }
  if (m_pushType == kTokNone) return get_token(line, buf);
  const int type = m_pushType;
  std::memcpy(buf, m_pushText.data(), std::strlen(m_pushText.data()) + 1);
  *line += m_pushLines;
  ut_parse_clear_buffer();
  return type;
}

int CNavigPrs::get_next_token_type() {
  if (m_pushType == kTokNone) {
    int lines = 0;
    m_pushType = get_token(&lines, m_pushText.data());
    m_pushLines = lines;
  }
  return m_pushType;
}

int CNavigPrs::ut_parse_get_next(char* buf) {
  const int type = get_next_token_type();
  std::memcpy(buf, m_pushText.data(), std::strlen(m_pushText.data()) + 1);
  return type;
}

key_lookup* CNavigPrs::parse_lookup(key_lookup* table, const char* word) {
  if (table == nullptr || word == nullptr) return nullptr;
  const size_t len = std::strlen(word);
  for (key_lookup* row = table; row->length > 0; ++row) {
    if (static_cast<size_t>(row->length) == len && row->keyword != nullptr &&
        ut_stricmp(row->keyword, word) == 0) {
      return row;
    }
  }
  return nullptr;
}

void CNavigPrs::ut_parse_set_comchar(char c) { m_comChar = c; }

void CNavigPrs::ut_parse_clear_buffer() {
  m_pushType = kTokNone;
  m_pushText[0] = '\0';
  m_pushLines = 0;
}

void CNavigPrs::ut_parse_stop() {
  m_pushType = kTokEnd;
  m_pushText[0] = '\0';
  m_pushLines = 0;
}

int CNavigPrs::ut_parse(key_lookup* table, int mode) {
  // Arguments of one keyword. Texts are kept by offset in one buffer and turned into
  // pointers just before the call, so growing the buffer never leaves a pointer dangling.
  std::vector<arg_val> args;
  std::vector<char> texts;
  std::vector<std::pair<size_t, size_t>> text_args;  // (argument index, offset in texts)
  const auto add_text = [&](const char* s) {
    text_args.emplace_back(args.size(), texts.size());
    texts.insert(texts.end(), s, s + std::strlen(s) + 1);
    args.push_back(arg_val{});
  };

  // Any mode but 0 goes on after errors, as 1 does.
  const bool keep_going = mode != 0;
  int good = 1;
  int errors = 0;
  int line = 1;
  TokenBuf word;
  TokenBuf tok;

  try {
    args.reserve(60);
    texts.reserve(8196);
    ut_parse_set_comchar('|');
    ut_parse_clear_buffer();

    for (;;) {
      const int type = get_buf_token(&line, word.data());
      if (type == kTokEnd) break;
      if (type != kTokWord) {
        if (good) {
          Error(line, kTokWord, type, word.data(), word.data());
          ++errors;
          good = 0;
        }
      } else if (key_lookup* row = parse_lookup(table, word.data()); row == nullptr) {
        if (good) {
          Error(line, kTokWord, kErrUnknownKeyword, word.data(), word.data());
          ++errors;
          good = 0;
        }
        if (!keep_going) break;
        continue;
      } else {
        if (keep_going || row == table) good = 1;
        args.clear();
        texts.clear();
        text_args.clear();
        add_text(word.data());

        const char* tmpl = row->tmpl != nullptr ? row->tmpl : "";
        const size_t len = std::strlen(tmpl);
        size_t pos = 0;
        size_t group = len;  // no group
        bool optional = false;
        while (good) {
          if (pos == len) {
            // Repeat the group while the next token fits its first item.
            size_t first = group;
            while (first < len && (tmpl[first] == '?' || tmpl[first] == '*')) ++first;
            if (first == len) break;  // an empty group would repeat for ever
            const int next = get_next_token_type();
            if ((tmpl[first] == 't') ? next != kTokText : next != kTokNumber) break;
            pos = group;
            optional = false;
            continue;
          }
          const char item = tmpl[pos];
          if (item == '*') {
            group = ++pos;
            continue;
          }
          if (item == '?') {
            optional = true;
            ++pos;
            continue;
          }
          const int want = item == 't' ? kTokText : kTokNumber;
          // An optional item may be absent, and repeats while tokens of its type follow.
          if (optional && get_next_token_type() != want) {
            optional = false;
            ++pos;
            continue;
          }
          const int got = get_buf_token(&line, tok.data());
          if (got != want) {
            Error(line, want, got, word.data(), tok.data());
            ++errors;
            good = 0;
            break;
          }
          bool in_range = true;
          arg_val v{};
          switch (item) {
            case 't':
              break;
            case '+':
              v.d = ut_eng2dbl(tok.data());
              in_range = v.d > 0;
              break;
            case '>':
              v.d = ut_eng2dbl(tok.data());
              in_range = v.d >= 0;
              break;
            case 'f':
              v.d = ut_eng2dbl(tok.data());
              break;
            case 'p':
              v.i = leading_int(tok.data());
              in_range = v.i >= 1;
              break;
            case 'n':
              v.i = leading_int(tok.data());
              in_range = v.i >= 0;
              break;
            default:
              v.i = leading_int(tok.data());
              break;
          }
          if (!in_range) {
            Error(line, kTokNumber, kErrOutOfRange, word.data(), tok.data());
            ++errors;
            good = 0;
            break;
          }
          if (item == 't') {
            add_text(tok.data());
          } else {
            args.push_back(v);
          }
          if (!optional) ++pos;
        }

        if (good && row->action != 0) {
          for (const auto& [index, offset] : text_args) args[index].s = texts.data() + offset;
          if (switch_func(row->action, args.data(), row->tag, line, static_cast<int>(args.size())) != 0) {
            Error(line, kTokWord, kErrActionFailed, word.data(), word.data());
            ++errors;
            good = 0;
          }
        }
      }
      if (!keep_going && !good) break;
    }
  } catch (const std::bad_alloc&) {
    return -1;
  }
  return errors;
}

int CNavigPrs::ut_parse_skip2keywds(int n, const char* const* words) {
  for (;;) {
    const int type = get_next_token_type();
    if (type == kTokEnd) return -1;
    if (type == kTokWord) {
      for (int i = 0; i < n; ++i) {
        if (ut_stricmp(words[i], m_pushText.data()) == 0) return i;
      }
    }
    ut_parse_clear_buffer();
  }
}

int CNavigPrs::ut_parse_copy2keywds(std::ostream& out, int n, const char* const* words) {
  for (;;) {
    const int type = get_next_token_type();
    if (type == kTokEnd) return -1;
    if (type == kTokWord) {
      for (int i = 0; i < n; ++i) {
        if (ut_stricmp(words[i], m_pushText.data()) == 0) return 0;
      }
      out << '\n' << m_pushText.data() << ' ';
    } else if (type == kTokText) {
      QuoteText(out, m_pushText.data());
      out << ' ';
    } else {
      out << m_pushText.data() << ' ';
    }
    ut_parse_clear_buffer();
  }
}

int CNavigPrs::ut_stricmp(const char* a, const char* b) {
  if (a == nullptr) a = "";
  if (b == nullptr) b = "";
  for (;; ++a, ++b) {
    if (ascii_lower(*a) != ascii_lower(*b) || *a == '\0' || *b == '\0') {
      return static_cast<unsigned char>(*b) - static_cast<unsigned char>(*a);
    }
  }
}

void CNavigPrs::QuoteText(std::ostream& out, const char* text) {
  out << '"';
  for (const char* p = text != nullptr ? text : ""; *p != '\0'; ++p) {
    if (*p == '"') out << '"';
    out << *p;
  }
  out << '"';
}

double CNavigPrs::ut_eng2dbl(const char* text) {
  if (text == nullptr) return 0.0;
  // Not cut to a fixed width: dropping digits of a long number would change its magnitude.
  std::string num;
  try {
    for (const char* p = text; *p != '\0'; ++p) {
      const char c = *p;
      if (c == ' ' || c == '\t' || c == ',') continue;
      if (is_digit(c) || c == '+' || c == '-' || c == '.' || c == 'E' || c == 'e') {
        num += c;
        continue;
      }
      if (const char* exp = scale_exponent(c)) num += exp;
      break;
    }
  } catch (const std::bad_alloc&) {
    return 0.0;
  }
  return decimal_to_double(num);
}

void CNavigPrs::ut_sci(double value, double* mantissa, int* exponent) {
  int e = 0;
  // Infinity or NaN would never leave the loops; a negative value is split as its magnitude.
  if (value == 0.0 || !std::isfinite(value)) {
    *mantissa = value == 0.0 ? 0.0 : value;  // -0 becomes +0
    *exponent = 0;
    return;
  }
  const bool neg = value < 0;
  double v = neg ? -value : value;
  while (v >= 1) {
    v *= 0.1;
    ++e;
  }
  while (v < 0.1) {
    v *= 10;
    --e;
  }
  // The repeated products can land just under 1 instead of on 0.1 of the next decade.
  if (v > 0.99999 && v < 1) {
    v = 0.1;
    ++e;
  }
  *mantissa = neg ? -v : v;
  *exponent = e;
}

char* CNavigPrs::ut_dbl2eng(double value, int width, char* dst) {
  if (dst == nullptr) return dst;
  if (width < 5) {
    const int n = std::clamp(width, 0, 3);
    std::memcpy(dst, "***", static_cast<size_t>(n));
    dst[n] = '\0';
    return dst;
  }
  if (!std::isfinite(value)) {
    std::memcpy(dst, "NaN ", 5);
    return dst;
  }

  char sign = ' ';
  if (value < 0) {
    sign = '-';
    value = -value;
  }
  double m = 0;
  int e = 0;
  ut_sci(value, &m, &e);
  if (m != 0) {
    m *= 10;
    --e;
  }
  int digits = 1;
  while (e % 3 != 0) {
    --e;
    m *= 10;
    ++digits;
  }

  // The room the caller was asked to give, less the terminating NUL.
  char* const last = dst + std::max(width + 2, 16) - 1;
  static constexpr char kScale[] = "afpnum kMGT";
  const int index = e / 3 + 6;
  char* p;
  if (index >= 0 && index <= 10 && index != 6) {
    dst[0] = sign;
    p = put_fixed(dst + 1, last - 1, m, std::max(width - digits - 3, 0), false, width - 3);
    *p++ = kScale[index];
  } else if (index == 6) {
    p = put_fixed(dst, last, m, std::max(width - digits - 2, 0), true, width - 2);
    dst[0] = sign;
  } else {
    dst[0] = sign;
    p = std::to_chars(dst + 1, last, value, std::chars_format::scientific, 6).ptr;
    while (p - dst < width) *p++ = ' ';
  }
  *p = '\0';
  return dst;
}
