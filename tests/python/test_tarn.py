"""The tarn module as a Python user meets it: files, text, the library and threads."""
import math
import os
import pathlib
import subprocess
import threading

import numpy as np
import pytest

import tarn

DATA = pathlib.Path(os.environ["TARN_TEST_DATA"])
CORPUS = DATA / "corpus"
TOOL = os.environ["TARN_CLI"]
RECORDS = (DATA / "records.ibs").read_text()
NAN = math.nan


def nan_equal(a, b):
    return np.array_equal(np.asarray(a), np.asarray(b), equal_nan=True)


def test_document_of_a_fixture():
    r = tarn.read_text(RECORDS, name="records.ibs")
    assert (r.passed, r.errors) == (True, 0), r.report
    doc = r.document
    assert (doc.ibis_version, doc.file_name) == ("3.2", "records.ibs")
    [c] = doc.components
    assert (c.name, c.manufacturer) == ("Chip", "Acme")
    assert [(p.name, p.signal, p.model) for p in c.pins][:3] == [
        ("1", "OUT", "drv"), ("2", "OUTB", "drv"), ("3", "VDD", "POWER")]
    assert sorted(doc.models) == ["drv", "drv2", "rcv", "rcv2", "sw"]
    assert doc.selectors == {"sel": [("rcv", "Plain input"), ("rcv2", "Other input")]}

    m = doc.models["drv"]
    assert (m.name, m.type) == ("drv", "3-state")
    assert m.c_comp == (2e-12, 1e-12, None)
    assert m.pulldown.dtype == np.float64
    assert nan_equal(m.pulldown,
                     [[-1, -10e-3, NAN, -12e-3], [0, 0, NAN, NAN], [1, 10e-3, NAN, 12e-3]])
    assert nan_equal(m.pullup,
                     [[-1, 10e-3, 8e-3, 12e-3], [0, 0, 0, 0], [1, -10e-3, -8e-3, -12e-3]])
    assert (m.gnd_clamp, m.power_clamp) == (None, None)
    [w] = m.rising_waveforms
    assert (w.r_fixture, w.v_fixture) == (50.0, 0.0)
    assert nan_equal(w.table, [[0, 0, NAN, 0], [1e-9, 1.65, NAN, 1.8], [2e-9, 3.3, NAN, 3.6]])
    assert len(m.falling_waveforms) == 1
    assert doc.models["rcv"].c_comp == (1e-12, None, None)
    assert doc.models["rcv"].pulldown is None


def test_a_model_defined_twice_is_the_last_in_the_first_place():
    text = RECORDS.replace("[Model] rcv2\n", "[Model] drv2\nModel_type Input\n[Model] rcv2\n")
    doc = tarn.read_text(text, name="records.ibs").document
    assert list(doc.models) == ["drv", "drv2", "rcv", "rcv2", "sw"]
    assert doc.models["drv2"].type == "Input"


# One case per kind of finding: (text, expected (severity, line, message, file) in order).
FINDING_CASES = [
    ("[IBIS Ver] 3.2\n[File Name] bad.ibs\n[Component] Bad\n[End]\n",
     [("error", None, "Required keyword 'Manufacturer' not defined for Component 'Bad'.",
      "bad.ibs"),
      ("error", None, "Keyword 'Package' not defined for Component 'Bad'.", "bad.ibs")]),
    ("[IBIS Ver] 3.2\n[File Name] other.ibs\n" + RECORDS.split("\n", 2)[2],
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


# A corpus file that passes, one that fails and one refused for its version (IBIS 4.0 and later),
# and whether it reads into a document; the API tests compare every corpus file with the check.
CORPUS_CASES = [("hct1g08.ibs", True), ("buffer_ja.ibs", True), ("mychip.ibs", False)]


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
    (src / "records.ibs").write_text(RECORDS)
    (src / "bad.ibs").write_text("[IBIS Ver] 3.2\n[File Name] bad.ibs\n[Component] Bad\n[End]\n")
    subprocess.run([TOOL, "index", str(src)], check=True, capture_output=True)
    index = str(src / "ibisindex.ibx")
    cache = tmp_path / "cache"
    cache.mkdir()

    with tarn.Library(str(cache), indexes=[index]) as lib:
        info = lib.component("Chip")
        assert (info.status, info.status_text, info.compiled, info.usable) == (
            7, "compiled information current", "now", True)
        assert [(p.name, p.model) for p in info.pins][:3] == [
            ("1", "drv"), ("2", "drv"), ("3", "POWER")]
        assert pathlib.Path(info.compiled_file).name == "ib000000.cbs"
        assert pathlib.Path(info.source).name == "records.ibs"
        assert (lib.component("Nowhere").status, lib.component("Nowhere").status_text) == (
            1, "IBIS source not found")
        bad = lib.component("Bad")
        assert (bad.status, bad.usable, bad.pins) == (2, False, [])

    again = tarn.Library(str(cache), indexes=[index])
    info = again.component("Chip")
    assert (info.status, info.compiled) == (7, "no")
    again.close()
    with pytest.raises(ValueError):
        again.component("Chip")
