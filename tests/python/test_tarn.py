"""The tarn module as a Python user meets it: files, text, the library and threads."""
import math
import os
import pathlib
import subprocess
import threading

import numpy as np
import pytest

import tarn

CORPUS = pathlib.Path(os.environ["TARN_TEST_DATA"]) / "corpus"
TOOL = os.environ["TARN_CLI"]

PART = """[IBIS Ver] 3.2
[File Name] part.ibs
[Component] Part
[Manufacturer] Acme
[Package]
R_pkg 0.1 NA NA
L_pkg 1n NA NA
C_pkg 1p NA NA
[Pin] signal_name model_name
1 DQ DQSEL
2 EN buf
3 VCC POWER
[Model Selector] DQSEL
DQ_OUT  full drive
buf     input only
[Model] DQ_OUT
Model_type I/O
Vinl = 0.8
Vinh = 2.0
C_comp 2p NA 3p
[Voltage Range] 3.3 3.0 3.6
[Pulldown]
-1.0 -10m -8m -12m
 0.0   0.0 NA 0.0
 1.0  10m 8m 12m
[Pullup]
-1.0 10m 8m 12m
 0.0  0.0 0.0 0.0
 1.0 -10m -8m -12m
[Ramp]
dV/dt_r 1.0/0.5n 0.9/0.6n 1.1/0.4n
dV/dt_f 1.0/0.5n 0.9/0.6n 1.1/0.4n
[Rising Waveform]
R_fixture = 50
V_fixture = 0
0.0 0.0 0.0 0.0
1n  1.0 0.9 1.1
[Model] buf
Model_type Input
Vinl = 0.8
Vinh = 2.0
C_comp 1p NA NA
[Voltage Range] 3.3 NA NA
[End]
"""


def nan_equal(a, b):
    return np.array_equal(np.asarray(a), np.asarray(b), equal_nan=True)


def test_document_of_a_fixture():
    r = tarn.read_text(PART, name="part.ibs")
    # The waveform is off the VI curves on purpose: warnings never fail a file.
    assert (r.passed, r.errors, r.warnings) == (True, 0, 3), r.report
    doc = r.document
    assert (doc.ibis_version, doc.file_name) == ("3.2", "part.ibs")
    [c] = doc.components
    assert (c.name, c.manufacturer) == ("Part", "Acme")
    assert [(p.name, p.signal, p.model) for p in c.pins] == [
        ("1", "DQ", "DQSEL"), ("2", "EN", "buf"), ("3", "VCC", "POWER")]
    assert sorted(doc.models) == ["DQ_OUT", "buf"]
    assert doc.selectors == {"DQSEL": [("DQ_OUT", "full drive"), ("buf", "input only")]}

    m = doc.models["DQ_OUT"]
    assert (m.name, m.type) == ("DQ_OUT", "I/O")
    assert m.c_comp == (2e-12, None, 3e-12)
    nan = math.nan
    assert m.pulldown.dtype == np.float64
    assert nan_equal(m.pulldown,
                     [[-1, -10e-3, -8e-3, -12e-3], [0, 0, nan, 0], [1, 10e-3, 8e-3, 12e-3]])
    assert nan_equal(m.pullup,
                     [[-1, 10e-3, 8e-3, 12e-3], [0, 0, 0, 0], [1, -10e-3, -8e-3, -12e-3]])
    assert (m.gnd_clamp, m.power_clamp) == (None, None)
    [w] = m.rising_waveforms
    assert (w.r_fixture, w.v_fixture) == (50.0, 0.0)
    assert nan_equal(w.table, [[0, 0, 0, 0], [1e-9, 1.0, 0.9, 1.1]])
    assert m.falling_waveforms == []
    assert doc.models["buf"].c_comp == (1e-12, None, None)
    assert doc.models["buf"].pulldown is None


# One case per kind of finding: (text, expected (severity, line, message, file) in order).
FINDING_CASES = [
    ("[IBIS Ver] 3.2\n[File Name] bad.ibs\n[Component] Bad\n[End]\n",
     [("error", None, "Required keyword 'Manufacturer' not defined for Component 'Bad'.",
      "bad.ibs"),
      ("error", None, "Keyword 'Package' not defined for Component 'Bad'.", "bad.ibs")]),
    ("[IBIS Ver] 3.2\n[File Name] other.ibs\n" + PART.split("\n", 2)[2],
     [("error", 2, "File name opened 'bad.ibs' not the same as File_name 'other.ibs'.",
       "bad.ibs")]),
]


