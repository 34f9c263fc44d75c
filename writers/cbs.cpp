#include "writers/cbs.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "libibis/src/cmn.h"
#include "libibis/src/cmpnt.h"
#include "libibis/src/guard.h"
#include "libibis/src/hdr.h"
#include "libibis/src/ibis.h"
#include "libibis/src/mdl_plus.h"
#include "libibis/src/rpt.h"
#include "libibis/src/source.h"
#include "tarn/compile.h"
#include "writers/safe_file.h"
#include "writers/worker.h"
#include "writers/wrt.h"

namespace tarn {
namespace {

constexpr size_t kQuoteLimit = 2048;
// Readers of existing compiled files expect the copyright cut this short.
constexpr size_t kCopyrightLimit = 40;

// A text formatted in memory.
struct Text {
  std::unique_ptr<char[]> data;
  size_t size = 0;
  size_t capacity = 0;
  std::string_view view() const { return {data.get(), size}; }
};

// Where records are formatted: straight into the compiled file's block sink, or into a text of
// their own. Each thread formats through its own, so the worker and the reading share nothing.
class CbsOut {
 public:
  // Into text(), whose first room holds `first_size` characters.
  explicit CbsOut(size_t first_size) : first_size_(first_size) {}
  CbsOut(SafeFile* file, BlockSink* sink) : file_(file), sink_(sink) {}

  /// Room for `size` characters at the end of what is written; commit() ends them.
  char* room(size_t size) {
    if (sink_) return sink_->room(size);
    if (text_.capacity - text_.size < size) grow(size);
    return text_.data.get() + text_.size;
  }
  void commit(const char* end) {
    if (sink_) return sink_->commit(end);
    text_.size = static_cast<size_t>(end - text_.data.get());
  }
  void append(std::string_view text) {
    if (sink_) return sink_->append(text);
    char* at = room(text.size());
    commit(std::copy(text.begin(), text.end(), at));
  }
  /// A finished text of some size goes to the file as it is, without a copy into the block.
  void append_text(std::string_view text) {
    if (!file_ || text.size() < kCopiedText) return append(text);
    sink_->flush();
    (void)file_->Write(text);  // a failed write fails the commit
  }

  std::string_view text() const { return text_.view(); }
  /// Starts the next text in the room of the last.
  void clear() { text_.size = 0; }
  Text take_text() { return std::move(text_); }

  std::string line;  // the record being formatted

 private:
  static constexpr size_t kCopiedText = size_t{4} << 10;

  void grow(size_t size);

  SafeFile* file_ = nullptr;
  BlockSink* sink_ = nullptr;
  size_t first_size_ = 0;
  Text text_;
};

void CbsOut::grow(size_t size) {
  const size_t capacity = std::max({first_size_, 2 * text_.capacity, text_.size + size});
  std::unique_ptr<char[]> data(new char[capacity]);
  if (text_.size > 0) std::memcpy(data.get(), text_.data.get(), text_.size);
  text_.data = std::move(data);
  text_.capacity = capacity;
}

// The model blocks formatted during the reading. Each is placed in front of the one before, so
// that the newest-first walk at the end finds them one after the other and writes them to the
// file in large pieces, which costs the system far less than one write per model.
class BackwardArena {
 public:
  std::string_view place(std::string_view text);

