#include "tarn/ibis_comp_info.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>
#include <unordered_map>

#include "libibis/src/cmn.h"
#include "libibis/src/cmpnt.h"
#include "libibis/src/guard.h"
#include "libibis/src/ibis.h"
#include "libibis/src/mdl.h"
#include "libibis/src/mdl_plus.h"
#include "service/ibis_comp_prs.h"
#include "service/lib_files.h"
#include "tarn/ibis_comp_mdls.h"
#include "tarn/reader.h"

namespace {

// Where each parameter id lives: its kind and its slot among the values of that kind.
enum class Kind : uint8_t {
  None,
  CompText,
  CompInt,
  CompTriple,
  PinText,
  PinList,
  PinInt,
  PinTriple
};
struct Slot {
  Kind kind = Kind::None;
  uint8_t index = 0;
};
constexpr int kParams = eIbisOverTimeD + 1;

constexpr std::array<Slot, kParams> make_slots() {
  std::array<Slot, kParams> slots{};
  for (int id : {eIbisCompName, eIbisSourceFile, eIbisCompiledFile, eIbisCompText})
    slots[id] = {Kind::CompText, static_cast<uint8_t>(id)};
  slots[eIbisCompInteger] = {Kind::CompInt, 0};
  for (int id = eIbisRPkg; id <= eIbisCPkg; ++id)
    slots[id] = {Kind::CompTriple, static_cast<uint8_t>(id - eIbisRPkg)};
  uint8_t text = 0;
  for (int id : {eIbisPinName, eIbisSignalName, eIbisModelName, eIbisDiffPartner, eIbisSeriesModel})
    slots[id] = {Kind::PinText, text++};
  uint8_t list = 0;
  for (int id : {eIbisPullUpPins, eIbisPullDownPins, eIbisPowerClampPins, eIbisGndClampPins,
                 eIbisSeriesPartners})
    slots[id] = {Kind::PinList, list++};
  uint8_t integer = 0;
  for (int id : {eIbisDiffFlag, eIbisModelType, eIbisDiffPolarity})
    slots[id] = {Kind::PinInt, integer++};
  uint8_t triple = 0;
  for (int id = eIbisRPin; id <= eIbisGndClampRef; ++id) slots[id] = {Kind::PinTriple, triple++};
  for (int id : {eIbisVdiff, eIbisTdelay}) slots[id] = {Kind::PinTriple, triple++};
  for (int id = eIbisSeriesR; id <= eIbisVinhMinus; ++id) slots[id] = {Kind::PinTriple, triple++};
  return slots;
}
constexpr std::array<Slot, kParams> kSlots = make_slots();

Slot slot_of(eIbisParam id) { return id >= 0 && id < kParams ? kSlots[id] : Slot{}; }

bool is_pin_kind(Kind kind) {
  return kind == Kind::PinText || kind == Kind::PinList || kind == Kind::PinInt ||
         kind == Kind::PinTriple;
}

bool valid_corner(eTypMinMax corner) { return corner >= eTyp && corner <= eMax; }

constexpr const char* kStatusTexts[] = {
    "IBIS source not found", "IBIS source not found", "IBIS source has syntax errors",
    "IBIS source not found", "IBIS source not found", "Using out of date Version of IBIS model",
};

constexpr const char* kModelTypeTexts[] = {
    "",
    "no type (pwr, gnd or NC)",
    "input",
    "output",
    "i/o",
    "tristate",
    "open_drain",
    "i/o_open_drain",
    "open_sink",
    "i/o_open_sink",
    "open_source",
    "i/o_open_source",
    "input_ecl",
    "output_ecl",
    "i/o_ecl",
    "terminator",
};

}  // namespace

CIbisCompInfo::CIbisCompInfo(CIbisCompMdls* owner)
    : owner_(owner), data_(std::make_unique<Data>()) {}

// A copy takes the current values only; what was kept aside for readers stays with the original.
CIbisCompInfo::CIbisCompInfo(const CIbisCompInfo& other) : CIbisCompInfo(other.owner_) {
  *this = other;
}

