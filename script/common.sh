# shellcheck shell=bash
# Shared by the scripts beside it. Sourced, not run; leaves the shell in the repository's root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

say() { printf '%s\n' "$*"; }

# Installs the packages of a list that are missing. Calls apt only then, so that a second run needs no network.
need_packages() {
  local list=$1 missing=() package as_root=()
  if ! command -v dpkg-query >/dev/null; then
    say "Not a Debian system: the packages of $list are yours to provide."
    return
  fi
  while read -r package; do
    [[ -z $package || $package == \#* ]] && continue
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
  done <"$list"
  ((${#missing[@]} == 0)) && return
  if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
      say "Missing packages; as root: apt-get install --no-install-recommends ${missing[*]}" >&2
      exit 1
    fi
    as_root=(sudo)
  fi
  say "Installing ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# build_preset PRESET [TARGET...]: configures when needed and builds; no target: everything.
build_preset() {
  local preset=$1
  shift
  local build=build/$preset targets=()
  (($# > 0)) && targets=(--target "$@")
  if [[ ! -f $build/build.ninja ]]; then
    say "Configuring $build"
    cmake --preset "$preset" >/dev/null
  fi
  say "Building $build${*:+ ($*)}"
  cmake --build "$build" "${targets[@]}"
}

# exported_names MAP: the names that a module exports.
exported_names() { sed -n 's/^ *\([A-Za-z_0-9]*\);$/\1/p' "$1" | grep -v '^$' | LC_ALL=C sort; }

# at_exit COMMAND: when the script ends, however that comes about; the last one first.
at_exit_commands=
at_exit() {
  at_exit_commands="$1; $at_exit_commands"
  trap 'set +e; eval "$at_exit_commands"' EXIT
}

# wine_prefix FOLDER: what Windows programs take for their computer, new, and gone when the script ends; `$wine` runs
# them. Nothing of this person's is read or written: the folder is their home as well.
wine_prefix() {
  export WINEPREFIX=$PWD/$1 WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml,winemenubuilder.exe='
  unset DISPLAY WAYLAND_DISPLAY
  wine=/usr/lib/wine/wine64
  end_wine  # of a run before, which would still answer for the folder
  mkdir -p "$WINEPREFIX"
  export HOME=$WINEPREFIX
  at_exit end_wine
  # Programs that start while it is being filled do not find the system's libraries. On a machine that is very busy the
  # system's services do not come up in the time that they give each other.
  local try
  for try in 1 2 3; do
    "$wine" wineboot --init >/dev/null 2>&1 && break
    say "Wine did not start (try $try)."
  done
  /usr/lib/wine/wineserver64 -w
  [[ -f $WINEPREFIX/system.reg ]] || { say "Wine has not filled $WINEPREFIX." >&2; exit 1; }
}
end_wine() {
  /usr/lib/wine/wineserver64 -k 2>/dev/null || true
  /usr/lib/wine/wineserver64 -w || true
  rm -rf "$WINEPREFIX"
}