 private:
  // Pieces double from the first size to the last, which the system can back with one large
  // page rather than hundreds of small ones.
  static constexpr size_t kFirstPiece = size_t{256} << 10;
  static constexpr size_t kLastPiece = size_t{2} << 20;
  // Every piece is aligned to a large page, so that a full-size one can be backed by one.
  static constexpr std::align_val_t kAlign{kLastPiece};
  struct Free {
    void operator()(char* data) const { ::operator delete(data, kAlign); }
  };
  struct Piece {
    std::unique_ptr<char[], Free> data;
    size_t size;
    size_t front;  // where the texts placed so far begin
  };
  static std::unique_ptr<char[], Free> new_piece(size_t size);
  std::vector<Piece> pieces_;
};

std::unique_ptr<char[], BackwardArena::Free> BackwardArena::new_piece(size_t size) {
  std::unique_ptr<char[], Free> data(static_cast<char*>(::operator new(size, kAlign)));
#ifdef __linux__
  if (size % kLastPiece == 0) (void)::madvise(data.get(), size, MADV_HUGEPAGE);
#endif
  return data;
}

std::string_view BackwardArena::place(std::string_view text) {
  if (pieces_.empty() || pieces_.back().front < text.size()) {
    const size_t wanted = pieces_.empty() ? kFirstPiece
                                          : std::min(2 * pieces_.back().size, kLastPiece);
    const size_t size = std::max(wanted, text.size());
    pieces_.push_back({new_piece(size), size, size});
  }
  Piece& piece = pieces_.back();
  piece.front -= text.size();
  char* const at = piece.data.get() + piece.front;
  if (!text.empty()) std::memcpy(at, text.data(), text.size());
  return {at, text.size()};
}

// The compiled file being written: the writer is not re-entrant, and the public entries hold
// the process-wide lock around it.
struct CbsFile {
  std::unique_ptr<SafeFile> file;   // the compiled file, replaced whole when it is closed
  std::unique_ptr<BlockSink> sink;  // the records on their way to it
};
CbsFile g_cbs;

// ---------------------------------------------------------------------------------------------
// Records

// printf's %g and %f, which existing compiled files use per record.
enum class Num : uint8_t { General, Fixed };

void append_number(std::string* out, double value, Num form) {
  if (form == Num::General) return WRT_AppendGeneral(out, value);
  WRT_AppendFixed(out, value);
}

void begin(CbsOut& out, std::string_view keyword) { out.line.assign(keyword); }

void add_number(CbsOut& out, double value, Num form) {
  out.line += ' ';
  append_number(&out.line, value, form);
}

void add_int(CbsOut& out, int value) {
  char buffer[16];
  const std::to_chars_result result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out.line += ' ';
  out.line.append(buffer, result.ptr);
}

void add_text(CbsOut& out, std::string_view text, size_t limit = kQuoteLimit) {
  out.line += " \"";
  CBS_EscapeString(&out.line, text, limit);
  out.line += '"';
}

// Ends the record; records go to the file a block at a time.
void put_line(CbsOut& out) {
  out.line += '\n';
  out.append(out.line);
  out.line.clear();
}

void put_value(CbsOut& out, std::string_view keyword, double value) {
  begin(out, keyword);
  add_number(out, value, Num::General);
  put_line(out);
}

// typ, min, max with a missing min or max written as the typ; nothing without a typ.
void put_triple(CbsOut& out, std::string_view keyword, const Range* range, Num form) {
  double typ = 0.0;
  if (!range || !range_get_typ(range, &typ)) return;
  double min = typ;
  double max = typ;
  (void)range_select(range, kCornerMin, &min);
  (void)range_select(range, kCornerMax, &max);
  begin(out, keyword);
  for (const double value : {typ, min, max}) add_number(out, value, form);
  put_line(out);
}

void put_same_triple(CbsOut& out, std::string_view keyword, double value, Num form) {
  begin(out, keyword);
  for (int i = 0; i < 3; ++i) add_number(out, value, form);
  put_line(out);
}

int open_output(const char* path) {
  g_cbs.file = std::make_unique<SafeFile>(path);
  g_cbs.sink = std::make_unique<BlockSink>(g_cbs.file.get());
  if (g_cbs.file->stream()) return 1;
  g_cbs.sink.reset();
  g_cbs.file.reset();
  RPT_Error("Unable to open output file.");
  return 0;
}

// The compiled file written whole, ready for its commit.
std::unique_ptr<SafeFile> take_output() {
  g_cbs.sink->flush();  // a failed write is remembered and fails the commit
  g_cbs.sink.reset();
  return std::move(g_cbs.file);
}

int report_commit(const char* path, const SafeFile& file, bool committed) {
  if (!committed) {
    RPT_Error("Unable to close output file.");
    WRT_ReportUnwritten(path, file.error());
  }
  return committed ? 1 : 0;
}

// Until here the old file, if any, stands untouched; a file that cannot be completed is not
// put in its place.
int close_output(const char* path) {
  const std::unique_ptr<SafeFile> file = take_output();
  return report_commit(path, *file, file->Commit());
}

// ---------------------------------------------------------------------------------------------
// Tables of records: one keyword and the accessor of the value it writes.

using ModelRange = int (*)(const IbisModel*, const Range**);
using ModelTable = int (*)(const IbisModel*, const ViTable**);
using SeriesRange = int (*)(const SeriesInfo*, const Range**);

template <class Accessor>
struct Record {
  const char* keyword;
  Accessor source;  // the accessor, or the item, the value comes from
};

constexpr Record<ModelRange> kReferenceRecords[] = {
    {"VoltRange", mdl_get_voltage_range},         {"PullUpRef", mdl_get_pullup_reference},
    {"PullDownRef", mdl_get_pulldown_reference},  {"PowerClampRef", mdl_get_power_clamp_reference},
    {"GndClampRef", mdl_get_gnd_clamp_reference},
};
// "term_rac" takes two blanks in existing files: the trailing one here and the separator.
constexpr Record<ModelRange> kTerminatorRecords[] = {
    {"term_rgnd", mdl_get_rgnd},
    {"term_rpwr", mdl_get_rpower},
    {"term_rac ", mdl_get_rac},
    {"term_cac", mdl_get_cac},
};
constexpr Record<ModelRange> kResistorRecords[] = {
    {"rgnd", mdl_get_rgnd},
    {"rpower", mdl_get_rpower},
    {"rac", mdl_get_rac},
    {"cac", mdl_get_cac},
};
constexpr Record<ModelTable> kViTableRecords[] = {
    {"pullup", mdl_get_pullup},
    {"pulldown", mdl_get_pulldown},
    {"power_clamp", mdl_get_power_clamp},
    {"gnd_clamp", mdl_get_gnd_clamp},
};
constexpr Record<SeriesRange> kSeriesRecords[] = {
    {"series_r", series_get_r_series},   {"series_l", series_get_l_series},
    {"series_c", series_get_c_series},   {"series_rl", series_get_rl_series},
    {"series_lc", series_get_lc_series}, {"series_rc", series_get_rc_series},
};
// The pin-level thresholds, written as %f triples.
constexpr Record<MspecParam> kThresholdRecords[] = {
    {"vinh_plus", MspecParam::VinhPlus},         {"vinh_minus", MspecParam::VinhMinus},
    {"vinl_plus", MspecParam::VinlPlus},         {"vinl_minus", MspecParam::VinlMinus},
    {"over_high_s", MspecParam::SOvershootHigh}, {"over_low_s", MspecParam::SOvershootLow},
    {"over_high_d", MspecParam::DOvershootHigh}, {"over_low_d", MspecParam::DOvershootLow},
    {"over_time_d", MspecParam::DOvershootTime}, {"vmeas", MspecParam::Vmeas},
};
// The model spec values each model copy carries.
constexpr Record<MspecParam> kModelSpecRecords[] = {
    {"Vinh+", MspecParam::VinhPlus},
    {"Vinh-", MspecParam::VinhMinus},
    {"Vinl+", MspecParam::VinlPlus},
    {"Vinl-", MspecParam::VinlMinus},
    {"S_overshoot_high", MspecParam::SOvershootHigh},
    {"S_overshoot_low", MspecParam::SOvershootLow},
};

// ---------------------------------------------------------------------------------------------
// Models

const char* model_type_word(const IbisModel& model) {
  const char* name = model_type_text(&model);
  return CMN_EqualNoCase(name, "3-STATE") ? "tristate" : name;
}

int row_corner_value(const RangeRow* row, int corner, double* out) {
  if (corner == kCornerMin) return range_get_min(row, out);
  if (corner == kCornerMax) return range_get_max(row, out);
  return range_get_typ(row, out);
}

// The x values of a model's tables, each formatted once for all the corner copies written; the
// tables mostly share their sweep, so an x equal to that of the same row of the table formatted
// before takes its text.
class XTexts {
 public:
  // One row's x, empty for a row without one; copied whole, whatever its length.
  struct Text {
    std::array<char, kNumberRoom> text;
    size_t size = 0;
    uint64_t bits = 0;  // of the x, once formatted
  };
  static constexpr size_t kCopied = 16;
  static_assert(kGeneralLongest <= kCopied);

