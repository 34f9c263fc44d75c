#include "service/ibis_comp_prs.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>

#include "tarn/ibis_comp_mdls.h"

namespace {

// What a record does with its arguments.
enum Action : int {
  kNone = 0,
  kRevision = 1,
  kComponentTriple = 2,
  kPin = 3,
  kPinCount = 4,
  kPinList = 5,
  kPinValue = 6,
  kPinTriple = 10,
  kPinTypValue = 11,
  kPinInteger = 12,
  kPinText = 13,
  kSeriesTriple = 14,
  kSeriesPartner = 15,
  kStop = 16,
  kComponent = 17,
  // The model blocks, read only to see that they are whole.
  kModel = 20,
  kType = 21,
  kCopy = 22,
  kCopyValue = 23,
  kCopyTable = 24,
};

constexpr key_lookup row(const char* keyword, int tag, const char* tmpl, int action) {
  return {keyword, static_cast<int>(std::char_traits<char>::length(keyword)), tag, tmpl, action};
}

// The records of a compiled file up to its first model; the model blocks are read on demand.
key_lookup g_compiled_table[] = {
    row("File_Rev", 0, "ii", kRevision),
    row("Copyright", 0, "t", kNone),
    row("Src_Name", 0, "t", kNone),
    row("Crypt", 0, "", kNone),
    row("Component", 0, "t", kComponent),
    row("Manufacturer", 0, "t", kNone),
    row("R_Pkg", eIbisRPkg, "fff", kComponentTriple),
    row("L_Pkg", eIbisLPkg, "fff", kComponentTriple),
    row("C_Pkg", eIbisCPkg, "fff", kComponentTriple),
    row("Num_Pins", 0, "n", kPinCount),
    row("Pin", 0, "tttnn", kPin),
    row("ERate", eIbisEdgeRate, "fff", kPinTriple),
    row("VoltRange", eIbisVoltRange, "fff", kPinTriple),
    row("PullUpRef", eIbisPullUpRef, "fff", kPinTriple),
    row("PullDownRef", eIbisPullDownRef, "fff", kPinTriple),
    row("PowerClampRef", eIbisPowerClampRef, "fff", kPinTriple),
    row("GndClampRef", eIbisGndClampRef, "fff", kPinTriple),
    row("PU_Pin", eIbisPullUpPins, "*t", kPinList),
    row("PD_Pin", eIbisPullDownPins, "*t", kPinList),
    row("PC_Pin", eIbisPowerClampPins, "*t", kPinList),
    row("GC_Pin", eIbisGndClampPins, "*t", kPinList),
    row("R_Pin", eIbisRPin, "f", kPinValue),
    row("L_Pin", eIbisLPin, "f", kPinValue),
    row("C_Pin", eIbisCPin, "f", kPinValue),
    row("Model", 0, "t", kStop),
    row("Type", 0, "t", kNone),
    row("Min_Model", 0, "", kNone),
    row("Max_Model", 0, "", kNone),
    row("Typ_Model", 0, "", kNone),
    row("diff_2nd_pin", eIbisDiffPartner, "t", kPinText),
    row("diff_polarity", eIbisDiffPolarity, "n", kPinInteger),
    row("vdiff", eIbisVdiff, "f", kPinTypValue),
    row("tdelay", eIbisTdelay, "fff", kPinTriple),
    row("series_2nd_pin", eIbisSeriesPartners, "tt", kSeriesPartner),
    row("series_r", eIbisSeriesR, "fff", kSeriesTriple),
    row("series_l", eIbisSeriesL, "fff", kSeriesTriple),
    row("series_c", eIbisSeriesC, "fff", kSeriesTriple),
    row("series_rl", eIbisSeriesRL, "fff", kSeriesTriple),
    row("series_lc", eIbisSeriesLC, "fff", kSeriesTriple),
    row("series_rc", eIbisSeriesRC, "fff", kSeriesTriple),
    row("term_rgnd", eIbisTermRgnd, "fff", kPinTriple),
    row("term_rpwr", eIbisTermRpower, "fff", kPinTriple),
    row("term_rac", eIbisTermRac, "fff", kPinTriple),
    row("term_cac", eIbisTermCac, "fff", kPinTriple),
    row("vmeas", eIbisVmeas, "fff", kPinTriple),
    row("vinl_plus", eIbisVinlPlus, "fff", kPinTriple),
    row("vinh_plus", eIbisVinhPlus, "fff", kPinTriple),
    row("vinl_minus", eIbisVinlMinus, "fff", kPinTriple),
    row("vinh_minus", eIbisVinhMinus, "fff", kPinTriple),
    row("over_high_s", eIbisOverHighS, "fff", kNone),
    row("over_low_s", eIbisOverLowS, "fff", kNone),
    row("over_high_d", eIbisOverHighD, "fff", kNone),
    row("over_low_d", eIbisOverLowD, "fff", kNone),
    row("over_time_d", eIbisOverTimeD, "fff", kNone),
    {nullptr, 0, 0, nullptr, 0},
};

// The model blocks: each copy's values and tables, a table's rows (two numbers a line) following
// its keyword line up to the next record.
constexpr const char* kTableRows = "";
key_lookup g_model_table[] = {
    row("Model", 0, "t", kModel),
    row("Type", 0, "t", kType),
    row("Min_Model", 0, "", kCopy),
    row("Max_Model", 1, "", kCopy),
    row("Typ_Model", 2, "", kCopy),
    row("vinl", 0, "f", kCopyValue),
    row("vinh", 0, "f", kCopyValue),
    row("Vinh+", 0, "f", kCopyValue),
    row("Vinh-", 0, "f", kCopyValue),
    row("Vinl+", 0, "f", kCopyValue),
    row("Vinl-", 0, "f", kCopyValue),
    row("S_overshoot_high", 0, "f", kCopyValue),
    row("S_overshoot_low", 0, "f", kCopyValue),
    row("c_comp", 0, "f", kCopyValue),
    row("pullup", 0, kTableRows, kCopyTable),
    row("pulldown", 0, kTableRows, kCopyTable),
    row("power_clamp", 0, kTableRows, kCopyTable),
    row("gnd_clamp", 0, kTableRows, kCopyTable),
    row("rgnd", 0, "f", kCopyValue),
    row("rpower", 0, "f", kCopyValue),
    row("rac", 0, "f", kCopyValue),
    row("cac", 0, "f", kCopyValue),
    row("r_load", 0, "f", kCopyValue),
    row("dv_r", 0, "f", kCopyValue),
    row("dt_r", 0, "f", kCopyValue),
    row("dv_f", 0, "f", kCopyValue),
    row("dt_f", 0, "f", kCopyValue),
    row("rising_waveform", 0, kTableRows, kCopyTable),
    row("v_fix_r", 0, "f", kCopyValue),
    row("r_fix_r", 0, "f", kCopyValue),
    row("l_fix_r", 0, "f", kCopyValue),
    row("c_fix_r", 0, "f", kCopyValue),
    row("falling_waveform", 0, kTableRows, kCopyTable),
    row("v_fix_f", 0, "f", kCopyValue),
    row("r_fix_f", 0, "f", kCopyValue),
    row("l_fix_f", 0, "f", kCopyValue),
    row("c_fix_f", 0, "f", kCopyValue),
    {nullptr, 0, 0, nullptr, 0},
};

constexpr int kFailed = -1;
// The shortest pin record: Pin "" "" "" 0 0 and its line feed.
constexpr uintmax_t kShortestPinRecord = 19;
constexpr int kTypCopy = 2;
constexpr const char* kCopyNames[] = {"Min_Model", "Max_Model", "Typ_Model"};

// Every record ends with a line feed, so a file cut anywhere but at a line end shows here.
bool ends_with_line_feed(std::ifstream& s) {
  s.seekg(0, std::ios::end);
  const std::streamoff size = s.tellg();
  bool ends = false;
  if (size > 0) {
    s.seekg(-1, std::ios::end);
    ends = s.get() == '\n';
  }
  s.clear();
  s.seekg(0);
  return ends;
}

constexpr bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }
constexpr bool starts_number(std::string_view token) {
  return !token.empty() && ((token[0] >= '0' && token[0] <= '9') || token[0] == '+' ||
                            token[0] == '-' || token[0] == '.');
}

