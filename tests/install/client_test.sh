#!/usr/bin/env bash
# The installed library as a calling program sees it: the example client built against the
# installed headers and libtarn.so, once through tarn.pc and once through the CMake package,
# then run on the example model library, writing the component's listing too; and the reading
# example, built the same two ways, run on the example source.
set -euo pipefail
build="$1"
source="$2"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
# The man page, written from the tool's help, is installed beside the tool.
grep -qx '\.SS tarn check' "$work/prefix/share/man/man1/tarn.1"
pc="$(find "$work/prefix" -name tarn.pc)"
mkdir "$work/src"
cp "$source/examples/library/tdemo2.ibs" "$source/examples/library/ibisindex.ibx" "$work/src/"

check_run() {
  local out
  out="$("$1" "$work/cache-$2" "$work/src/ibisindex.ibx" TDEMO2 "$work/listing-$2.txt")"
  grep -qx "TDEMO2 from $work/src/tdemo2.ibs, 4 pins" <<<"$out"
  grep -qx "pin 1 TXP lvds_out (output) C_pin 3e-13 Vmax 3.6" <<<"$out"
  grep -qx "pin 4 VSS GND (no type (pwr, gnd or NC))" <<<"$out"
  grep -qx "listing written to $work/listing-$2.txt" <<<"$out"
  grep -qx "\[Component\]     TDEMO2" "$work/listing-$2.txt"
}

export PKG_CONFIG_PATH="$(dirname "$pc")"
# The run path comes from tarn.pc itself, as the README shows it.
# shellcheck disable=SC2046
c++ -o "$work/client" "$source/examples/client/client.cpp" $(pkg-config --cflags --libs tarn) \
  -Wl,-rpath,"$(pkg-config --variable=libdir tarn)"
check_run "$work/client" pc

cmake -S "$source/examples/client" -B "$work/cmake-client" -DCMAKE_PREFIX_PATH="$work/prefix" \
  >/dev/null
cmake --build "$work/cmake-client" >/dev/null
check_run "$work/cmake-client/client" cmake
read_run() {
  local out
  out="$("$1" "$source/examples/tarn_demo.ibs" demo_out)"
  grep -qx "\[Pulldown\] of demo_out (Output)" <<<"$out"
  grep -qx "0.25         0.01244      0.01036      0.01554" <<<"$out"
  grep -qx "0 errors, 0 warnings: passed" <<<"$out"
  out="$("$1" "$work/src/bad.ibs" || true)"
  grep -qx "$work/src/bad.ibs:2: ERROR: Orphan Data Line." <<<"$out"
}
printf '[IBIS Ver] 3.2\nstray\n[End]\n' >"$work/src/bad.ibs"
# shellcheck disable=SC2046
c++ -std=c++20 -o "$work/read" "$source/examples/read/read.cpp" $(pkg-config --cflags --libs tarn) \
  -Wl,-rpath,"$(pkg-config --variable=libdir tarn)"
read_run "$work/read"
cmake -S "$source/examples/read" -B "$work/cmake-read" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake-read" >/dev/null
read_run "$work/cmake-read/read"
# The installed Python module with its stubs beside it, run from the prefix on the example
# library (only when the build made it).
module="$(find "$work/prefix" -name 'tarn.cpython-*.so')"
if [ -n "$module" ]; then
  site="$(dirname "$module")"
  [ -f "$site/tarn.pyi" ]
  out="$(cd "$work" && PYTHONPATH="$site" /usr/bin/python3 -c "
import tarn
info = tarn.Library('$work/cache-py', indexes=['$work/src/ibisindex.ibx']).component('TDEMO2')
print(info.status, info.status_text, [p.name for p in info.pins], tarn.__file__)")"
  grep -q "^7 compiled information current \['1', '2', '3', '4'\] $site/" <<<"$out"
fi
echo "installed client and reading example: built with pkg-config and with find_package, ran"
