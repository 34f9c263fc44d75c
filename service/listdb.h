// List database: a small persistent map from an item's key to a disk file name, with file
// names generated from a counter. Kept as 100 hash buckets, saved as a plain text file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

/// What the fourth line of each saved entry holds. The file does not say; the opener does.
enum class ListDbLayout {
  kPlain,        ///< "flag"
  kTimestamped,  ///< "flag timestamp"
};

/// One item of a list database.
struct ListDbEntry {
  std::string user;                 ///< the key
  std::string disk;                 ///< the disk file name
  std::optional<std::string> text;  ///< optional free text
  int16_t flag = 0;
  /// Saved only in the timestamped layout; the caller decides what it counts.
  int64_t timestamp = 0;
};

/// A name-to-file list kept in a text file (the compiled store, the source indexes).
/// Not thread-safe; the manager serialises its calls.
class ListDb {
 public:
  static constexpr std::size_t kBuckets = 100;
  // Longest texts a load keeps; Add refuses longer ones so a saved file always reads back.
  static constexpr std::size_t kMaxUser = 255;
  static constexpr std::size_t kMaxDisk = 127;
  static constexpr std::size_t kMaxText = 1023;

  /// A new empty database for `file` with next index 0; nothing is written.
  /// `format` is a printf template with one integer conversion (e.g. "ib%06d.cbs"), or
  /// empty when every entry brings its own disk name.
  static std::unique_ptr<ListDb> Create(std::string file, std::string format,
                                        bool case_sensitive,
                                        ListDbLayout layout = ListDbLayout::kPlain);

  /// Reads `file`; null when it is missing or unreadable, or its index line is missing,
  /// not a number or negative. An empty file gives an empty database.
  static std::unique_ptr<ListDb> Load(std::string file, std::string format, bool case_sensitive,
                                      ListDbLayout layout = ListDbLayout::kPlain);

  ListDb(const ListDb&) = delete;
  ListDb& operator=(const ListDb&) = delete;

  /// The entry for `key`: the existing one when a key equal byte for byte is there (no name
  /// is generated), else a new one whose disk name is `disk` or, when none is given, the
  /// next generated name. Null when no name can be generated or a text would not survive
  /// a save (a line break, or longer than the kMax limits).
  [[nodiscard]] ListDbEntry* Add(std::string_view key, std::optional<std::string_view> disk,
                                 std::optional<std::string_view> text, int16_t flag);

  /// The entry for `key`, or null. Without case sensitivity, the first of the entries
  /// that equal `key` when case is ignored.
  ListDbEntry* Find(std::string_view key);
  const ListDbEntry* Find(std::string_view key) const;

  /// Removes the entry Find(key) gives; false when there is none.
  bool Remove(std::string_view key);

  /// The format applied to the next index, which then grows by one; none when the format
  /// has no single integer conversion or the counter is exhausted.
  [[nodiscard]] std::optional<std::string> NextName();

  /// Writes the whole file through a temporary file renamed over it, so a failed save
  /// leaves the previous file whole. False when anything failed.
  [[nodiscard]] bool Save() const;

  /// Reads the file again and takes over its entries. On failure nothing changes.
  [[nodiscard]] bool Reload();

  /// A readable listing of the header and every entry, for debugging.
  void Dump(std::ostream& out) const;

  /// Every entry, in the order they are saved (bucket by bucket, by key within a bucket).
  std::vector<const ListDbEntry*> Entries() const;

  const std::string& file() const { return file_; }
  const std::string& format() const { return format_; }
  int32_t next_index() const { return next_index_; }
  std::size_t size() const { return count_; }
  bool case_sensitive() const { return case_sensitive_; }
  ListDbLayout layout() const { return layout_; }

  /// The bucket a key falls in.
  std::size_t BucketOf(std::string_view key) const;

 private:
  ListDb(std::string file, std::string format, bool case_sensitive, ListDbLayout layout);

  // <0, 0, >0 as `a` sorts before, equal to, after `b` under this database's case rule.
  int Compare(std::string_view a, std::string_view b) const;
  std::string Serialise() const;

  using Bucket = std::vector<std::unique_ptr<ListDbEntry>>;

  std::string file_;
  std::string format_;
  int32_t next_index_ = 0;
  std::size_t count_ = 0;
  bool case_sensitive_;
  ListDbLayout layout_;
  // Entries live behind unique_ptr so pointers handed out stay valid while others come and go.
  std::array<Bucket, kBuckets> buckets_;
};

/// `format` (a printf template with exactly one d, i, u, x, X or o conversion, flags
/// "-+ #0", width and precision, "%%" for a percent sign) applied to `value`, independent of
/// the locale; none when the template is not of that shape.
std::optional<std::string> FormatListDbName(std::string_view format, int32_t value);

}  // namespace tarn
