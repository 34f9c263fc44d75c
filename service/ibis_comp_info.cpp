#include "tarn/ibis_comp_info.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <new>
#include <string_view>
#include <system_error>

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

CIbisCompInfo::CIbisCompInfo(CIbisCompMdls* owner) : owner_(owner) {}
CIbisCompInfo::CIbisCompInfo(const CIbisCompInfo&) = default;
CIbisCompInfo& CIbisCompInfo::operator=(const CIbisCompInfo&) = default;
CIbisCompInfo::~CIbisCompInfo() = default;

void CIbisCompInfo::AddPinDesc(int count) {
  pins_.clear();
  try {
    if (count > 0) pins_.resize(static_cast<size_t>(count));
  } catch (const std::bad_alloc&) {
    pins_.clear();  // nothing is thrown to the caller: no pins
  }
}

int CIbisCompInfo::SetModelParam(eIbisParam id, const char* value, int pin) {
  const Slot slot = slot_of(id);
  if (!value || id > eIbisSeriesModel) return 0;
  if (slot.kind == Kind::CompText) {
    text_[slot.index] = value;
    return 1;
  }
  if (!is_pin_kind(slot.kind) || pin < 0 || pin >= GetPinCount()) return 0;
  PinDesc& desc = pins_[static_cast<size_t>(pin)];
  if (slot.kind == Kind::PinText)
    desc.text[slot.index] = value;
  else if (slot.kind == Kind::PinList)
    desc.list[slot.index].emplace_back(value);
  else
    return 0;
  return 1;
}

int CIbisCompInfo::SetModelParam(eIbisParam id, int value, int pin) {
  const Slot slot = slot_of(id);
  if (id < eIbisCompInteger || id > eIbisDiffPolarity) return 0;
  if (slot.kind == Kind::CompInt) {
    integer_ = value;
    integer_set_ = true;
    return 1;
  }
  if (slot.kind != Kind::PinInt || pin < 0 || pin >= GetPinCount()) return 0;
  PinDesc& desc = pins_[static_cast<size_t>(pin)];
  const bool flag = id == eIbisDiffFlag || id == eIbisDiffPolarity;
  desc.integer[slot.index] = flag ? (value != 0 ? 1 : 0) : value;
  desc.integer_set[slot.index] = true;
  return 1;
}

int CIbisCompInfo::SetModelParam(eIbisParam id, double value, int pin, eTypMinMax corner) {
  const Slot slot = slot_of(id);
  if (!valid_corner(corner) || id < eIbisRPkg || id > eIbisVinhMinus) return 0;
  Triple* triple = nullptr;
  if (slot.kind == Kind::CompTriple) {
    triple = &package_[slot.index];
  } else if (slot.kind == Kind::PinTriple && pin >= 0 && pin < GetPinCount()) {
    triple = &pins_[static_cast<size_t>(pin)].triple[slot.index];
  }
  if (!triple) return 0;
  triple->value[corner] = value;
  triple->set[corner] = true;
  return 1;
}

int CIbisCompInfo::GetModelParam(eIbisParam id, const char** value, int pin) const {
  const Slot slot = slot_of(id);
  if (!value || id > eIbisSeriesModel) return 0;
  if (slot.kind == Kind::CompText) {
    *value = text_[slot.index].c_str();
    return 1;
  }
  if (pin < 0 || pin >= GetPinCount()) return 0;
  const PinDesc& desc = pins_[static_cast<size_t>(pin)];
  if (slot.kind == Kind::PinText) {
    *value = desc.text[slot.index].c_str();
    return 1;
  }
  if (slot.kind != Kind::PinList || desc.list[slot.index].empty()) return 0;
  desc.joined.clear();
  for (const std::string& item : desc.list[slot.index]) {
    if (!desc.joined.empty()) desc.joined += ' ';
    desc.joined += item;
  }
  *value = desc.joined.c_str();
  return 1;
}

int CIbisCompInfo::GetModelParam(eIbisParam id, int* value, int pin) const {
  const Slot slot = slot_of(id);
  if (!value || id < eIbisCompInteger || id > eIbisDiffPolarity) return 0;
  if (slot.kind == Kind::CompInt) {
    if (!integer_set_) return 0;
    *value = integer_;
    return 1;
  }
  if (slot.kind != Kind::PinInt || pin < 0 || pin >= GetPinCount()) return 0;
  const PinDesc& desc = pins_[static_cast<size_t>(pin)];
  if (!desc.integer_set[slot.index]) return 0;
  *value = desc.integer[slot.index];
  return 1;
}

int CIbisCompInfo::GetModelParam(eIbisParam id, double* value, int pin, eTypMinMax corner) const {
  const Slot slot = slot_of(id);
  if (!value || !valid_corner(corner) || id < eIbisRPkg || id > eIbisVinhMinus) return 0;
  const Triple* triple = nullptr;
  if (slot.kind == Kind::CompTriple) {
    triple = &package_[slot.index];
  } else if (slot.kind == Kind::PinTriple && pin >= 0 && pin < GetPinCount()) {
    triple = &pins_[static_cast<size_t>(pin)].triple[slot.index];
  }
  if (!triple || !triple->set[corner]) return 0;
  *value = triple->value[corner];
  return 1;
}

int CIbisCompInfo::GetModelParamCount(eIbisParam id, int pin) const {
  const Slot slot = slot_of(id);
  if (slot.kind != Kind::PinList || pin < 0 || pin >= GetPinCount()) return 0;
  return static_cast<int>(pins_[static_cast<size_t>(pin)].list[slot.index].size());
}