  const std::vector<Text>& of(const RowList& rows) {
    auto [it, added] = columns_.try_emplace(&rows);
    if (added) {
      std::vector<Text>& column = it->second;
      column.resize(rows.size());
      const size_t shared = last_ ? std::min(last_->size(), column.size()) : 0;
      size_t i = 0;
      for (const RangeRow* row = rows.head(); row; row = row->next(), ++i) {
        double x = 0.0;
        if (!row_get_x(row, &x)) continue;
        Text& text = column[i];
        text.bits = std::bit_cast<uint64_t>(x);
        if (i < shared && (*last_)[i].size != 0 && (*last_)[i].bits == text.bits) {
          text = (*last_)[i];
          continue;
        }
        text.size = static_cast<size_t>(WRT_PutGeneral(text.text.data(), x) - text.text.data());
      }
      last_ = &column;
    }
    return it->second;
  }

 private:
  std::unordered_map<const RowList*, std::vector<Text>> columns_;  // nodes: `last_` stays put
  const std::vector<Text>* last_ = nullptr;
};

// One corner's copy of a model. A dry run writes nothing and only notes whether the corner has an
// entry of its own anywhere, which decides whether its copy is written at all.
class ModelCopy {
 public:
  // A dry run neither formats nor needs `out` and `x_texts`.
  ModelCopy(int corner, CbsOut* out = nullptr, XTexts* x_texts = nullptr)
      : corner_(corner), dry_(out == nullptr), out_(out), x_texts_(x_texts) {}

  void write(const IbisModel& model);
  bool has_own_entry() const { return own_entry_; }

 private:
  void value(std::string_view keyword, const Range* range);
  void table(std::string_view keyword, const RowList& rows);
  void ramp_edge(std::string_view dv_word, std::string_view dt_word, const RampRatio* ratio);
  void waveform(const WaveformList& list, std::string_view table_word,
                const char* const* fixture_words);
  void fixed(std::string_view keyword, double value) {
    if (!dry_) put_value(*out_, keyword, value);
  }
  void note(bool own) { own_entry_ = own_entry_ || (own && corner_ != kCornerTyp); }