CIbisCompInfo& CIbisCompInfo::operator=(const CIbisCompInfo& other) {
  tarn::ApiGuard guard;
  if (this == &other) return *this;
  owner_ = other.owner_;
  auto copy = std::make_unique<Data>(*other.data_);
  copy->pins = std::make_shared<std::vector<PinDesc>>(*other.data_->pins);  // pins of its own
  copy->pin_index.reset();
  Publish(std::move(copy));
  compile_date_ = other.compile_date_;
  source_time_ = other.source_time_;
  status_ = other.status_;
  visited_ = other.visited_;
  label_ = other.label_;
  directory_ = other.directory_;
  return *this;
}

CIbisCompInfo::~CIbisCompInfo() = default;

const char* CIbisCompInfo::Name() const {
  tarn::ApiGuard guard;
  return data_->text[eIbisCompName].c_str();
}

const char* CIbisCompInfo::SourceFile() const {
  tarn::ApiGuard guard;
  return data_->text[eIbisSourceFile].c_str();
}

std::time_t CIbisCompInfo::CompileDate() const {
  tarn::ApiGuard guard;
  return compile_date_;
}

int CIbisCompInfo::GetPinCount() const {
  tarn::ApiGuard guard;
  return static_cast<int>(data_->pins->size());
}

eIbisStatus CIbisCompInfo::GetStatus() const {
  tarn::ApiGuard guard;
  return status_;
}

void CIbisCompInfo::SetStatus(eIbisStatus status) {
  tarn::ApiGuard guard;
  status_ = status;
}

bool CIbisCompInfo::IsStatusOk() const {
  tarn::ApiGuard guard;
  return status_ == eIbisOutOfDateKept || status_ == eIbisCurrent;
}

int CIbisCompInfo::IsVisited() const {
  tarn::ApiGuard guard;
  return visited_;
}

void CIbisCompInfo::SetVisited(int visited) {
  tarn::ApiGuard guard;
  visited_ = visited;
}

CIbisCompInfo::PinDesc* CIbisCompInfo::PinAt(int pin) const {
  std::vector<PinDesc>& pins = *data_->pins;
  return pin >= 0 && pin < static_cast<int>(pins.size()) ? &pins[static_cast<size_t>(pin)]
                                                         : nullptr;
}

void CIbisCompInfo::Publish(std::unique_ptr<Data> fresh) {
  retired_.push_back(std::move(data_));
  data_ = std::move(fresh);
}

// The pins are shared with the values set aside: only the texts are copied.
void CIbisCompInfo::SetText(eIbisParam id, const std::string& value) {
  if (data_->text[id] == value) return;
  auto fresh = std::make_unique<Data>(*data_);
  fresh->text[id] = value;
  Publish(std::move(fresh));
}

void CIbisCompInfo::AddPinDesc(int count) {
  tarn::ApiGuard guard;
  // New pins: the old ones may still be read through values kept aside.
  data_->pins = std::make_shared<std::vector<PinDesc>>();
  data_->pin_index.reset();
  try {
    if (count > 0) data_->pins->resize(static_cast<size_t>(count));
  } catch (const std::bad_alloc&) {
    data_->pins->clear();  // nothing is thrown to the caller: no pins
  }
}

int CIbisCompInfo::SetModelParam(eIbisParam id, const char* value, int pin) {
  tarn::ApiGuard guard;
  const Slot slot = slot_of(id);
  if (!value || id > eIbisSeriesModel) return 0;
  if (slot.kind == Kind::CompText) {
    data_->text[slot.index] = value;
    return 1;
  }
  PinDesc* desc = PinAt(pin);
  if (!is_pin_kind(slot.kind) || !desc) return 0;
  data_->pin_index.reset();
  if (slot.kind == Kind::PinText) {
    desc->text[slot.index] = value;
  } else if (slot.kind == Kind::PinList) {
    desc->list[slot.index].emplace_back(value);
    std::string& joined = desc->joined[slot.index];
    if (!joined.empty()) joined += ' ';
    joined += value;
  } else {
    return 0;
  }
  return 1;
}

