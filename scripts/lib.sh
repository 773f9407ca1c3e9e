# Sourced by the scripts beside this file: Debian packages and builds.

build_packages=(g++ cmake ninja-build libopenblas-pthread-dev libboost-dev libboost-thread-dev libboost-context-dev
  libcli11-dev libpng-dev libgtest-dev pkg-config dpkg-dev file)
bench_packages=("${build_packages[@]}")

say() { printf '== %s\n' "$*"; }

# install_missing PACKAGE...: installs those that are not there yet.
install_missing() {
  local package missing=()
  if ! command -v dpkg-query > /dev/null; then
    say "not a Debian system: expecting what these packages hold: $*"
    return
  fi
  for package in "$@"; do
    if [ "$(dpkg-query -W -f='${db:Status-Status}\n' "$package" 2> /dev/null | head -n 1)" != installed ]; then
      missing+=("$package")
    fi
  done
  if [ ${#missing[@]} -eq 0 ]; then return; fi
  if [ "$(id -u)" != 0 ]; then
    echo "These packages are missing. Install them as root, then run this again:" >&2
    echo "  apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
    return 1
  fi
  say "installing ${missing[*]}"
  apt-get update -q
  DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
}

# Where this system's own packages come from.
debian_mirror() {
  . /etc/os-release
  local ask=(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' "Release: $VERSION_CODENAME")
  [ -n "$("${ask[@]}")" ] || apt-get update -q >&2 # without lists of packages it does not say
  "${ask[@]}" | head -n 1
}

# build PRESET [OPTION...]: configures and builds it; the options go to the build.
build() {
  local preset=$1
  shift
  say "configuring build/$preset"
  cmake --preset "$preset"
  say "building build/$preset"
  cmake --build --preset "$preset" "$@"
}

# --- What the benchmarks measure beside

# from_pypi PACKAGE LIBRARY: the path of it, in the unpacked wheel.
from_pypi() {
  local folder=${TOVI_RIVALS:-out/rivals}/$1
  local part=$folder.part
  if [ ! -d "$folder" ]; then
    python3 -m pip --version &> /dev/null || install_missing python3-pip >&2
    rm -rf "$part"
    python3 -m pip download --quiet --no-deps --only-binary :all: --dest "$part" "$1" >&2 &&
      python3 -m zipfile -e "$part"/*.whl "$part" && rm "$part"/*.whl && mv "$part" "$folder" || return
  fi
  say "rival: $(basename "$folder"/*.dist-info .dist-info)" >&2
  find "$(realpath "$folder")" -name "$2" -print -quit | grep .
}

# choose_rival NAME: the library that they load, a path or one of openblas (Debian's), scipy-openblas32, mkl (PyPI's).
choose_rival() {
  unset TOVI_RIVAL
  case $1 in
    openblas) return ;;
    scipy-openblas32) TOVI_RIVAL=$(from_pypi "$1" 'libscipy_openblas.so') || return ;;
    mkl) TOVI_RIVAL=$(from_pypi "$1" 'libmkl_rt.so.*') && export MKL_THREADING_LAYER=GNU || return ;;
    *) TOVI_RIVAL=$(realpath "$1") || return ;;
  esac
  export TOVI_RIVAL
}

# --- The 32-bit Windows build (preset win32)

win32_packages=(g++-mingw-w64-i686-posix gfortran-mingw-w64-i686-posix cmake ninja-build dpkg-dev libboost-dev
  libcli11-dev googletest)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/tovi
wine_root=$cache/wine-root

# in_wine_root COMMAND...: in the Debian root that has 32-bit Wine, this folder at its place; mounts go with the command.
in_wine_root() {
  WINEDEBUG=-all WINEPREFIX="$PWD/build/win32/wine" exec unshare --mount bash -euc '
    root=$1 project=$2 folder=$3
    mkdir -p "$root$project"
    mount --bind "$project" "$root$project"
    mount -t proc proc "$root/proc"
    exec chroot "$root" env -C "$folder" "${@:4}"' - "$wine_root" "$PWD" "${folder:-$PWD}" "$@"
}