  int corner_;
  bool dry_;
  CbsOut* out_;      // set when not dry
  XTexts* x_texts_;  // set when not dry
  bool own_entry_ = false;
};

void ModelCopy::value(std::string_view keyword, const Range* range) {
  double chosen = 0.0;
  if (!range_select(range, corner_, &chosen)) return;
  note(range_corner_valid(*range, static_cast<Corner>(corner_)));
  if (!dry_) put_value(*out_, keyword, chosen);
}

// The first row decides the column of the whole table; rows without it are left out.
void ModelCopy::table(std::string_view keyword, const RowList& rows) {
  const bool own = rows.head() && row_corner_valid(rows.head(), corner_);
  note(own);
  if (dry_) return;
  begin(*out_, keyword);
  put_line(*out_);
  const int column = own ? corner_ : kCornerTyp;
  const XTexts::Text* x = x_texts_->of(rows).data();
  for (const RangeRow* row = rows.head(); row; row = row->next(), ++x) {
    double y = 0.0;
    if (x->size == 0 || !row_corner_value(row, column, &y)) continue;
    // A table is most of a compiled file: each row formatted straight into the block.
    char* const line = out_->room(XTexts::kCopied + kNumberRoom + 2);
    std::memcpy(line, x->text.data(), XTexts::kCopied);
    char* p = line + x->size;
    *p++ = ' ';
    p = WRT_PutGeneral(p, y);
    *p++ = '\n';
    out_->commit(p);
  }
}

void ModelCopy::ramp_edge(std::string_view dv_word, std::string_view dt_word,
                          const RampRatio* ratio) {
  double dv = 0.0;
  double dt = 0.0;
  double own_dv = 0.0;
  double own_dt = 0.0;
  if (!ramp_get_corner(ratio, kCornerTyp, &own_dv, &own_dt) ||
      !ramp_select(ratio, corner_, &dv, &dt))
    return;
  note(ramp_get_corner(ratio, static_cast<Corner>(corner_), &own_dv, &own_dt) == 1);
  if (dry_) return;
  begin(*out_, dv_word);
  add_number(*out_, dv, Num::General);
  out_->line += ' ';
  out_->line += dt_word;
  add_number(*out_, dt, Num::General);
  put_line(*out_);
}

// The fixture of a waveform as the simulator front end sees it: the fixture and the device's own
// parasitics of one kind summed.
struct FixtureSum {
  WaveformParam fixture;
  WaveformParam dut;
};
constexpr FixtureSum kFixtureSums[] = {
    {WaveformParam::RFixture, WaveformParam::RDut},
    {WaveformParam::LFixture, WaveformParam::LDut},
    {WaveformParam::CFixture, WaveformParam::CDut},
};

// Only the first waveform of each direction is carried.
void ModelCopy::waveform(const WaveformList& list, std::string_view table_word,
                         const char* const* fixture_words) {
  if (list.empty()) return;
  const Waveform* wave = list.front().get();
  const RowList* rows = nullptr;
  static const RowList kNoRows;
  table(table_word, waveform_get_rows(wave, &rows) ? *rows : kNoRows);
  double v = 0.0;
  if (waveform_get(wave, WaveformParam::VFixture, &v)) fixed(fixture_words[0], v);
  for (size_t i = 0; i < std::size(kFixtureSums); ++i) {
    double fixture = 0.0;
    double dut = 0.0;
    const bool has_fixture = waveform_get(wave, kFixtureSums[i].fixture, &fixture) == 1;
    const bool has_dut = waveform_get(wave, kFixtureSums[i].dut, &dut) == 1;
    if (has_fixture || has_dut) fixed(fixture_words[i + 1], fixture + dut);
  }
}

constexpr const char* kRisingFixtureWords[] = {"v_fix_r", "r_fix_r", "l_fix_r", "c_fix_r"};
constexpr const char* kFallingFixtureWords[] = {"v_fix_f", "r_fix_f", "l_fix_f", "c_fix_f"};

void ModelCopy::write(const IbisModel& model) {
  double scalar = 0.0;
  if (mdl_get_vinl(&model, &scalar)) fixed("vinl", scalar);
  if (mdl_get_vinh(&model, &scalar)) fixed("vinh", scalar);
  const ModelSpec* spec = nullptr;
  if (mdl_get_model_spec(&model, &spec)) {
    for (const Record<MspecParam>& record : kModelSpecRecords) {
      const Range* range = nullptr;
      if (mspec_get(spec, record.source, &range)) value(record.keyword, range);
    }
  }
  const Range* range = nullptr;
  if (mdl_get_c_comp(&model, &range)) value("c_comp", range);
  for (const Record<ModelTable>& record : kViTableRecords) {
    const ViTable* vi = nullptr;
    if (record.source(&model, &vi)) table(record.keyword, vi->rows);
  }
  for (const Record<ModelRange>& record : kResistorRecords)
    if (record.source(&model, &range)) value(record.keyword, range);
  const Ramp* ramp = nullptr;
  if (mdl_get_ramp(&model, &ramp)) {
    if (ramp_get_r_load(ramp, &scalar)) fixed("r_load", scalar);
    const RampRatio* ratio = nullptr;
    if (ramp_get_dvdt_r(ramp, &ratio)) ramp_edge("dv_r", "dt_r", ratio);
    if (ramp_get_dvdt_f(ramp, &ratio)) ramp_edge("dv_f", "dt_f", ratio);
  }
  const WaveformList* waves = nullptr;
  if (mdl_get_rising_waveforms(&model, &waves))
    waveform(*waves, "rising_waveform", kRisingFixtureWords);
  if (mdl_get_falling_waveforms(&model, &waves))
    waveform(*waves, "falling_waveform", kFallingFixtureWords);
}

// A min or max copy only for a model that gives that corner somewhere; the typ copy always.
void write_model_block(CbsOut& out, const IbisModel& model, std::string_view name) {
  out.line = "\nModel";
  add_text(out, name);
  put_line(out);
  begin(out, "Type");
  add_text(out, model_type_word(model));
  put_line(out);
  struct Copy {
    int corner;
    const char* keyword;
  };
  XTexts x_texts;
  for (const Copy copy : {Copy{kCornerMin, "\nMin_Model"}, Copy{kCornerMax, "\nMax_Model"}}) {
    ModelCopy probe(copy.corner);
    probe.write(model);
    if (!probe.has_own_entry()) continue;
    begin(out, copy.keyword);
    put_line(out);
    ModelCopy(copy.corner, &out, &x_texts).write(model);
  }
  begin(out, "\nTyp_Model");
  put_line(out);
  ModelCopy(kCornerTyp, &out, &x_texts).write(model);
}

// Formats each model's block on the worker as soon as the reader is done with the model, while
// its rows are still hot, beside the reading of the next; the worker then hands the tables back
// to the reading thread, which frees them where they were allocated. Meanwhile the worker also
// holds the compiled file that `output` names, so that the old one is freed once the new one has
// taken its place. The new one is synced and put in place on the worker too, while the reading
// thread lets go of the document.
class StreamedModels final : public ModelObserver {
 public:
  explicit StreamedModels(const char* output) : output_path_(output) {
    worker_.Post([this] { replaced_.Hold(output_path_); });
  }
  void ModelEnded(IbisModel& model) override;
  void ReadingEnded() override {
    post_batch();
    worker_.Drain();
    spent_.Release();
  }
  /// The worker, idle once the reading has ended.
  OrderedWorker& helper() { return worker_; }
  /// Commits the compiled file, written whole, on the worker; the texts written go meanwhile.
  void CommitAside(std::unique_ptr<SafeFile> file) {
    output_ = std::move(file);
    worker_.Post([this] {
      committed_ = output_->Commit();
      replaced_.Release();
    });
    texts_ = {};
    spans_ = {};
    arena_ = {};
  }
  /// Reports a commit that failed, as the compile's last findings.
  void DocumentReleased() override {
    if (!output_) return;
    worker_.Drain();
    written_ = report_commit(output_path_.c_str(), *output_, committed_) == 1;
    output_.reset();
  }
  /// Whether a compiled file was committed.
  bool written() const { return written_; }
  /// The block formatted for `model`; null for a model the reader did not hand over, whose
  /// tables are then still in it.
  const std::string_view* text_of(const IbisModel& model) const {
    const auto it = texts_.find(&model);
    return it == texts_.end() ? nullptr : it->second;
  }

 private:
  // Most model blocks fit in the first room of the scratch text.
  static constexpr size_t kFirstBlockSize = size_t{64} << 10;
  // Models go to the worker a few dozen at a time: waking it costs the reading more than the
  // tables held a little longer.
  static constexpr size_t kBatch = 32;
  // Bounds the tables waiting to be formatted.
  static constexpr size_t kPendingBatches = 2;
  struct Job {
    IbisModel* model;
    std::string_view name;
    std::string_view* text;
  };

  void post_batch();
  void format(const Job& job);