int CIbisCompInfo::SetModelParam(eIbisParam id, int value, int pin) {
  tarn::ApiGuard guard;
  const Slot slot = slot_of(id);
  if (id < eIbisCompInteger || id > eIbisDiffPolarity) return 0;
  if (slot.kind == Kind::CompInt) {
    data_->integer = value;
    data_->integer_set = true;
    return 1;
  }
  PinDesc* desc = PinAt(pin);
  if (slot.kind != Kind::PinInt || !desc) return 0;
  data_->pin_index.reset();
  const bool flag = id == eIbisDiffFlag || id == eIbisDiffPolarity;
  desc->integer[slot.index] = flag ? (value != 0 ? 1 : 0) : value;
  desc->integer_set[slot.index] = true;
  return 1;
}

int CIbisCompInfo::SetModelParam(eIbisParam id, double value, int pin, eTypMinMax corner) {
  tarn::ApiGuard guard;
  const Slot slot = slot_of(id);
  if (!valid_corner(corner) || id < eIbisRPkg || id > eIbisVinhMinus) return 0;
  Triple* triple = nullptr;
  if (slot.kind == Kind::CompTriple) {
    triple = &data_->package[slot.index];
  } else if (PinDesc* desc = PinAt(pin); slot.kind == Kind::PinTriple && desc) {
    triple = &desc->triple[slot.index];
  }
  if (!triple) return 0;
  triple->value[corner] = value;
  triple->set[corner] = true;
  return 1;
}

int CIbisCompInfo::GetModelParam(eIbisParam id, const char** value, int pin) const {
  tarn::ApiGuard guard;
  const Slot slot = slot_of(id);
  if (!value || id > eIbisSeriesModel) return 0;
  if (slot.kind == Kind::CompText) {
    *value = data_->text[slot.index].c_str();
    return 1;
  }
  const PinDesc* desc = PinAt(pin);
  if (!desc) return 0;
  if (slot.kind == Kind::PinText) {
    *value = desc->text[slot.index].c_str();
    return 1;
  }
  if (slot.kind != Kind::PinList || desc->list[slot.index].empty()) return 0;
  *value = desc->joined[slot.index].c_str();
  return 1;
}

int CIbisCompInfo::GetModelParam(eIbisParam id, int* value, int pin) const {
  tarn::ApiGuard guard;
  const Slot slot = slot_of(id);
  if (!value || id < eIbisCompInteger || id > eIbisDiffPolarity) return 0;
  if (slot.kind == Kind::CompInt) {
    if (!data_->integer_set) return 0;
    *value = data_->integer;
    return 1;
  }
  const PinDesc* desc = PinAt(pin);
  if (slot.kind != Kind::PinInt || !desc || !desc->integer_set[slot.index]) return 0;
  *value = desc->integer[slot.index];
  return 1;
}

int CIbisCompInfo::GetModelParam(eIbisParam id, double* value, int pin, eTypMinMax corner) const {
  tarn::ApiGuard guard;
  const Slot slot = slot_of(id);
  if (!value || !valid_corner(corner) || id < eIbisRPkg || id > eIbisVinhMinus) return 0;
  const Triple* triple = nullptr;
  if (slot.kind == Kind::CompTriple) {
    triple = &data_->package[slot.index];
  } else if (const PinDesc* desc = PinAt(pin); slot.kind == Kind::PinTriple && desc) {
    triple = &desc->triple[slot.index];
  }
  if (!triple || !triple->set[corner]) return 0;
  *value = triple->value[corner];
  return 1;
}

int CIbisCompInfo::GetModelParamCount(eIbisParam id, int pin) const {
  tarn::ApiGuard guard;
  const Slot slot = slot_of(id);
  const PinDesc* desc = PinAt(pin);
  return slot.kind == Kind::PinList && desc ? static_cast<int>(desc->list[slot.index].size()) : 0;
}

