#!/usr/bin/env bash
# What tools/deps decides, in a made-up file system with stand-ins for apt-get, sudo, locale
# and localedef that only write down how they were called: nothing is really installed.
set -euo pipefail
deps="$1"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin"
export LOG="$work/log" ROOT="$work/root" PROOFS="$work/proofs"
"$deps" --list run test asan tsan bench fuzz >"$PROOFS"

# apt-get leaves the proof files of the packages it installs, unless told to break them.
cat >"$work/bin/apt-get" <<'EOF'
#!/bin/bash
echo "apt-get $* ($DEBIAN_FRONTEND)" >>"$LOG"
[ "$1" = install ] && [ -z "${BROKEN:-}" ] || exit 0
for package; do
  grep "^$package " "$PROOFS" | while read -r _ file; do
    mkdir -p "$ROOT${file%/*}" && touch "$ROOT$file"
  done
done
EOF
cat >"$work/bin/sudo" <<'EOF'
#!/bin/bash
echo sudo >>"$LOG"
exec "$@"
EOF
cat >"$work/bin/locale" <<'EOF'
#!/bin/bash
printf 'C\nC.utf8\nPOSIX\n'
[ ! -e "$ROOT/de" ] || echo de_DE.utf8
EOF
cat >"$work/bin/localedef" <<'EOF'
#!/bin/bash
echo "localedef $*" >>"$LOG"
touch "$ROOT/de"
EOF
chmod +x "$work/bin"/*

# check NAME UID SUDO LISTS INSTALLED LOCALE STATUS TARGET...; standard input holds the
# expected output, a line "--", then the expected calls. LISTS is none, fresh or stale;
# INSTALLED names a target whose packages are there already, or none.
failed=0
passed=0
check() {
  local name="$1" uid="$2" sudo="$3" lists="$4" installed="$5" locale="$6" status="$7"
  shift 7
  rm -rf "$ROOT" "$LOG" "$work/path"
  mkdir -p "$ROOT/var/lib/apt/lists" "$work/path"
  : >"$LOG"
  for tool in apt-get locale localedef; do ln -s "$work/bin/$tool" "$work/path/"; done
  [ "$sudo" = no ] || ln -s "$work/bin/sudo" "$work/path/"
  case "$lists" in
    fresh) touch "$ROOT/var/lib/apt/lists/mirror_main_Packages.lz4" ;;
    stale) touch -d '2 days ago' "$ROOT/var/lib/apt/lists/mirror_main_Packages.lz4" ;;
  esac
  [ "$installed" = none ] || "$deps" --list "$installed" | while read -r _ file; do
    mkdir -p "$ROOT${file%/*}" && touch "$ROOT$file"
  done
  [ "$locale" = no ] || touch "$ROOT/de"

  local got code=0
  got="$(TARN_DEPS_ROOT="$ROOT" TARN_DEPS_UID="$uid" TARN_DEPS_PATH="$work/path" \
         "$deps" "$@" 2>&1)" || code=$?
  got="$(printf '%s\n--\n%s' "$got" "$(cat "$LOG")")"
  local want
  want="$(cat)"
  if [ "$got" = "$want" ] && [ "$code" = "$status" ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    printf 'FAILED %s: status %s (want %s)\n%s\n-- want:\n%s\n' "$name" "$code" "$status" \
      "$got" "$want"
  fi
}

check "nothing missing, no root needed" 1000 no none test yes 0 test <<'EOF'

--
EOF
check "missing with fresh lists: no update" 0 no fresh none no 0 run <<'EOF'
tools/deps: installing Debian packages for run: g++ cmake make nlohmann-json3-dev libcli11-dev
--
apt-get install -y -qq --no-install-recommends g++ cmake make nlohmann-json3-dev libcli11-dev (noninteractive)
EOF
check "empty lists: update first" 0 no none run no 0 bench <<'EOF'
tools/deps: installing Debian packages for bench: libbenchmark-dev
--
apt-get -qq update (noninteractive)
apt-get install -y -qq --no-install-recommends libbenchmark-dev (noninteractive)
EOF
check "stale lists, a target built on another" 0 no stale run no 0 fuzz <<'EOF'
tools/deps: installing Debian packages for fuzz: clang libclang-rt-14-dev
--
apt-get -qq update (noninteractive)
apt-get install -y -qq --no-install-recommends clang libclang-rt-14-dev (noninteractive)
EOF
check "not root: through sudo, with the locale" 1000 yes fresh run no 0 asan <<'EOF'
tools/deps: installing Debian packages for asan: libgtest-dev pkg-config locales python3-dev python3-pybind11 python3-numpy python3-pytest libpugixml-dev chromium (through sudo)
tools/deps: generating the de_DE.UTF-8 locale
--
sudo
apt-get install -y -qq --no-install-recommends libgtest-dev pkg-config locales python3-dev python3-pybind11 python3-numpy python3-pytest libpugixml-dev chromium (noninteractive)
sudo
localedef -i de_DE -f UTF-8 de_DE.UTF-8
EOF
check "no root, no sudo: one line, nothing run" 1000 no none none no 1 test <<'EOF'
tools/deps: missing Debian packages g++ cmake make nlohmann-json3-dev libcli11-dev libgtest-dev pkg-config locales python3-dev python3-pybind11 python3-numpy python3-pytest libpugixml-dev chromium; as root: apt-get update && apt-get install -y g++ cmake make nlohmann-json3-dev libcli11-dev libgtest-dev pkg-config locales python3-dev python3-pybind11 python3-numpy python3-pytest libpugixml-dev chromium && localedef -i de_DE -f UTF-8 de_DE.UTF-8
--
EOF
check "no root, no sudo, only the locale: go on" 1000 no fresh test no 0 test run <<'EOF'
tools/deps: the de_DE.UTF-8 locale is missing (as root: localedef -i de_DE -f UTF-8 de_DE.UTF-8); its tests are skipped
--
EOF
check "the locale only for test" 0 no fresh run no 0 run bench <<'EOF'
tools/deps: installing Debian packages for run bench: libbenchmark-dev
--
apt-get install -y -qq --no-install-recommends libbenchmark-dev (noninteractive)
EOF
BROKEN=1 check "a package whose proof file never appears" 0 no fresh run yes 1 test <<'EOF'
tools/deps: installing Debian packages for test: libgtest-dev pkg-config locales python3-dev python3-pybind11 python3-numpy python3-pytest libpugixml-dev chromium
tools/deps: libgtest-dev is installed but /usr/include/gtest/gtest.h is not there
--
apt-get install -y -qq --no-install-recommends libgtest-dev pkg-config locales python3-dev python3-pybind11 python3-numpy python3-pytest libpugixml-dev chromium (noninteractive)
EOF
check "unknown target" 0 no fresh none no 2 run tests <<'EOF'
tools/deps: unknown target 'tests' (asan bench coverage fuzz run test tsan)
--
EOF

echo "deps: $passed passed, $failed failed"
[ "$failed" = 0 ]
