"""Read and check IBIS model files (.ibs, .pkg, .ebd)."""
from types import TracebackType
from typing import Literal, Mapping, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

Table = npt.NDArray[np.float64]  # (n, 4): x, typ, min, max; NaN where NA or absent

class Finding:
    severity: Literal["error", "warning", "bug"]
    line: Optional[int]
    message: str
    file: str

class Pin:
    name: str
    signal: str
    model: str

class Waveform:
    table: Table
    r_fixture: Optional[float]
    v_fixture: Optional[float]

class Model:
    name: str
    type: str
    pullup: Optional[Table]
    pulldown: Optional[Table]
    gnd_clamp: Optional[Table]
    power_clamp: Optional[Table]
    rising_waveforms: list[Waveform]
    falling_waveforms: list[Waveform]
    c_comp: Optional[Tuple[Optional[float], Optional[float], Optional[float]]]

class Component:
    name: str
    manufacturer: Optional[str]
    pins: list[Pin]

class Document:
    ibis_version: Optional[str]
    file_name: Optional[str]
    components: list[Component]
    models: Mapping[str, Model]
    selectors: Mapping[str, list[Tuple[str, str]]]

class Result:
    passed: bool
    errors: int
    warnings: int
    findings: list[Finding]
    report: str
    document: Optional[Document]

def read(path: str, *, accept_newer: bool = False) -> Result: ...
def read_text(text: str, name: str, *, accept_newer: bool = False) -> Result: ...

class ComponentInfo:
    name: str
    source: str
    compiled_file: str
    status: int
    status_text: str
    usable: bool
    compiled: Literal["now", "failed", "no"]
    log_path: str
    pins: list[Pin]

class Library:
    def __init__(self, cache_dir: str, indexes: Sequence[str] = ...) -> None: ...
    def component(self, name: str) -> ComponentInfo: ...
    def close(self) -> None: ...
    def __enter__(self) -> "Library": ...
    def __exit__(self, kind: Optional[type], value: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None: ...