int CIbisCompInfo::GetModelParamItem(eIbisParam id, int pin, int index, const char** value) const {
  tarn::ApiGuard guard;
  if (!value || index < 0 || index >= GetModelParamCount(id, pin)) return 0;
  *value = PinAt(pin)->list[slot_of(id).index][static_cast<size_t>(index)].c_str();
  return 1;
}

// Per searched slot, each value and the first pin holding it: a host that looks up every pin
// of a large part makes one pass over the pins, not one per look-up.
struct CIbisCompInfo::PinIndex {
  template <class Key>
  using FirstPins = std::optional<std::unordered_map<Key, int>>;
  std::array<FirstPins<std::string_view>, kPinTexts + kPinLists> texts;  // then list items
  std::array<FirstPins<int>, kPinInts> integers;

  static PinIndex& Of(Data& data) {
    if (!data.pin_index) data.pin_index = std::make_shared<PinIndex>();
    return *data.pin_index;
  }

  // Fills `first` on its first use with the values `add(pin, key)` hands to `key` for each pin,
  // in pin order so that a value held twice keeps its first pin. Short of memory, it scans.
  template <class Key, class Add>
  static int Find(FirstPins<Key>& first, const std::vector<PinDesc>& pins, Key value, Add add) {
    if (!first) {
      try {
        first.emplace();
        first->reserve(pins.size());
        for (size_t i = 0; i < pins.size(); ++i)
          add(pins[i], [&](Key key) { first->emplace(key, static_cast<int>(i)); });
      } catch (const std::bad_alloc&) {
        first.reset();
        for (size_t i = 0; i < pins.size(); ++i) {
          bool held = false;
          add(pins[i], [&](Key key) { held = held || key == value; });
          if (held) return static_cast<int>(i);
        }
        return -1;
      }
    }
    const auto found = first->find(value);
    return found == first->end() ? -1 : found->second;
  }
};

int CIbisCompInfo::FindIndex4Pin(const char* value, eIbisParam id) const {
  tarn::ApiGuard guard;
  const Slot slot = slot_of(id);
  if (!value || (slot.kind != Kind::PinText && slot.kind != Kind::PinList)) return -1;
  auto& first = PinIndex::Of(*data_).texts;
  const std::vector<PinDesc>& pins = *data_->pins;
  const std::string_view text(value);
  if (slot.kind == Kind::PinText) {
    return PinIndex::Find(first[slot.index], pins, text, [&](const PinDesc& pin, auto key) {
      key(pin.text[slot.index]);
    });
  }
  return PinIndex::Find(first[kPinTexts + slot.index], pins, text,
                        [&](const PinDesc& pin, auto key) {
                          for (const std::string& item : pin.list[slot.index]) key(item);
                        });
}

int CIbisCompInfo::FindIndex4Pin(int value, eIbisParam id) const {
  tarn::ApiGuard guard;
  const Slot slot = slot_of(id);
  if (slot.kind != Kind::PinInt) return -1;
  return PinIndex::Find(PinIndex::Of(*data_).integers[slot.index], *data_->pins, value,
                        [&](const PinDesc& pin, auto key) {
                          if (pin.integer_set[slot.index]) key(pin.integer[slot.index]);
                        });
}

const char* CIbisCompInfo::GetIbisStatusLine(eIbisStatus status) {
  switch (status) {
    case eIbisCurrent:
      return "compiled information current";
    case eIbisOutOfDateKept:
      return "compiled information out of date, kept";
    default:
      return GetIbisStatusText(status);
  }
}

// Callers only ask for 0 to 5; any other status reads as an empty text rather than past the table.
const char* CIbisCompInfo::GetIbisStatusText(eIbisStatus status) {
  constexpr int kTexts = static_cast<int>(std::size(kStatusTexts));
  return status >= 0 && status < kTexts ? kStatusTexts[status] : "";
}