// The next blank-separated token of `line` from `*pos`; empty at the line's end.
std::string_view next_token(std::string_view line, size_t* pos) {
  while (*pos < line.size() && is_blank(line[*pos])) ++*pos;
  const size_t start = *pos;
  while (*pos < line.size() && !is_blank(line[*pos])) ++*pos;
  return line.substr(start, *pos - start);
}

// The quoted text at `*pos` with its doubled quotes undone; none when there is no whole one.
std::optional<std::string> next_text(std::string_view line, size_t* pos) {
  while (*pos < line.size() && is_blank(line[*pos])) ++*pos;
  if (*pos == line.size() || line[*pos] != '"') return std::nullopt;
  std::string text;
  for (++*pos; *pos < line.size(); ++*pos) {
    if (line[*pos] != '"') {
      text += line[*pos];
    } else if (*pos + 1 < line.size() && line[*pos + 1] == '"') {
      text += '"';
      ++*pos;
    } else {
      ++*pos;
      return text;
    }
  }
  return std::nullopt;
}

int store_triple(CIbisCompInfo* target, int tag, const arg_val* args, int pin) {
  for (const eTypMinMax corner : {eTyp, eMin, eMax})
    target->SetModelParam(static_cast<eIbisParam>(tag), args[1 + corner].d, pin, corner);
  return 0;
}

}  // namespace