  // The reading thread's: each text made when its model is handed over, filled by its job, read
  // once the worker is drained.
  std::unordered_map<const IbisModel*, const std::string_view*> texts_;
  const std::string output_path_;
  std::unique_ptr<SafeFile> output_;  // the worker's from CommitAside until the report
  bool committed_ = false;            // the worker's
  bool written_ = false;
  std::deque<std::string_view> spans_;
  std::vector<Job> batch_;
  // The worker's.
  CbsOut scratch_{kFirstBlockSize};
  BackwardArena arena_;
  HandBack<ModelTables> spent_;
  ReplacedFile replaced_;
  OrderedWorker worker_{kPendingBatches};  // last, so that it drains before the rest goes
};

void StreamedModels::ModelEnded(IbisModel& model) {
  std::string_view name;
  (void)mdl_get_name(&model, &name);  // a model without a name is never written
  std::string_view* const text = &spans_.emplace_back();
  texts_[&model] = text;
  batch_.push_back({&model, name, text});
  if (batch_.size() == kBatch) post_batch();
}

void StreamedModels::post_batch() {
  spent_.Release();
  if (batch_.empty()) return;
  worker_.Post([this, batch = std::move(batch_)] {
    for (const Job& job : batch) format(job);
  });
  batch_.clear();
}

void StreamedModels::format(const Job& job) {
  scratch_.clear();
  write_model_block(scratch_, *job.model, job.name);
  *job.text = arena_.place(scratch_.text());
  spent_.Give(mdl_take_tables(job.model));
}

// Texts that lie one after the other in memory go to the file as one piece.
class TextRun {
 public:
  explicit TextRun(CbsOut* out) : out_(out) {}
  void add(std::string_view text) {
    if (run_.empty() || run_.data() + run_.size() != text.data()) {
      flush();
      run_ = text;
      return;
    }
    run_ = {run_.data(), run_.size() + text.size()};
  }
  void flush() {
    if (!run_.empty()) out_->append_text(run_);
    run_ = {};
  }

 private:
  CbsOut* out_;
  std::string_view run_;
};

// ---------------------------------------------------------------------------------------------
// The component

bool is_supply_model(std::string_view model) {
  return CMN_EqualNoCase(model, "POWER") || CMN_EqualNoCase(model, "GND");
}

std::string_view text_or_empty(int (*get)(const Pin*, std::string_view*), const Pin& pin) {
  std::string_view text;
  return get(&pin, &text) ? text : std::string_view();
}

// What the pin groups look up, gathered once for the component.
struct ComponentView {
  explicit ComponentView(const IbisDocument& document) : models(document) {}

  const PinList* pins = nullptr;
  const PinMapping* mapping = nullptr;
  // The pair rows by pin name, so that a part with thousands of pairs costs no scan per pin. A
  // name any [Diff Pin] row gives; the first row that names it with its partner.
  std::unordered_set<std::string_view> diff_named;
  std::unordered_map<std::string_view, const DiffPinRow*> diff_rows;
  // The [Series Pin Mapping] rows that name a pin, in file order.
  std::unordered_map<std::string_view, std::vector<const SeriesPinRow*>> series_rows;
  // By name; a name defined twice finds the model defined last, as the reader's checks do.
  ModelIndex models;
  // The POWER and GND pins on each bus, in pin order, found through their mapping rows. "NC" says
  // not connected rather than naming a bus, so it lists no pins.
  std::unordered_map<std::string_view, std::vector<std::string_view>> bus_pins;