const char* CIbisCompInfo::GetModelTypeText(int type) {
  constexpr int kTexts = static_cast<int>(std::size(kModelTypeTexts));
  return type > 0 && type < kTexts ? kModelTypeTexts[type] : "";
}

bool CIbisCompInfo::ReadCompiled(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::error_code ec;
  const uintmax_t size = std::filesystem::file_size(path, ec);
  // Read into fresh values: a refused file changes nothing, and readers of the current values
  // are not disturbed by the reading.
  CIbisCompInfo scratch(owner_);
  scratch.data_->text = data_->text;
  scratch.data_->text[eIbisCompiledFile] = path;
  CIbisCompPrs parser(&scratch, ec ? 0 : size);
  if (parser.ParseStream(in) != 1) return false;
  Publish(std::move(scratch.data_));
  return true;
}

void CIbisCompInfo::KeepOlderCompiled(const std::string& path, eIbisStatus failed) {
  const std::optional<int64_t> written = tarn::lib_mtime(path);
  if (written && ReadCompiled(path)) {
    compile_date_ = tarn::lib_seconds(*written);
    status_ = eIbisOutOfDateKept;
    return;
  }
  status_ = failed;
  SetText(eIbisCompiledFile, "");
}

int CIbisCompInfo::ListModel(std::ostream& out, const char* model, eTypMinMax corner,
                             bool outline) const {
  if (!(status_ == eIbisOutOfDateKept || status_ == eIbisCurrent) || !model) return 0;
  std::ifstream in(data_->text[eIbisCompiledFile], std::ios::binary);
  if (!in) return 0;
  CIbisCompInfo scratch(nullptr);
  CIbisCompPrs parser(&scratch, 0);
  return parser.ListModel(in, out, model, corner, outline);
}

int CIbisCompInfo::ListSimModel(std::ostream& out, const char* model, eTypMinMax corner) const {
  tarn::ApiGuard guard;
  return ListModel(out, model, corner, false);
}

int CIbisCompInfo::ListOutlineModel(std::ostream& out, const char* model, eTypMinMax corner) const {
  tarn::ApiGuard guard;
  return ListModel(out, model, corner, true);
}