// In chunks: a compiled file of a large component runs to megabytes, and a read per character
// through the stream's sentry would cost more than the parsing.
bool CIbisCompPrs::Refill() {
  if (!m_stream) return false;
  chunk_.resize(kChunk);
  m_stream->read(chunk_.data(), static_cast<std::streamsize>(chunk_.size()));
  chunk_.resize(static_cast<size_t>(m_stream->gcount()));
  next_ = 0;
  return !chunk_.empty();
}

int CIbisCompPrs::ut_getc() {
  if (next_ == chunk_.size() && !Refill()) return -1;
  return static_cast<unsigned char>(chunk_[next_++]);
}

int CIbisCompPrs::ParseStream(std::ifstream& s) {
  if (!ends_with_line_feed(s)) {
    (void)Refuse(0, "", "no line feed at the end");
    return 0;
  }
  m_stream = &s;
  m_end = 0;
  chunk_.clear();
  next_ = 0;
  ut_parse_clear_buffer();
  pin_ = -1;
  if (ut_parse(g_compiled_table, 1) != 0) return 0;
  // Past the first Model the model blocks go on from where the stop left the stream.
  if (!models_.empty() && !CheckModelBlocks(line_offset_ + 1)) return 0;
  return HoldsWhatItDeclares() ? 1 : 0;
}

// The rest of the stream, line by line as the chunks come.
bool CIbisCompPrs::CheckModelBlocks(int line) {
  bool in_table = false;
  std::string partial;  // a line that runs over the end of a chunk
  while (next_ < chunk_.size() || Refill()) {
    const std::string_view data(chunk_.data() + next_, chunk_.size() - next_);
    const size_t end = data.find('\n');
    if (end == std::string_view::npos) {
      partial.append(data);
      next_ = chunk_.size();
      continue;
    }
    next_ += end + 1;
    std::string_view record = data.substr(0, end);
    if (!partial.empty()) record = partial.append(record);
    if (!CheckModelLine(record, line++, &in_table)) return false;
    partial.clear();
  }
  return partial.empty() || CheckModelLine(partial, line, &in_table);
}

// The model blocks are checked line by line against the model table, not tokenised: those of a
// large component run to megabytes of table rows, which need counting, not converting. A row
// is two numbers; a record is its keyword and what its template asks (a quoted text, a number,
// nothing), and "dv_r 2 dt_r 1e-09" is two records on one line.
bool CIbisCompPrs::CheckModelLine(std::string_view record, int line, bool* in_table) {
  size_t pos = 0;
  std::string_view word = next_token(record, &pos);
  if (starts_number(word)) {
    const bool row = *in_table && starts_number(next_token(record, &pos));
    return (row && next_token(record, &pos).empty()) || Refuse(line, "row", std::string(record));
  }
  for (; !word.empty() && word[0] != '|'; word = next_token(record, &pos)) {
    const std::string keyword(word);
    const key_lookup* row = parse_lookup(g_model_table, keyword.c_str());
    if (!row) return Refuse(line, keyword.c_str(), "unknown");
    std::optional<std::string> name;
    const std::string_view tmpl = row->tmpl;
    if (tmpl == "t") name = next_text(record, &pos);
    const bool complete = tmpl == "t"   ? name.has_value()
                          : tmpl == "f" ? starts_number(next_token(record, &pos))
                                        : true;
    *in_table = row->action == kCopyTable;
    if (!complete || ModelRecord(row->action, name ? name->c_str() : row->keyword, row->tag) != 0)
      return Refuse(line, row->keyword, std::string(record));
  }
  return true;
}