  const IbisModel* find_model(std::string_view name) const { return models.find(name); }
};

void gather_bus_pins(ComponentView* view) {
  for (const Pin& pin : view->pins->pins) {
    if (!is_supply_model(text_or_empty(PIN_GetModel, pin))) continue;
    const std::string_view name = text_or_empty(PIN_GetName, pin);
    const PinMappingRow* row = nullptr;
    if (!PINMPG_Find(view->mapping, name, &row)) continue;
    std::string_view pullup;
    std::string_view pulldown;
    const bool has_pullup = PINMPG_GetRef(row, kPullupRef, &pullup) && PINMPG_NamesBus(pullup);
    const bool has_pulldown =
        PINMPG_GetRef(row, kPulldownRef, &pulldown) && PINMPG_NamesBus(pulldown);
    if (has_pullup) view->bus_pins[pullup].push_back(name);
    if (has_pulldown && (!has_pullup || pulldown != pullup))
      view->bus_pins[pulldown].push_back(name);
  }
}

void index_diff_pins(ComponentView* view, const DiffPinList& list) {
  for (const DiffPinRow& row : list.rows) {
    std::string_view non_inverting;
    std::string_view inverting;
    const bool has_pin = DIFPIN_GetPin(&row, &non_inverting) == 1;
    const bool has_inverting = DIFPIN_GetInvPin(&row, &inverting) == 1;
    if (has_pin) view->diff_named.insert(non_inverting);
    if (has_inverting) view->diff_named.insert(inverting);
    if (!has_pin || !has_inverting) continue;
    view->diff_rows.try_emplace(non_inverting, &row);
    view->diff_rows.try_emplace(inverting, &row);
  }
}

// A row missing a pin is found under the empty name, as a scan comparing names would find it.
void index_series_pins(ComponentView* view, const SeriesPinMapping& mapping) {
  for (const SeriesPinRow& row : mapping.rows) {
    std::string_view pin1;
    std::string_view pin2;
    (void)SPINMPG_GetPin1(&row, &pin1);
    (void)SPINMPG_GetPin2(&row, &pin2);
    view->series_rows[pin1].push_back(&row);
    if (pin2 != pin1) view->series_rows[pin2].push_back(&row);
  }
}

ComponentView make_view(const IbisDocument& document, const Component& component,
                        const PinList* pins) {
  ComponentView view(document);
  view.pins = pins;
  const DiffPinList* diff_pins = nullptr;
  if (CMPNT_GetDiffPins(&component, &diff_pins)) index_diff_pins(&view, *diff_pins);
  const SeriesPinMapping* series = nullptr;
  if (CMPNT_GetSeriesPins(&component, &series)) index_series_pins(&view, *series);
  if (CMPNT_GetPinMapping(&component, &view.mapping)) gather_bus_pins(&view);
  return view;
}

void put_series_partners(CbsOut& out, const ComponentView& view, std::string_view pin) {
  const auto rows = view.series_rows.find(pin);
  if (rows == view.series_rows.end()) return;
  for (const SeriesPinRow* row : rows->second) {
    std::string_view pin1;
    std::string_view pin2;
    std::string_view model_name;
    (void)SPINMPG_GetPin1(row, &pin1);
    (void)SPINMPG_GetPin2(row, &pin2);
    (void)SPINMPG_GetModel(row, &model_name);
    const std::string_view partner = pin1 == pin ? pin2 : pin1;
    const IbisModel* model = view.find_model(model_name);
    if (mdl_type_code(model) != static_cast<int>(ModelType::Series)) continue;
    begin(out, "series_2nd_pin");
    add_text(out, partner);
    add_text(out, model_name);
    put_line(out);
    const SeriesInfo* info = nullptr;
    if (!mdl_get_on_block(model, &info)) continue;
    for (const Record<SeriesRange>& record : kSeriesRecords) {
      const Range* range = nullptr;
      if (record.source(info, &range)) put_triple(out, record.keyword, range, Num::General);
    }
  }
}

void put_diff_partner(CbsOut& out, const ComponentView& view, std::string_view pin) {
  const auto found = view.diff_rows.find(pin);
  if (found == view.diff_rows.end()) return;
  const DiffPinRow& row = *found->second;
  std::string_view non_inverting;
  std::string_view inverting;
  (void)DIFPIN_GetPin(&row, &non_inverting);
  (void)DIFPIN_GetInvPin(&row, &inverting);
  const bool is_non_inverting = non_inverting == pin;
  begin(out, "diff_2nd_pin");
  add_text(out, is_non_inverting ? inverting : non_inverting);
  put_line(out);
  begin(out, "diff_polarity");
  add_int(out, is_non_inverting ? 1 : 0);
  put_line(out);
  double value = 0.0;
  if (DIFPIN_GetValue(&row.vdiff, &value)) {
    begin(out, "vdiff");
    add_number(out, value, Num::Fixed);
    put_line(out);
  }
  double typ = 0.0;
  if (DIFPIN_GetValue(&row.tdelay_typ, &typ)) {
    double min = typ;
    double max = typ;
    (void)DIFPIN_GetValue(&row.tdelay_min, &min);
    (void)DIFPIN_GetValue(&row.tdelay_max, &max);
    begin(out, "tdelay");
    for (const double delay : {typ, min, max}) add_number(out, delay, Num::Fixed);
    put_line(out);
  }
}

double edge_rate(const RampRatio* ratio, int corner) {
  double dv = 0.0;
  double dt = 0.0;
  (void)ramp_select(ratio, corner, &dv, &dt);
  return dv / dt;
}

// The faster edge of each corner. A zero dt has no rate; the record is then left out rather than
// written as a number no reader can parse.
void put_edge_rate(CbsOut& out, const IbisModel& model) {
  double dv = 0.0;
  double dt = 0.0;
  const Ramp* ramp = nullptr;
  const RampRatio* rising = nullptr;
  const RampRatio* falling = nullptr;
  if (!mdl_get_ramp(&model, &ramp) || !ramp_get_dvdt_r(ramp, &rising) ||
      !ramp_get_dvdt_f(ramp, &falling) || !ramp_select(rising, kCornerTyp, &dv, &dt) ||
      !ramp_select(falling, kCornerTyp, &dv, &dt))
    return;
  double rates[3] = {};
  const int corners[3] = {kCornerTyp, kCornerMin, kCornerMax};
  for (size_t i = 0; i < 3; ++i) {
    const double rise = edge_rate(rising, corners[i]);
    const double fall = edge_rate(falling, corners[i]);
    rates[i] = rise > fall ? rise : fall;
    if (!std::isfinite(rates[i])) return;
  }
  begin(out, "ERate");
  for (const double rate : rates) add_number(out, rate, Num::General);
  put_line(out);
}

void put_thresholds(CbsOut& out, const IbisModel& model) {
  const ModelSpec* spec = nullptr;
  const bool has_spec = mdl_get_model_spec(&model, &spec) == 1;
  if (has_spec) {
    for (const Record<MspecParam>& record : kThresholdRecords) {
      const Range* range = nullptr;
      if (mspec_get(spec, record.source, &range))
        put_triple(out, record.keyword, range, Num::Fixed);
    }
  }
  // Without the spec's own value, the model's single threshold stands for all three corners.
  struct Fallback {
    const char* keyword;
    MspecParam param;
    int (*get)(const IbisModel*, double*);
  };
  constexpr Fallback kFallbacks[] = {
      {"vinh_plus", MspecParam::VinhPlus, mdl_get_vinh},
      {"vinl_minus", MspecParam::VinlMinus, mdl_get_vinl},
      {"vmeas", MspecParam::Vmeas, mdl_get_vmeas},
  };
  for (const Fallback& fallback : kFallbacks) {
    const Range* given = nullptr;
    double value = 0.0;
    if (has_spec && mspec_get(spec, fallback.param, &given)) continue;
    if (fallback.get(&model, &value)) put_same_triple(out, fallback.keyword, value, Num::Fixed);
  }
}

void put_model_records(CbsOut& out, const IbisModel& model) {
  put_edge_rate(out, model);
  const Range* range = nullptr;
  for (const Record<ModelRange>& record : kReferenceRecords)
    if (record.source(&model, &range)) put_triple(out, record.keyword, range, Num::General);
  if (mdl_type_code(&model) == static_cast<int>(ModelType::Terminator)) {
    for (const Record<ModelRange>& record : kTerminatorRecords)
      if (record.source(&model, &range)) put_triple(out, record.keyword, range, Num::General);
  }
  put_thresholds(out, model);
}

// The records a pin group takes from its model, the same for every pin on it: formatted once,
// as the pins ask for them.
class ModelRecords {
 public:
  std::string_view of(const IbisModel& model) {
    // Room for the ten or so records of a common model.
    constexpr size_t kFirstRecordsSize = 512;
    const auto [it, added] = texts_.try_emplace(&model);
    if (added) {
      CbsOut text(kFirstRecordsSize);
      put_model_records(text, model);
      it->second = text.take_text();
    }
    return it->second.view();
  }

