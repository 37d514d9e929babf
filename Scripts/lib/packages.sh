# SPDX-License-Identifier: LicenseRef-Quillmount
# Sourced by the scripts that need Debian packages: installs those that are missing. The sourcing script has say and fail.

missing_packages() { # PACKAGE …
  local package
  for package; do
    [[ $(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null) == ii* ]] || printf '%s\n' "$package"
  done
}

# Ends the script when a package is missing and cannot be installed.
need_packages() { # PACKAGE …
  command -v dpkg-query >/dev/null || fail "Quillmount is built on Debian 12 or 13; this system has no dpkg."
  local missing as_root=()
  mapfile -t missing < <(missing_packages "$@")
  ((${#missing[@]})) || return 0
  if ((EUID != 0)); then
    command -v sudo >/dev/null ||
      fail "These packages are missing; install them as root: apt-get install ${missing[*]}"
    as_root=(sudo)
  fi
  say "Installing ${#missing[@]} packages: ${missing[*]}"
  "${as_root[@]}" apt-get update -q >&2 || say "The package lists could not be renewed; going on with the old ones."
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}" >&2 ||
    fail "The packages above could not be installed."
}