// The model pass counts its lines from the first Model's.
void CIbisCompPrs::Error(int line, int expected, int got, char* keyword, char* token) {
  if (target_->owner_) target_->owner_->Error(line + line_offset_, expected, got, keyword, token);
}

// What the file lacks as a whole is told with line 0, the end of the file.
bool CIbisCompPrs::Refuse(int line, const char* keyword, const std::string& token) {
  std::string word(keyword);
  std::string text(token);
  if (target_->owner_)
    target_->owner_->Error(line, kTokWord, kErrActionFailed, word.data(), text.data());
  return false;
}

int CIbisCompPrs::StartModel(const char* name) {
  if (!models_.empty() && !models_.back().copies[kTypCopy]) return kFailed;  // the one before
  models_.push_back(ModelBlock{name, false, {}});
  copy_ = -1;
  return 0;
}

// A model block reads Model, Type, then its copies in the order min, max, typ, each a run of
// values and tables.
int CIbisCompPrs::ModelRecord(int action, const char* keyword, int tag) {
  if (action == kModel) return StartModel(keyword);
  if (models_.empty()) return kFailed;
  ModelBlock& model = models_.back();
  if (action == kType) {
    if (model.typed || copy_ >= 0) return kFailed;
    model.typed = true;
    return 0;
  }
  if (!model.typed) return kFailed;
  if (action == kCopy) {
    if (tag <= copy_) return kFailed;
    copy_ = tag;
    model.copies[static_cast<size_t>(tag)].emplace();
    return 0;
  }
  if (copy_ < 0) return kFailed;
  std::string& records = *model.copies[static_cast<size_t>(copy_)];
  records += keyword;
  records += ' ';
  return 0;
}

bool CIbisCompPrs::HoldsWhatItDeclares() {
  if (!revision_seen_) return Refuse(0, "File_Rev", "missing");
  if (!component_seen_) return Refuse(0, "Component", "missing");
  if (declared_pins_ < 0) return Refuse(0, "Num_Pins", "missing");
  if (pin_ + 1 != declared_pins_) return Refuse(0, "Num_Pins", std::to_string(pin_ + 1) + " pins");
  for (const ModelBlock& model : models_) {
    const std::optional<std::string>& typ = model.copies[kTypCopy];
    if (!typ) return Refuse(0, "Typ_Model", model.name);
    // A corner's copy carries the same records as the typ copy, only other values.
    for (int corner = 0; corner < kTypCopy; ++corner) {
      const std::optional<std::string>& copy = model.copies[static_cast<size_t>(corner)];
      if (copy && *copy != *typ) return Refuse(0, kCopyNames[corner], model.name);
    }
  }
  // A pin with a model type has its model in the file; type 1 (no type) may name a supply.
  std::unordered_set<std::string_view> names;
  for (const ModelBlock& model : models_) names.insert(model.name);
  for (int pin = 0; pin < target_->GetPinCount(); ++pin) {
    int type = MT_NO_TYPE;
    const char* name = "";
    (void)target_->GetModelParam(eIbisModelType, &type, pin);
    (void)target_->GetModelParam(eIbisModelName, &name, pin);
    if (type > MT_NO_TYPE && names.count(name) == 0) return Refuse(0, "Model", name);
  }
  return true;
}

