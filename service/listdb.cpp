#include "service/listdb.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdio>
#include <utility>

#include "writers/safe_file.h"

namespace tarn {
namespace {

constexpr std::string_view kBanner =
    "***** This is an automatically generated file, do not edit! *****";

// Line limits of a load, without the line feed.
constexpr std::size_t kBannerLimit = 1023;
constexpr std::size_t kNumberLineLimit = 255;

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// ASCII only: keys must hash and compare the same whatever locale the host program set.
constexpr unsigned char lower(unsigned char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
}

bool has_line_break(std::string_view s) { return s.find_first_of("\r\n") != s.npos; }

// Reads one line of at most `limit` characters into `out`; the rest of a longer line is
// skipped so that a damaged line cannot shift the four-line groups. A trailing carriage
// return is dropped so that indexes written on Windows read the same. False at end of file.
bool read_line(std::FILE* in, std::size_t limit, std::string& out) {
  out.clear();
  int c = std::getc(in);
  if (c == EOF) return false;
  for (; c != EOF && c != '\n'; c = std::getc(in)) {
    if (out.size() < limit) out.push_back(static_cast<char>(c));
  }
  if (!out.empty() && out.back() == '\r') out.pop_back();
  return true;
}

bool is_blank(char c) { return c == ' ' || c == '\t'; }

// A leading decimal integer as scanf's "%d" reads it: blanks, an optional sign, digits.
// `rest` receives what follows. None when there are no digits or the value does not fit.
std::optional<int64_t> leading_integer(std::string_view s, std::string_view* rest = nullptr) {
  std::size_t i = 0;
  while (i < s.size() && is_blank(s[i])) ++i;
  bool negative = false;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
  uint64_t magnitude = 0;
  const char* first = s.data() + i;
  const char* last = s.data() + s.size();
  auto [end, ec] = std::from_chars(first, last, magnitude);
  if (ec != std::errc() || magnitude > static_cast<uint64_t>(INT64_MAX)) return std::nullopt;
  if (rest) *rest = std::string_view(end, static_cast<std::size_t>(last - end));
  const auto value = static_cast<int64_t>(magnitude);
  return negative ? -value : value;
}

void append_integer(std::string& out, int64_t value) {
  char buf[24];
  auto [end, ec] = std::to_chars(buf, buf + sizeof buf, value);
  out.append(buf, end);
}

// One parsed "%[flags][width][.precision]conv".
struct Conversion {
  bool left = false, plus = false, space = false, alt = false, zero = false;
  std::size_t width = 0;
  std::optional<std::size_t> precision;
  char conv = 'd';
};

// Digits of width and precision; three are plenty for a file name and keep the output small.
std::optional<std::size_t> read_count(std::string_view f, std::size_t& i) {
  std::size_t n = 0, digits = 0;
  for (; i < f.size() && f[i] >= '0' && f[i] <= '9'; ++i, ++digits) n = n * 10 + (f[i] - '0');
  if (digits > 3) return std::nullopt;
  return n;
}

std::string render(const Conversion& c, uint32_t value) {
  char buf[16];
  const int base = c.conv == 'x' || c.conv == 'X' ? 16 : c.conv == 'o' ? 8 : 10;
  auto [end, ec] = std::to_chars(buf, buf + sizeof buf, value, base);
  std::string digits(buf, end);
  if (c.conv == 'X') std::transform(digits.begin(), digits.end(), digits.begin(), [](char ch) {
      return ch >= 'a' && ch <= 'f' ? static_cast<char>(ch - 'a' + 'A') : ch;
    });
  if (c.precision) {
    if (*c.precision == 0 && value == 0) digits.clear();
    if (digits.size() < *c.precision) digits.insert(0, *c.precision - digits.size(), '0');
  }
  std::string prefix;
  const bool is_signed = c.conv == 'd' || c.conv == 'i';
  if (is_signed && c.plus) prefix = "+";
  else if (is_signed && c.space) prefix = " ";
  if (c.alt && c.conv == 'o' && (digits.empty() || digits[0] != '0')) digits.insert(0, "0");
  if (c.alt && value != 0 && c.conv == 'x') prefix = "0x";
  if (c.alt && value != 0 && c.conv == 'X') prefix = "0X";

  const std::size_t len = prefix.size() + digits.size();
  const std::size_t pad = c.width > len ? c.width - len : 0;
  if (c.left) return prefix + digits + std::string(pad, ' ');
  if (c.zero && !c.precision) return prefix + std::string(pad, '0') + digits;
  return std::string(pad, ' ') + prefix + digits;
}

}  // namespace

std::optional<std::string> FormatListDbName(std::string_view f, int32_t value) {
  if (value < 0) return std::nullopt;
  std::string out;
  bool converted = false;
  for (std::size_t i = 0; i < f.size(); ++i) {
    if (f[i] != '%') {
      out.push_back(f[i]);
      continue;
    }
    if (++i == f.size()) return std::nullopt;
    if (f[i] == '%') {
      out.push_back('%');
      continue;
    }
    if (converted) return std::nullopt;
    Conversion c;
    for (;; ++i) {
      if (i == f.size()) return std::nullopt;
      if (f[i] == '-') c.left = true;
      else if (f[i] == '+') c.plus = true;
      else if (f[i] == ' ') c.space = true;
      else if (f[i] == '#') c.alt = true;
      else if (f[i] == '0') c.zero = true;
      else break;
    }
    auto width = read_count(f, i);
    if (!width) return std::nullopt;
    c.width = *width;
    if (i < f.size() && f[i] == '.') {
      c.precision = read_count(f, ++i);
      if (!c.precision) return std::nullopt;
    }
    if (i == f.size() || std::string_view("diuxXo").find(f[i]) == std::string_view::npos)
      return std::nullopt;
    c.conv = f[i];
    out += render(c, static_cast<uint32_t>(value));
    converted = true;
  }
  if (!converted) return std::nullopt;
  return out;
}

ListDb::ListDb(std::string file, std::string format, bool case_sensitive, ListDbLayout layout)
    : file_(std::move(file)),
      format_(std::move(format)),
      case_sensitive_(case_sensitive),
      layout_(layout) {}

std::unique_ptr<ListDb> ListDb::Create(std::string file, std::string format, bool case_sensitive,
                                       ListDbLayout layout) {
  return std::unique_ptr<ListDb>(
      new ListDb(std::move(file), std::move(format), case_sensitive, layout));
}

std::unique_ptr<ListDb> ListDb::Load(std::string file, std::string format, bool case_sensitive,
                                     ListDbLayout layout) {
  FilePtr in(std::fopen(file.c_str(), "rb"));
  if (!in) return nullptr;
  auto db = Create(std::move(file), std::move(format), case_sensitive, layout);

  std::string line;
  if (read_line(in.get(), kBannerLimit, line)) {
    if (!read_line(in.get(), kNumberLineLimit, line)) return nullptr;
    std::string_view rest;
    const auto index = leading_integer(line, &rest);
    if (!index || *index < 0 || *index > INT32_MAX ||
        !std::all_of(rest.begin(), rest.end(), is_blank))
      return nullptr;
    db->next_index_ = static_cast<int32_t>(*index);

    std::string user, disk, text;
    while (read_line(in.get(), kMaxUser, user) && read_line(in.get(), kMaxDisk, disk) &&
           read_line(in.get(), kMaxText, text) &&
           read_line(in.get(), kNumberLineLimit, line)) {
      // A flag that is not a 16-bit number reads as 0: the name-to-file mapping is what
      // matters, and one bad flag should not cost the entry.
      std::string_view rest_of_flag;
      auto flag = leading_integer(line, &rest_of_flag);
      if (!flag || *flag < INT16_MIN || *flag > INT16_MAX) flag = 0;
      const std::size_t before = db->count_;
      ListDbEntry* entry = db->Add(user, disk, text, static_cast<int16_t>(*flag));
      // A repeated key keeps the first entry, timestamp included.
      if (entry && db->count_ > before && layout == ListDbLayout::kTimestamped)
        entry->timestamp = leading_integer(rest_of_flag).value_or(0);
    }
  }
  // A directory opens on some systems and then fails to read: that is no empty index.
  if (std::ferror(in.get())) return nullptr;
  return db;
}

std::size_t ListDb::BucketOf(std::string_view key) const {
  std::size_t sum = 0;
  for (char ch : key) {
    const auto c = static_cast<unsigned char>(ch);
    sum += (case_sensitive_ ? c : lower(c)) + 1u;
  }
  return sum % kBuckets;
}

int ListDb::Compare(std::string_view a, std::string_view b) const {
  const std::size_t n = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < n; ++i) {
    auto ca = static_cast<unsigned char>(a[i]);
    auto cb = static_cast<unsigned char>(b[i]);
    if (!case_sensitive_) {
      ca = lower(ca);
      cb = lower(cb);
    }
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

ListDbEntry* ListDb::Add(std::string_view key, std::optional<std::string_view> disk,
                         std::optional<std::string_view> text, int16_t flag) {
  Bucket& bucket = buckets_[BucketOf(key)];
  auto pos = bucket.begin();
  while (pos != bucket.end() && Compare((*pos)->user, key) < 0) ++pos;
  // Without case sensitivity, keys equal but for case stay side by side in the order they
  // came, so a save and a load keep them in that order; Find gives the first of them.
  for (; pos != bucket.end() && Compare((*pos)->user, key) == 0; ++pos) {
    if ((*pos)->user == key) return pos->get();
  }

  if (key.size() > kMaxUser || has_line_break(key)) return nullptr;
  if (disk && (disk->size() > kMaxDisk || has_line_break(*disk))) return nullptr;
  if (text && (text->size() > kMaxText || has_line_break(*text))) return nullptr;

  auto entry = std::make_unique<ListDbEntry>();
  if (disk) {
    entry->disk = *disk;
  } else {
    auto name = NextName();
    if (!name) return nullptr;
    entry->disk = std::move(*name);
  }
  entry->user = key;
  if (text) entry->text = std::string(*text);
  entry->flag = flag;
  ++count_;
  return bucket.insert(pos, std::move(entry))->get();
}

const ListDbEntry* ListDb::Find(std::string_view key) const {
  for (const auto& entry : buckets_[BucketOf(key)]) {
    const int order = Compare(entry->user, key);
    if (order == 0) return entry.get();
    if (order > 0) break;
  }
  return nullptr;
}

ListDbEntry* ListDb::Find(std::string_view key) {
  return const_cast<ListDbEntry*>(std::as_const(*this).Find(key));
}

bool ListDb::Remove(std::string_view key) {
  const ListDbEntry* found = Find(key);
  if (!found) return false;
  Bucket& bucket = buckets_[BucketOf(key)];
  bucket.erase(std::find_if(bucket.begin(), bucket.end(),
                            [found](const auto& e) { return e.get() == found; }));
  --count_;
  return true;
}

std::optional<std::string> ListDb::NextName() {
  // The counter cannot pass INT32_MAX, and a number is never handed out twice.
  if (next_index_ == INT32_MAX) return std::nullopt;
  auto name = FormatListDbName(format_, next_index_);
  // A name that could not be saved and read back costs no number.
  if (!name || name->size() > kMaxDisk || has_line_break(*name)) return std::nullopt;
  ++next_index_;
  return name;
}

std::string ListDb::Serialise() const {
  std::string out(kBanner);
  out += '\n';
  append_integer(out, next_index_);
  out += '\n';
  for (const auto& bucket : buckets_) {
    for (const auto& e : bucket) {
      out += e->user;
      out += '\n';
      out += e->disk;
      out += '\n';
      out += e->text.value_or(std::string());
      out += '\n';
      append_integer(out, e->flag);
      if (layout_ == ListDbLayout::kTimestamped) {
        out += ' ';
        append_integer(out, e->timestamp);
      }
      out += '\n';
    }
  }
  return out;
}

bool ListDb::Save() const { return SFL_WriteFile(file_, Serialise()) == 0; }

bool ListDb::Reload() {
  auto fresh = Load(file_, format_, case_sensitive_, layout_);
  if (!fresh) return false;
  buckets_ = std::move(fresh->buckets_);
  count_ = fresh->count_;
  // Names already handed out from memory may not be on file yet; never reissue them.
  next_index_ = std::max(next_index_, fresh->next_index_);
  return true;
}

std::vector<const ListDbEntry*> ListDb::Entries() const {
  std::vector<const ListDbEntry*> all;
  all.reserve(count_);
  for (const auto& bucket : buckets_)
    for (const auto& e : bucket) all.push_back(e.get());
  return all;
}

void ListDb::Dump(std::ostream& out) const {
  // Numbers go through to_chars: the stream may carry a locale with digit grouping.
  std::string s;
  s += "file: <" + file_ + ">\n";
  s += "format: <" + format_ + ">\n";
  s += "next index: ";
  append_integer(s, next_index_);
  s += "\n# entries: ";
  append_integer(s, static_cast<int64_t>(count_));
  s += "\ncase sensitive: ";
  s += case_sensitive_ ? "1" : "0";
  s += '\n';
  for (const ListDbEntry* e : Entries()) {
    s += "user: <" + e->user + ">\n";
    s += "disk: <" + e->disk + ">\n";
    s += "text: <" + e->text.value_or(std::string()) + ">\n";
    s += "flag: ";
    append_integer(s, e->flag);
    s += '\n';
    if (layout_ == ListDbLayout::kTimestamped) {
      s += "timestamp: ";
      append_integer(s, e->timestamp);
      s += '\n';
    }
  }
  out.write(s.data(), static_cast<std::streamsize>(s.size()));
}

}  // namespace tarn
