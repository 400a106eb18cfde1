#!/usr/bin/env bash
# Installs the Debian packages needed to build, test and demonstrate Survey.
# Only packages that are missing are installed, and the package index is
# refreshed only when something has to be installed, so running it again on a
# ready machine does nothing. Meant for Debian 12; run as root (or with sudo
# available).
set -euo pipefail

# The one list of what we need, and why.
PACKAGES=(
  build-essential     # gcc, g++, make, libc headers
  cmake               # build system (3.25 or later)
  ninja-build         # the generator every preset uses
  g++-multilib        # the 32-bit (-m32) i386 preset
  googletest          # GoogleTest/GoogleMock sources, built per preset
  libgtest-dev        # GoogleTest headers
  libgmock-dev        # GoogleMock headers
  libbenchmark-dev    # micro-benchmarks of the evaluator
  libxxhash-dev       # fingerprints of cached results (used header-only)
  libsqlite3-dev      # the client folder's record stores
  libsqlite3-0:i386   # the same, for the i386 preset (its headers are the native ones)
  libssl-dev          # file hashes (SHA-1, SHA-256, MD5); reading certificates
  libssl-dev:i386     # the same for the i386 preset
  openssl             # certificates made and read by the certificate tests
  libreadline-dev     # line editing and history at the interactive prompt
  nlohmann-json3-dev  # JSON output and test fixtures
  libcli11-dev        # command-line argument parsing
  hyperfine           # whole-process timing comparisons in bench/
  binutils            # readelf/nm/objdump, used to check the built libraries
  clang               # fuzz targets (libFuzzer)
  libclang-rt-14-dev  # libFuzzer and sanitizer runtimes for clang
  clang-format        # `make format`
  util-linux          # utmpdump and lscpu: utmp files and processor facts for the system tests
  procps              # free: the memory amounts the system tests compare with
  coreutils           # who and nproc: users, run level and processor count for the system tests
  python3             # reads /proc/meminfo and /proc/cpuinfo beside the library in tests
  ccache              # compiler cache: rebuilds of unchanged sources are free
  dmidecode           # the firmware tables that the DMI tests compare with
  rpm                 # rpm, rpmbuild: package databases made and read by the tests
  librpm-dev          # the package library the RPM surveyors bind at run time
)

log() { printf 'install-deps: %s\n' "$*"; }

# With a foreign architecture added, a package may have one line per
# architecture: one installed line is enough.
is_installed() {
  local status
  status=$(dpkg-query -W -f='${Status}\n' "$1" 2>/dev/null) || return 1
  grep -qx "install ok installed" <<<"$status"
}

missing=()
for pkg in "${PACKAGES[@]}"; do
  if is_installed "$pkg"; then
    :
  else
    missing+=("$pkg")
  fi
done

if [[ ${#missing[@]} -eq 0 ]]; then
  log "all ${#PACKAGES[@]} packages are already installed"
  exit 0
fi

log "missing: ${missing[*]}"

SUDO=()
if [[ $(id -u) -ne 0 ]]; then
  if command -v sudo >/dev/null 2>&1; then
    SUDO=(sudo)
  else
    log "not root and sudo is not available: install the packages above as root" >&2
    exit 1
  fi
fi

export DEBIAN_FRONTEND=noninteractive

# The i386 preset links the 32-bit libraries of the machine.
if ! dpkg --print-foreign-architectures | grep -qx i386; then
  log "adding the i386 architecture"
  "${SUDO[@]}" dpkg --add-architecture i386
fi

# A failing secondary index (for instance a foreign architecture's security
# suite) makes apt-get update exit non-zero although the lists we need were
# fetched. Carry on: apt-get install below fails loudly if a package really
# cannot be had.
log "running apt-get update"
if ! "${SUDO[@]}" apt-get update; then
  log "warning: apt-get update reported errors; trying to install anyway" >&2
fi

# OpenSSL's packages are "Multi-Arch: same": the native and the i386 copies
# must have one version. When a mirror offers a newer version for one
# architecture only (a security index that failed to download, say), let apt
# take the newest version that both architectures offer.
common_version() {
  local pkg=$1 native i386
  native=$(apt-cache madison "$pkg" | awk -v a="$(dpkg --print-architecture)" '$0 ~ a {print $3}' | sort -u)
  i386=$(apt-cache madison "$pkg:i386" | awk '/i386/ {print $3}' | sort -u)
  comm -12 <(echo "$native") <(echo "$i386") | sort -V | tail -n 1
}

request=()
for pkg in "${missing[@]}"; do
  if [[ $pkg == libssl-dev:i386 ]]; then
    version=$(common_version libssl-dev)
    if [[ -n $version ]]; then
      log "OpenSSL for both architectures at $version"
      request+=("libssl-dev=$version" "libssl3=$version" "openssl=$version"
                "libssl-dev:i386=$version" "libssl3:i386=$version")
      continue
    fi
  fi
  request+=("$pkg")
done

log "running apt-get install ${request[*]}"
"${SUDO[@]}" apt-get install -y --no-install-recommends --allow-downgrades "${request[@]}"

still_missing=()
for pkg in "${missing[@]}"; do
  is_installed "$pkg" || still_missing+=("$pkg")
done
if [[ ${#still_missing[@]} -ne 0 ]]; then
  log "still missing after install: ${still_missing[*]}" >&2
  exit 1
fi
log "installed: ${missing[*]}"
