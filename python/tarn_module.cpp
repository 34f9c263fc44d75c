// The `tarn` Python module: the reader and checker, the document with its tables as numpy
// arrays, and the model library. The GIL is released while the library reads or compiles.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "tarn/document.h"
#include "tarn/ibis_comp_info.h"
#include "tarn/ibis_comp_mdls.h"

namespace py = pybind11;

namespace {

using Owner = std::shared_ptr<const tarn::ReadResult>;

std::optional<std::string> text_or_none(std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  return std::string(*text);
}

double number_or_nan(const tarn::Value& value) {
  return value.has_value() ? value.value : std::numeric_limits<double>::quiet_NaN();
}

// Rows as x, typ, min, max; NA and absent entries are NaN.
py::array_t<double> rows_array(const tarn::RowRange& rows) {
  py::array_t<double> array({static_cast<py::ssize_t>(rows.size()), py::ssize_t{4}});
  auto cells = array.mutable_unchecked<2>();
  py::ssize_t i = 0;
  for (const tarn::TableRow& row : rows) {
    cells(i, 0) = number_or_nan(row.x);
    cells(i, 1) = number_or_nan(row.typ);
    cells(i, 2) = number_or_nan(row.min);
    cells(i, 3) = number_or_nan(row.max);
    ++i;
  }
  return array;
}

py::object table_or_none(const std::optional<tarn::ViTableView>& table) {
  if (!table) return py::none();
  return rows_array(table->rows());
}

py::object corners_or_none(const std::optional<tarn::TypMinMax>& values) {
  if (!values) return py::none();
  auto corner = [](const tarn::Value& v) -> py::object {
    return v.has_value() ? py::object(py::float_(v.value)) : py::object(py::none());
  };
  return py::make_tuple(corner(values->typ), corner(values->min), corner(values->max));
}

// Python code compares severities as lower-case words, the program bug as "bug".
std::string severity_word(tarn::Severity severity) {
  switch (severity) {
    case tarn::Severity::Error:
      return "error";
    case tarn::Severity::Warning:
      return "warning";
    case tarn::Severity::ProgramBug:
      return "bug";
  }
  return "";
}

struct Pin {
  std::string name;
  std::string signal;
  std::string model;
};

struct Waveform {
  py::array_t<double> table;
  std::optional<double> r_fixture;
  std::optional<double> v_fixture;
};

struct Model {
  Owner owner;  // keeps the reading the view points into
  tarn::ModelView view;
};

struct Component {
  Owner owner;
  tarn::ComponentView view;
};

struct Document {
  Owner owner;
  tarn::DocumentView view;
};

std::vector<Waveform> waveforms(const tarn::List<tarn::WaveformView>& list) {
  std::vector<Waveform> result;
  for (const tarn::WaveformView& w : list)
    result.push_back({rows_array(w.rows()), w.r_fixture(), w.v_fixture()});
  return result;
}

py::dict models_of(const Document& doc) {
  py::dict models;
  // A name defined twice maps to the model the reader uses, the last, as find_model does: the
  // later definition replaces the earlier one in its place.
  for (const tarn::ModelView& m : doc.view.models())
    models[py::str(std::string(m.name()))] = py::cast(Model{doc.owner, m});
  return models;
}

py::dict selectors_of(const Document& doc) {
  py::dict selectors;
  for (const tarn::ModelSelectorInfo& s : doc.view.model_selectors()) {
    py::list choices;
    for (const tarn::SelectorChoiceInfo& c : s.models)
      choices.append(py::make_tuple(std::string(c.model), std::string(c.description)));
    const py::str name{std::string(s.name)};
    if (!selectors.contains(name)) selectors[name] = choices;  // the first one counts
  }
  return selectors;
}

// Read options are keyword-only arguments of read() and read_text(); new ones join here.
tarn::ReadOptions read_options(bool accept_newer) {
  tarn::ReadOptions options;
  options.keep_report_text = true;
  options.accept_newer = accept_newer;
  return options;
}

std::shared_ptr<tarn::ReadResult> keep(tarn::ReadResult result) {
  return std::make_shared<tarn::ReadResult>(std::move(result));
}

std::shared_ptr<tarn::ReadResult> read_path(const std::string& path, bool accept_newer) {
  // The reader reports an unopenable file as a finding; Python callers expect an exception.
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    errno = std::filesystem::exists(path, error) ? EISDIR : ENOENT;
    PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
    throw py::error_already_set();
  }
  if (std::FILE* probe = std::fopen(path.c_str(), "rb")) {
    std::fclose(probe);
  } else {
    PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
    throw py::error_already_set();
  }
  py::gil_scoped_release release;
  return keep(tarn::read_file(path, read_options(accept_newer)));
}

std::shared_ptr<tarn::ReadResult> read_string(const std::string& text, const std::string& name,
                                              bool accept_newer) {
  py::gil_scoped_release release;
  return keep(tarn::read_text(text, name, read_options(accept_newer)));
}