 private:
  std::unordered_map<const IbisModel*, Text> texts_;
};

void put_supply_list(CbsOut& out, const ComponentView& view, std::string_view keyword,
                     std::string_view bus) {
  const auto it = view.bus_pins.find(bus);
  if (it == view.bus_pins.end()) return;
  begin(out, keyword);
  for (const std::string_view pin : it->second) add_text(out, pin);
  put_line(out);
}

void put_supply_pins(CbsOut& out, const ComponentView& view, std::string_view pin,
                     std::string_view model) {
  const PinMappingRow* row = nullptr;
  if (!view.mapping || is_supply_model(model) || !PINMPG_Find(view.mapping, pin, &row)) return;
  struct Supply {
    const char* keyword;
    PinMappingColumn column;
  };
  constexpr Supply kSupplies[] = {
      {"PU_Pin", kPullupRef},
      {"PD_Pin", kPulldownRef},
      {"PC_Pin", kPowerClampRef},
      {"GC_Pin", kGndClampRef},
  };
  for (const Supply& supply : kSupplies) {
    std::string_view bus;
    if (PINMPG_GetRef(row, supply.column, &bus) && PINMPG_NamesBus(bus))
      put_supply_list(out, view, supply.keyword, bus);
  }
}

void put_pin_group(CbsOut& out, const ComponentView& view, ModelRecords& records,
                   const Pin& pin) {
  const std::string_view name = text_or_empty(PIN_GetName, pin);
  const std::string_view model_name = text_or_empty(PIN_GetModel, pin);
  const IbisModel* model = view.find_model(model_name);
  const bool diff = view.diff_named.contains(name);
  begin(out, "Pin");
  add_text(out, name);
  add_text(out, text_or_empty(PIN_GetSignal, pin));
  add_text(out, model_name);
  add_int(out, diff ? 1 : 0);
  add_int(out, mdl_type_code(model));
  put_line(out);
  struct Parasitic {
    const char* keyword;
    int (*get)(const Pin*, double*);
  };
  for (const Parasitic p : {Parasitic{"C_Pin", PIN_GetCpin}, Parasitic{"L_Pin", PIN_GetLpin},
                            Parasitic{"R_Pin", PIN_GetRpin}}) {
    double value = 0.0;
    if (p.get(&pin, &value)) put_value(out, p.keyword, value);
  }
  put_series_partners(out, view, name);
  if (diff) put_diff_partner(out, view, name);
  if (model) out.append(records.of(*model));
  put_supply_pins(out, view, name, model_name);
}

const PinList* pins_or_report(const Component& component) {
  const PinList* pins = nullptr;
  if (CMPNT_GetPins(&component, &pins)) return pins;
  RPT_Error("Unable to access component info: pin list");
  return nullptr;
}

// A long pin list is shared out with the helper in slices: the helper formats every odd slice into
// one of a few texts it reuses, while this thread formats the even ones straight into the file
// and writes each odd one after the even one before it. Both go at once, the file keeps the pins'
// order, and the texts stay few and in the cache however long the list.
class PinSlices {
 public:
  static constexpr size_t kPins = 256;  // per slice
  explicit PinSlices(size_t pins) : count_((pins + kPins - 1) / kPins) {}

  using Format = std::function<void(CbsOut& out, size_t begin, size_t end)>;
  /// On the helper: the odd slices.
  void FormatOdd(const Format& format, size_t pins);
  /// On this thread: the even slices into `out`, each odd one written after its even one.
  void FormatEvenAndWrite(CbsOut& out, const Format& format, size_t pins);

 private:
  static constexpr size_t kTexts = 4;  // the helper runs at most this many slices ahead
  static constexpr size_t kTextSize = size_t{128} << 10;