// With a compiled file recorded and no newer source, reads it; otherwise compiles first (when
// a source is known and a log can be opened) and reads the new file. A compile that cannot run
// or cannot write its file leaves the older compiled file in use when there is one.
eRdIbisResult CIbisCompInfo::PopulateInfo(ePopInfOpt option) {
  if (option == kSkipCompiled || !owner_) return ParseIbisPinInfo();
  const std::string directory = owner_->GetCbxDirectory();
  const char* recorded = owner_->FindCompiledForIbisModel(Name());
  std::string file_name = recorded ? recorded : "";
  const std::string recorded_path = recorded ? tarn::lib_join(directory, file_name) : "";
  const std::optional<int64_t> source_time = tarn::lib_mtime(SourceFile());
  const std::optional<int64_t> compiled_time =
      recorded ? tarn::lib_mtime(recorded_path) : std::nullopt;

  if (compiled_time && status_ != eIbisOutOfDate) {
    // Strictly older only: a source stamped with the compiled file's own time may have been
    // edited after the compile read it (file systems stamp in ticks, some in whole seconds).
    const bool current = !source_time || *source_time < *compiled_time;
    if (!current && !owner_->GetReCompileState(Name())) {
      // Kept by the caller's choice: the source's time stands as the compile date, so the
      // question comes again only when the source changes once more.
      const bool read = ReadCompiled(recorded_path);
      compile_date_ = tarn::lib_seconds(*source_time);
      source_time_ = source_time;
      status_ = read ? eIbisOutOfDateKept : eIbisUnreadable;
      return eRdIbisNone;
    }
    if (current) {
      if (ReadCompiled(recorded_path)) {
        compile_date_ = tarn::lib_seconds(*compiled_time);
        source_time_ = source_time;
        status_ = eIbisCurrent;
        return eRdIbisNone;
      }
      status_ = eIbisUnreadable;
    }
  }
  if (!source_time) {
    // A refused compiled file says so; nothing at all is "not found".
    if (status_ != eIbisUnreadable) status_ = eIbisNotFound;
    return eRdIbisNone;
  }
  source_time_ = source_time;  // what a compile from here on reads
  std::FILE* log = owner_->GetLogFD();
  if (!log) {
    // Said through the message box; no compile runs without a log.
    KeepOlderCompiled(recorded_path, eIbisSourceErrors);
    return eRdIbisFailed;
  }
  if (file_name.empty()) {
    const char* next = owner_->GetNextCompiledName();
    if (next) file_name = next;
  }
  eRdIbisResult result = eRdIbisFailed;
  bool write_failed = file_name.empty();
  const std::string path = tarn::lib_join(directory, file_name);
  if (!file_name.empty())
    result = owner_->RunRdIbis(SourceFile(), Name(), path.c_str(), log, &write_failed);
  if (result != eRdIbisFailed) owner_->AddCompiledItem(Name(), file_name.c_str());
  owner_->DisplayCompileStatus(result);
  owner_->ReleaseLogFD();
  if (result == eRdIbisFailed) {
    // Errors in the source condemn any older compiled file too; a file that could not be
    // written does not.
    if (write_failed) {
      KeepOlderCompiled(recorded_path, eIbisSourceErrors);
    } else {
      status_ = eIbisSourceErrors;
      SetText(eIbisCompiledFile, "");
    }
    return result;
  }
  const std::optional<int64_t> written = tarn::lib_mtime(path);
  if (written && ReadCompiled(path)) {
    compile_date_ = tarn::lib_seconds(*written);
    status_ = eIbisCurrent;
  } else {
    status_ = eIbisUnreadable;
  }
  return result;
}

eRdIbisResult CIbisCompInfo::ParseIbisPinInfo() {
  tarn::ApiGuard guard;
  tarn::IbisDocument* raw = nullptr;
  bool ok = tarn::IBIS_ReadSourceToStream(SourceFile(), nullptr, &raw) == 1;
  std::unique_ptr<tarn::IbisDocument, void (*)(tarn::IbisDocument*)> document(
      raw, tarn::IBIS_DestroyDocument);
  const tarn::Component* component = nullptr;
  if (ok) {
    for (const auto& candidate : document->components) {
      std::string_view name;
      if (tarn::CMPNT_GetName(candidate.get(), &name) && tarn::CMN_EqualNoCase(name, Name())) {
        component = candidate.get();
        break;
      }
    }
  }
  const tarn::PinList* pins = nullptr;
  ok = component && tarn::CMPNT_GetPins(component, &pins);
  if (ok) {
    CIbisCompInfo scratch(nullptr);
    scratch.data_->text = data_->text;
    scratch.AddPinDesc(static_cast<int>(pins->pins.size()));
    const tarn::ModelIndex models(*document);
    for (size_t i = 0; i < pins->pins.size(); ++i) {
      const tarn::Pin& pin = pins->pins[i];
      const int index = static_cast<int>(i);
      std::string_view text;
      if (tarn::PIN_GetName(&pin, &text))
        scratch.SetModelParam(eIbisPinName, std::string(text).c_str(), index);
      if (tarn::PIN_GetModel(&pin, &text)) {
        scratch.SetModelParam(eIbisModelName, std::string(text).c_str(), index);
        const tarn::IbisModel* model = models.find(text);
        scratch.SetModelParam(eIbisModelType, tarn::mdl_type_code(model), index);
      }
      if (tarn::PIN_GetSignal(&pin, &text))
        scratch.SetModelParam(eIbisSignalName, std::string(text).c_str(), index);
    }
    Publish(std::move(scratch.data_));
  }
  status_ = ok ? eIbisSourceOnly : eIbisSourceErrors;
  return ok ? eRdIbisSuccess : eRdIbisFailed;
}