// The tool's library manager: source indexes from the caller, no message boxes.
class LibraryManager : public CIbisCompMdls {
 public:
  using CIbisCompMdls::AddSrcIndex;
  void MessageBox(const char*, eMessageIcon) override {}
};

struct ComponentInfo {
  std::string name;
  std::string source;
  std::string compiled_file;
  int status = 0;
  std::string status_text;
  bool usable = false;
  std::string compiled;  // "now", "failed" or "no"
  std::string log_path;
  std::vector<Pin> pins;
};

std::string param_text(const CIbisCompInfo& info, eIbisParam id, int pin) {
  const char* text = nullptr;
  return info.GetModelParam(id, &text, pin) && text ? text : "";
}

class Library {
 public:
  Library(const std::string& cache, const std::vector<std::string>& indexes) {
    std::lock_guard lock(mutex_);
    if (!manager_.Init(cache.c_str())) {
      errno = ENOENT;
      PyErr_SetFromErrnoWithFilename(PyExc_OSError, cache.c_str());
      throw py::error_already_set();
    }
    for (const std::string& index : indexes)
      (void)manager_.AddSrcIndex(index.c_str(), index.c_str());
    manager_.SetSearchPaths(1);
  }
  ~Library() { close(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  void close() {
    std::lock_guard lock(mutex_);
    if (!open_) return;
    manager_.Fini(1);
    open_ = false;
  }

  ComponentInfo component(const std::string& name) {
    std::optional<ComponentInfo> out;
    {
      py::gil_scoped_release release;
      std::lock_guard lock(mutex_);
      if (open_) out = find(name);
    }
    // As with a closed Python file: using a closed library is the caller's mistake.
    if (!out) throw py::value_error("the library is closed");
    return std::move(*out);
  }

 private:
  ComponentInfo find(const std::string& name) {
    ComponentInfo out;
    out.name = name;
    eRdIbisResult result = eRdIbisNone;
    const CIbisCompInfo* info = manager_.GetIbisCompInfo(name.c_str(), &result, 0);
    out.log_path = manager_.GetCompileLogPath();
    out.compiled = result == eRdIbisFailed ? "failed" : result == eRdIbisNone ? "no" : "now";
    if (!info) return out;
    out.source = info->SourceFile();
    out.compiled_file = param_text(*info, eIbisCompiledFile, 0);
    out.status = static_cast<int>(info->GetStatus());
    out.status_text = CIbisCompInfo::GetIbisStatusLine(info->GetStatus());
    out.usable = info->IsStatusOk();
    if (!out.usable) return out;
    for (int pin = 0; pin < info->GetPinCount(); ++pin)
      out.pins.push_back({param_text(*info, eIbisPinName, pin),
                          param_text(*info, eIbisSignalName, pin),
                          param_text(*info, eIbisModelName, pin)});
    return out;
  }

  std::mutex mutex_;
  LibraryManager manager_;
  bool open_ = true;
};

void bind_document(py::module_& m) {
  py::class_<Pin>(m, "Pin", "A row of [Pin].")
      .def_readonly("name", &Pin::name)
      .def_readonly("signal", &Pin::signal)
      .def_readonly("model", &Pin::model)
      .def("__repr__", [](const Pin& p) { return "<tarn.Pin " + p.name + ">"; });

  py::class_<Waveform>(m, "Waveform", "[Rising Waveform] or [Falling Waveform].")
      .def_readonly("table", &Waveform::table, "(n, 4) float64: time, typ, min, max; NaN for NA.")
      .def_readonly("r_fixture", &Waveform::r_fixture)
      .def_readonly("v_fixture", &Waveform::v_fixture);

  py::class_<Model>(m, "Model", "One [Model].")
      .def_property_readonly("name", [](const Model& x) { return std::string(x.view.name()); })
      .def_property_readonly(
          "type", [](const Model& x) { return std::string(x.view.type_text()); },
          "Model_type as the file spells it; empty when not given.")
      .def_property_readonly(
          "pullup", [](const Model& x) { return table_or_none(x.view.pullup()); },
          "(n, 4) float64: voltage, typ, min, max; NaN for NA; None without one.")
      .def_property_readonly("pulldown",
                             [](const Model& x) { return table_or_none(x.view.pulldown()); })
      .def_property_readonly("gnd_clamp",
                             [](const Model& x) { return table_or_none(x.view.gnd_clamp()); })
      .def_property_readonly("power_clamp",
                             [](const Model& x) { return table_or_none(x.view.power_clamp()); })
      .def_property_readonly("rising_waveforms",
                             [](const Model& x) { return waveforms(x.view.rising_waveforms()); })
      .def_property_readonly("falling_waveforms",
                             [](const Model& x) { return waveforms(x.view.falling_waveforms()); })
      .def_property_readonly(
          "c_comp", [](const Model& x) { return corners_or_none(x.view.c_comp()); },
          "(typ, min, max), None for a corner without a number.")
      .def("__repr__",
           [](const Model& x) { return "<tarn.Model " + std::string(x.view.name()) + ">"; });

  py::class_<Component>(m, "Component", "One [Component].")
      .def_property_readonly("name", [](const Component& c) { return std::string(c.view.name()); })
      .def_property_readonly("manufacturer",
                             [](const Component& c) { return text_or_none(c.view.manufacturer()); })
      .def_property_readonly("pins", [](const Component& c) {
        std::vector<Pin> pins;
        for (const tarn::PinInfo& p : c.view.pins())
          pins.push_back({std::string(p.name), std::string(p.signal), std::string(p.model)});
        return pins;
      });

  py::class_<Document>(m, "Document", "The records of one reading, in file order.")
      .def_property_readonly(
          "ibis_version",
          [](const Document& d) { return text_or_none(d.view.header().ibis_version); })
      .def_property_readonly(
          "file_name", [](const Document& d) { return text_or_none(d.view.header().file_name); })
      .def_property_readonly("components",
                             [](const Document& d) {
                               std::vector<Component> list;
                               for (const tarn::ComponentView& c : d.view.components())
                                 list.push_back({d.owner, c});
                               return list;
                             })
      .def_property_readonly("models", &models_of, "Mapping of model name to Model.")
      .def_property_readonly("selectors", &selectors_of,
                             "Mapping of [Model Selector] name to [(model, description)].");
}

void bind_reading(py::module_& m) {
  py::class_<tarn::Finding>(m, "Finding", "One line of the report.")
      .def_property_readonly(
          "severity", [](const tarn::Finding& f) { return severity_word(f.severity); },
          "\"error\", \"warning\" or \"bug\".")
      .def_property_readonly("line", [](const tarn::Finding& f) { return f.line; })
      .def_readonly("message", &tarn::Finding::message)
      .def_readonly("file", &tarn::Finding::file)
      .def("__repr__", [](const tarn::Finding& f) {
        return "<tarn.Finding " + severity_word(f.severity) + ": " + f.message + ">";
      });

  py::class_<tarn::ReadResult, std::shared_ptr<tarn::ReadResult>>(m, "Result",
                                                                  "What a reading gave.")
      .def_property_readonly("passed", &tarn::ReadResult::passed)
      .def_property_readonly("errors", [](const tarn::ReadResult& r) { return r.counts().errors; })
      .def_property_readonly("warnings",
                             [](const tarn::ReadResult& r) { return r.counts().warnings; })
      .def_property_readonly("findings",
                             [](const tarn::ReadResult& r) {
                               return std::vector<tarn::Finding>(r.findings().begin(),
                                                                 r.findings().end());
                             })
      .def_property_readonly(
          "report", [](const tarn::ReadResult& r) { return std::string(r.report_text()); },
          "The text report, as `tarn check` prints it.")
      .def_property_readonly(
          "document",
          [](const std::shared_ptr<tarn::ReadResult>& r) -> py::object {
            if (!r->read()) return py::none();
            return py::cast(Document{r, r->document()});
          },
          "None when the source could not be read at all.");

  m.def("read", &read_path, py::arg("path"), py::kw_only(), py::arg("accept_newer") = false,
        "Read and check an .ibs, .pkg or .ebd file. Raises OSError (FileNotFoundError) when the "
        "path cannot be opened; problems in the content are findings. accept_newer=True reads IBIS "
        "4.0 to 7.2, with a warning for each newer keyword.");
  m.def("read_text", &read_string, py::arg("text"), py::arg("name"), py::kw_only(),
        py::arg("accept_newer") = false,
        "Read and check `text` as the source `name` (its extension tells the kind).");
}

void bind_library(py::module_& m) {
  py::class_<ComponentInfo>(m, "ComponentInfo",
                            "A component of the library, as `tarn lib` shows it.")
      .def_readonly("name", &ComponentInfo::name)
      .def_readonly("source", &ComponentInfo::source)
      .def_readonly("compiled_file", &ComponentInfo::compiled_file)
      .def_readonly("status", &ComponentInfo::status)
      .def_readonly("status_text", &ComponentInfo::status_text)
      .def_readonly("usable", &ComponentInfo::usable)
      .def_readonly("compiled", &ComponentInfo::compiled, "\"now\", \"failed\" or \"no\".")
      .def_readonly("log_path", &ComponentInfo::log_path)
      .def_readonly("pins", &ComponentInfo::pins);

  py::class_<Library>(m, "Library", "Compiled components kept in a cache folder.")
      .def(py::init<const std::string&, const std::vector<std::string>&>(), py::arg("cache_dir"),
           py::arg("indexes") = std::vector<std::string>{})
      .def("component", &Library::component, py::arg("name"),
           "The component's information, compiled from its source when needed.")
      .def("close", &Library::close, "Save the library's state; later calls raise ValueError.")
      .def(
          "__enter__", [](Library& l) -> Library& { return l; }, py::return_value_policy::reference)
      .def("__exit__", [](Library& l, py::args) { l.close(); });
}

}  // namespace

PYBIND11_MODULE(tarn, m) {
  m.doc() = "Read and check IBIS model files (.ibs, .pkg, .ebd).";
  bind_document(m);
  bind_reading(m);
  bind_library(m);
}