@pytest.mark.parametrize("text,expected", FINDING_CASES)
def test_a_file_with_errors_gives_findings(text, expected):
    r = tarn.read_text(text, name="bad.ibs")
    got = [(f.severity, f.line, f.message, f.file) for f in r.findings]
    assert got[: len(expected)] == expected, r.report
    assert not r.passed
    assert r.errors == sum(f.severity == "error" for f in r.findings)
    assert r.document is not None


def test_paths_that_cannot_be_opened_raise(tmp_path):
    with pytest.raises(FileNotFoundError):
        tarn.read(str(tmp_path / "missing.ibs"))
    with pytest.raises(OSError):
        tarn.read(str(tmp_path))
    assert tarn.read_text("", name="").document is None


# Each corpus file, and whether it reads into a document (IBIS 4.0 and later are refused).
CORPUS_CASES = [("max232.ibs", True), ("hct1g08.ibs", True), ("buffer_ja.ibs", True),
                ("t2b_0616.ibs", True), ("mychip.ibs", False), ("example_tx.ibs", False)]


@pytest.mark.parametrize("name,readable", CORPUS_CASES)
def test_corpus_reads_as_the_tool_checks(name, readable):
    path = CORPUS / name
    r = tarn.read(str(path))
    tool = subprocess.run([TOOL, "check", str(path)], capture_output=True, text=True)
    assert tool.stdout.endswith(r.report) and r.report
    assert r.passed == (tool.returncode == 0)
    assert (r.errors, r.warnings) == (
        sum(f.severity == "error" for f in r.findings),
        sum(f.severity == "warning" for f in r.findings))
    doc = r.document
    if not readable:
        assert doc is None and r.errors >= 1
        newer = tarn.read(str(path), accept_newer=True)
        assert newer.document.components and newer.warnings >= 1, newer.report
        return
    assert doc.components and all(c.pins for c in doc.components)
    for m in doc.models.values():
        for table in (m.pullup, m.pulldown, m.gnd_clamp, m.power_clamp):
            assert table is None or (table.ndim == 2 and table.shape[1] == 4)
        for w in m.rising_waveforms + m.falling_waveforms:
            assert w.table.shape[1] == 4 and not np.isnan(w.table[:, :2]).any()


def test_two_threads_read_at_once():
    paths = sorted(CORPUS.glob("*.ibs"))
    alone = {p: tarn.read(str(p)).report for p in paths}
    got = {}

    def read_all(tag):
        for turn in range(3):
            for p in paths:
                got[(tag, turn, p)] = tarn.read(str(p)).report

    threads = [threading.Thread(target=read_all, args=(t,)) for t in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert len(got) == 2 * 3 * len(paths)
    assert all(report == alone[p] for (_, _, p), report in got.items())


def test_library_compiles_once_then_reuses(tmp_path):
    src = tmp_path / "src"
    src.mkdir()
    (src / "part.ibs").write_text(PART)
    (src / "bad.ibs").write_text("[IBIS Ver] 3.2\n[File Name] bad.ibs\n[Component] Bad\n[End]\n")
    subprocess.run([TOOL, "index", str(src)], check=True, capture_output=True)
    index = str(src / "ibisindex.ibx")
    cache = tmp_path / "cache"
    cache.mkdir()

    with tarn.Library(str(cache), indexes=[index]) as lib:
        info = lib.component("Part")
        assert (info.status, info.status_text, info.compiled, info.usable) == (
            7, "compiled information current", "now", True)
        assert [p.name for p in info.pins] == ["1", "2", "3"]
        assert [p.model for p in info.pins] == ["DQSEL", "buf", "POWER"]
        assert pathlib.Path(info.compiled_file).name == "ib000000.cbs"
        assert pathlib.Path(info.source).name == "part.ibs"
        assert (lib.component("Nowhere").status, lib.component("Nowhere").status_text) == (
            1, "IBIS source not found")
        bad = lib.component("Bad")
        assert (bad.status, bad.usable, bad.pins) == (2, False, [])

    again = tarn.Library(str(cache), indexes=[index])
    info = again.component("Part")
    assert (info.status, info.compiled) == (7, "no")
    again.close()
    with pytest.raises(ValueError):
        again.component("Part")