// A record of a pin that comes before the first Pin is dropped by the setters' range check, as
// is a value of the wrong kind; pins past the count are stored nowhere and refuse the file.
int CIbisCompPrs::switch_func(int action, arg_val* args, int tag, int line, int count) {
  const eIbisParam id = static_cast<eIbisParam>(tag);
  switch (action) {
    case kRevision:
      if (args[1].i < 3 || (args[1].i == 3 && args[2].i < 0)) {
        target_->SetStatus(eIbisUnreadable);
        return kFailed;
      }
      revision_seen_ = true;
      return 0;
    case kComponent:
      component_seen_ = true;
      return 0;
    case kComponentTriple:
      return store_triple(target_, tag, args, 0);
    case kPin:
      ++pin_;
      series_count_ = 0;
      target_->SetModelParam(eIbisPinName, args[1].s, pin_);
      target_->SetModelParam(eIbisSignalName, args[2].s, pin_);
      target_->SetModelParam(eIbisModelName, args[3].s, pin_);
      target_->SetModelParam(eIbisDiffFlag, args[4].i, pin_);
      target_->SetModelParam(eIbisModelType, args[5].i, pin_);
      return 0;
    case kPinCount:
      // A count the file cannot hold is a damaged file, not a reason to allocate.
      if (static_cast<uintmax_t>(args[1].i) > file_size_ / kShortestPinRecord) return kFailed;
      target_->AddPinDesc(args[1].i);
      declared_pins_ = args[1].i;
      pin_ = -1;
      return 0;
    case kPinList:
      for (int i = 1; i < count; ++i) target_->SetModelParam(id, args[i].s, pin_);
      return 0;
    case kPinValue:
    case kPinTypValue:
      target_->SetModelParam(id, args[1].d, pin_, eTyp);
      return 0;
    case kPinTriple:
      return store_triple(target_, tag, args, pin_);
    case kPinInteger:
      target_->SetModelParam(id, args[1].i, pin_);
      return 0;
    case kPinText:
      target_->SetModelParam(id, args[1].s, pin_);
      return 0;
    case kSeriesPartner:
      ++series_count_;
      target_->SetModelParam(eIbisSeriesPartners, args[1].s, pin_);
      if (series_count_ == 1) target_->SetModelParam(eIbisSeriesModel, args[2].s, pin_);
      return 0;
    case kSeriesTriple:
      // Only the first partner's values: a pin has one set of series slots.
      return series_count_ == 1 ? store_triple(target_, tag, args, pin_) : 0;
    case kStop:
      ut_parse_stop();
      line_offset_ = line - 1;
      return StartModel(args[1].s);
    default:
      return CNavigPrs::switch_func(action, args, tag, 0, count);
  }
}

int CIbisCompPrs::ListModel(std::ifstream& s, std::ostream& out, const char* model,
                            eTypMinMax corner, bool outline) {
  m_stream = &s;
  m_end = 0;
  chunk_.clear();
  next_ = 0;
  ut_parse_clear_buffer();
  const char* const model_word[] = {"Model"};
  std::string type;
  for (;;) {
    if (ut_parse_skip2keywds(1, model_word) < 0) return 0;
    ut_parse_clear_buffer();
    char name[kMaxToken + 1];
    if (ut_parse_get_next(name) == kTokText && ut_stricmp(name, model) == 0) break;
  }
  ut_parse_clear_buffer();
  char token[kMaxToken + 1];
  if (ut_parse_get_next(token) == kTokWord && ut_stricmp(token, "Type") == 0) {
    ut_parse_clear_buffer();
    if (ut_parse_get_next(token) == kTokText) type = token;
  }
  // The copies come min, max, typ: meeting Typ_Model first means the corner has no copy.
  const char* wanted = corner == eMin ? "Min_Model" : corner == eMax ? "Max_Model" : "Typ_Model";
  const char* const copies[] = {wanted, "Typ_Model", "Model"};
  if (ut_parse_skip2keywds(3, copies) < 0 || ut_stricmp(m_pushText.data(), "Model") == 0) return 0;
  ut_parse_clear_buffer();
  if (outline) {
    out << "Model ";
    QuoteText(out, model);
    out << "\nType ";
    QuoteText(out, type.c_str());
    out << '\n';
  }
  const char* const ends[] = {"Model", "Typ_Model", "Min_Model", "Max_Model"};
  ut_parse_copy2keywds(out, 4, ends);
  out << '\n';
  return 1;
}