int CIbisCompInfo::GetModelParamItem(eIbisParam id, int pin, int index, const char** value) const {
  if (!value || index < 0 || index >= GetModelParamCount(id, pin)) return 0;
  *value =
      pins_[static_cast<size_t>(pin)].list[slot_of(id).index][static_cast<size_t>(index)].c_str();
  return 1;
}

int CIbisCompInfo::FindIndex4Pin(const char* value, eIbisParam id) const {
  const Slot slot = slot_of(id);
  if (!value) return -1;
  for (size_t i = 0; i < pins_.size(); ++i) {
    const PinDesc& desc = pins_[i];
    if (slot.kind == Kind::PinText && desc.text[slot.index] == value) return static_cast<int>(i);
    if (slot.kind == Kind::PinList) {
      for (const std::string& item : desc.list[slot.index])
        if (item == value) return static_cast<int>(i);
    }
  }
  return -1;
}

int CIbisCompInfo::FindIndex4Pin(int value, eIbisParam id) const {
  const Slot slot = slot_of(id);
  if (slot.kind != Kind::PinInt) return -1;
  for (size_t i = 0; i < pins_.size(); ++i) {
    const PinDesc& desc = pins_[i];
    if (desc.integer_set[slot.index] && desc.integer[slot.index] == value)
      return static_cast<int>(i);
  }
  return -1;
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

bool CIbisCompInfo::ReadCompiled() {
  std::ifstream in(text_[eIbisCompiledFile], std::ios::binary);
  if (!in) return false;
  pins_.clear();
  std::error_code ec;
  const uintmax_t size = std::filesystem::file_size(text_[eIbisCompiledFile], ec);
  CIbisCompPrs parser(this, ec ? 0 : size);
  return parser.ParseStream(in) == 1;
}

int CIbisCompInfo::ListModel(std::ostream& out, const char* model, eTypMinMax corner,
                             bool outline) const {
  if (!IsStatusOk() || !model) return 0;
  std::ifstream in(text_[eIbisCompiledFile], std::ios::binary);
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
// a source is known and a log can be opened) and reads the new file.
eRdIbisResult CIbisCompInfo::PopulateInfo(ePopInfOpt option) {
  if (option == kSkipCompiled || !owner_) return ParseIbisPinInfo();
  const std::string directory = owner_->GetCbxDirectory();
  const char* recorded = owner_->FindCompiledForIbisModel(Name());
  std::string file_name = recorded ? recorded : "";
  if (recorded) text_[eIbisCompiledFile] = tarn::lib_join(directory, file_name);
  const std::optional<std::time_t> source_time = tarn::lib_mtime(SourceFile());
  const std::optional<std::time_t> compiled_time =
      recorded ? tarn::lib_mtime(text_[eIbisCompiledFile]) : std::nullopt;

  if (compiled_time && status_ != eIbisOutOfDate) {
    bool current = !source_time || *source_time <= *compiled_time;
    if (!current && !owner_->GetReCompileState(Name())) {
      // Kept by the caller's choice: the source's time stands as the compile date, so the
      // question comes again only when the source changes once more.
      const bool read = ReadCompiled();
      compile_date_ = *source_time;
      status_ = read ? eIbisOutOfDateKept : eIbisUnreadable;
      return eRdIbisNone;
    }
    if (current) {
      if (ReadCompiled()) {
        compile_date_ = *compiled_time;
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
  std::FILE* log = owner_->GetLogFD();
  if (!log) return eRdIbisFailed;
  if (file_name.empty()) {
    const char* next = owner_->GetNextCompiledName();
    if (next) file_name = next;
  }
  eRdIbisResult result = eRdIbisFailed;
  if (!file_name.empty()) {
    text_[eIbisCompiledFile] = tarn::lib_join(directory, file_name);
    result = owner_->RunRdIbis(SourceFile(), Name(), text_[eIbisCompiledFile].c_str(), log);
  }
  if (result != eRdIbisFailed) {
    owner_->AddCompiledItem(Name(), file_name.c_str());
    compile_date_ = std::time(nullptr);
    status_ = eIbisOutOfDate;
  } else {
    status_ = eIbisSourceErrors;
    text_[eIbisCompiledFile].clear();
  }
  owner_->DisplayCompileStatus(result);
  owner_->ReleaseLogFD();
  if (status_ == eIbisOutOfDate) status_ = ReadCompiled() ? eIbisCurrent : eIbisUnreadable;
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
    AddPinDesc(static_cast<int>(pins->pins.size()));
    for (size_t i = 0; i < pins->pins.size(); ++i) {
      const tarn::Pin& pin = pins->pins[i];
      const int index = static_cast<int>(i);
      std::string_view text;
      if (tarn::PIN_GetName(&pin, &text))
        SetModelParam(eIbisPinName, std::string(text).c_str(), index);
      if (tarn::PIN_GetModel(&pin, &text)) {
        SetModelParam(eIbisModelName, std::string(text).c_str(), index);
        const tarn::IbisModel* model = tarn::find_model(document.get(), text);
        SetModelParam(eIbisModelType, tarn::mdl_type_code(model), index);
      }
      if (tarn::PIN_GetSignal(&pin, &text))
        SetModelParam(eIbisSignalName, std::string(text).c_str(), index);
    }
  }
  status_ = ok ? eIbisSourceOnly : eIbisSourceErrors;
  return ok ? eRdIbisSuccess : eRdIbisFailed;
}