  const size_t count_;
  std::array<CbsOut, kTexts> texts_{CbsOut(kTextSize), CbsOut(kTextSize), CbsOut(kTextSize),
                                    CbsOut(kTextSize)};
  std::atomic<size_t> formatted_{0};  // odd slices the helper has formatted
  std::atomic<size_t> written_{0};    // odd slices this thread has written
};

// The odd slice 2k+1 goes to text k % kTexts once the slice that held it before is written.
void PinSlices::FormatOdd(const Format& format, size_t pins) {
  for (size_t k = 0; 2 * k + 1 < count_; ++k) {
    for (size_t written = written_.load(); written + kTexts <= k; written = written_.load())
      written_.wait(written);
    CbsOut& text = texts_[k % kTexts];
    text.clear();
    const size_t begin = (2 * k + 1) * kPins;
    format(text, begin, std::min(begin + kPins, pins));
    formatted_.store(k + 1);
    formatted_.notify_one();
  }
}

void PinSlices::FormatEvenAndWrite(CbsOut& out, const Format& format, size_t pins) {
  for (size_t k = 0; 2 * k < count_; ++k) {
    const size_t begin = 2 * k * kPins;
    format(out, begin, std::min(begin + kPins, pins));
    if (2 * k + 1 >= count_) break;
    for (size_t formatted = formatted_.load(); formatted <= k; formatted = formatted_.load())
      formatted_.wait(formatted);
    out.append_text(texts_[k % kTexts].text());
    written_.store(k + 1);
    written_.notify_one();
  }
}

void put_pin_groups(CbsOut& out, const ComponentView& view, OrderedWorker* helper) {
  const std::vector<Pin>& pins = view.pins->pins;
  ModelRecords records;
  constexpr size_t kSharedPins = 2 * PinSlices::kPins;  // below this the hand-over costs more
  if (!helper || !helper->Concurrent() || pins.size() < kSharedPins) {
    for (const Pin& pin : pins) put_pin_group(out, view, records, pin);
    return;
  }
  PinSlices slices(pins.size());
  ModelRecords helper_records;
  const auto format_with = [&](ModelRecords& own) {
    return [&](CbsOut& into, size_t begin, size_t end) {
      for (size_t i = begin; i < end; ++i) put_pin_group(into, view, own, pins[i]);
    };
  };
  const PinSlices::Format on_helper = format_with(helper_records);
  helper->Post([&] { slices.FormatOdd(on_helper, pins.size()); });
  slices.FormatEvenAndWrite(out, format_with(records), pins.size());
  helper->Drain();  // the helper may still be leaving FormatOdd
}

void put_component_block(CbsOut& out, const IbisDocument& document, const Component& component,
                         OrderedWorker* helper) {
  const PinList* pins = pins_or_report(component);
  if (!pins) return;
  std::string_view name;
  if (!CMPNT_GetName(&component, &name)) {
    RPT_Error("Unable to access component info: name");
    return;
  }
  begin(out, "Component");
  add_text(out, name);
  put_line(out);
  std::string_view manufacturer;
  if (CMPNT_GetManufacturer(&component, &manufacturer)) {
    begin(out, "Manufacturer");
    add_text(out, manufacturer);
    put_line(out);
  }
  const Package* package = nullptr;
  if (CMPNT_GetPackage(&component, &package)) {
    const Range* range = nullptr;
    if (PKG_GetCpkg(package, &range)) put_triple(out, "C_Pkg", range, Num::General);
    if (PKG_GetRpkg(package, &range)) put_triple(out, "R_Pkg", range, Num::General);
    if (PKG_GetLpkg(package, &range)) put_triple(out, "L_Pkg", range, Num::General);
  }
  begin(out, "Num_Pins");
  add_int(out, static_cast<int>(pins->pins.size()));
  put_line(out);
  put_pin_groups(out, make_view(document, component, pins), helper);
}

// Every model a pin names, once each, in the order of the document's model list (newest first);
// models only a series pin pair names are not written.
// A model streamed during the reading is written from its text, its tables gone; one the reader
// did not hand over (none in a file that passes: its "[End]" closes the last model while the
// reading goes on) from its tables.
void put_model_blocks(CbsOut& out, const IbisDocument& document, const Component& component,
                      const StreamedModels* streamed) {
  const PinList* pins = pins_or_report(component);
  if (!pins) return;
  std::unordered_set<std::string_view> used;
  for (const Pin& pin : pins->pins) used.insert(text_or_empty(PIN_GetModel, pin));
  TextRun run(&out);
  const std::vector<std::unique_ptr<IbisModel>>* models = nullptr;
  if (!IBIS_GetList(document.models, &models)) return;
  for (auto it = models->rbegin(); it != models->rend(); ++it) {
    std::string_view name;
    if (!mdl_get_name(it->get(), &name) || used.erase(name) == 0) continue;
    const std::string_view* text = streamed ? streamed->text_of(**it) : nullptr;
    if (text) {
      run.add(*text);
      continue;
    }
    run.flush();
    write_model_block(out, **it, name);
  }
  run.flush();
}

void put_head(CbsOut& out, const FileHeader& header) {
  begin(out, "File_Rev 3 0");
  put_line(out);
  std::string_view text;
  if (HDR_GetCopyright(&header, &text)) {
    begin(out, "Copyright");
    add_text(out, text, kCopyrightLimit);
    put_line(out);
  }
  if (HDR_GetFileName(&header, &text)) {
    begin(out, "Src_Name");
    add_text(out, text);
    put_line(out);
  }
}

}  // namespace

void CBS_EscapeString(std::string* out, std::string_view source, size_t limit) {
  TARN_ASSERT(out != nullptr && limit > 0);
  // Most texts have no quote and fit: copied whole.
  if (source.size() < limit && source.find('"') == std::string_view::npos) {
    out->append(source);
    return;
  }
  // A doubled quote is copied whole even past the budget, so the text always reads back.
  long budget = static_cast<long>(limit) - 1;
  for (const char c : source) {
    if (budget <= 0) break;
    if (c == '"') {
      *out += '"';
      --budget;
    }
    *out += c;
    --budget;
  }
}

namespace {

int compile_component(const IbisDocument* document, const char* output_path,
                      const char* component_name, StreamedModels* streamed) {
  WriterSource source;
  if (!WRT_GetSource(document, &source)) return 0;
  const Component* component = WRT_ChooseComponent(*source.components, component_name);
  if (!component) return 0;
  if (!output_path || std::string_view(output_path) == "-") return 1;
  if (!open_output(output_path)) {
    WRT_ReportUnopened(output_path);
    return 0;
  }
  CbsOut out(g_cbs.file.get(), g_cbs.sink.get());
  put_head(out, *source.header);
  put_component_block(out, *document, *component, streamed ? &streamed->helper() : nullptr);
  put_model_blocks(out, *document, *component, streamed);
  if (!streamed) return close_output(output_path);
  streamed->CommitAside(take_output());  // reported once the document is let go of
  return 1;
}

}  // namespace

int CBS_CompileComponent(const IbisDocument* document, const char* output_path,
                         const char* component_name) {
  TARN_ASSERT(document != nullptr);
  return compile_component(document, output_path, component_name, nullptr);
}

int IBIS_CompileDocument(const IbisDocument* document, const char* output, const char* component,
                         std::FILE* report) {
  ApiGuard guard;
  if (!document) return 0;
  RPT_SetStream(report);
  const int result = CBS_CompileComponent(document, output, component);
  RPT_SetStream(nullptr);
  return result;
}

int IBIS_CompileSourceToStream(const char* source, const char* component, const char* output,
                               std::FILE* report) {
  ApiGuard guard;
  int written = 0;
  // Without a file to write there is nothing to stream.
  std::optional<StreamedModels> streamed;
  if (output && std::string_view(output) != "-") streamed.emplace(output);
  StreamedModels* const observer = streamed ? &*streamed : nullptr;
  (void)WRT_CheckSource(
      source, report,
      [&](const IbisDocument& document) {
        written = compile_component(&document, output, component, observer);
      },
      observer);
  return written && (!streamed || streamed->written()) ? 1 : 0;
}

}  // namespace tarn
