# SPDX-License-Identifier: LicenseRef-Quillmount
# Sourced by the run script: what the user at the terminal is shown of what the programs log.

# What state failed($1) means, and what to do about it. $2: the engine's log, $3: the file that holds the account.
failure_in_words() {
  case $1 in
    needsReconnect)
      printf '%s\n' "Google no longer accepts this account's authorisation; the files are safe on Google Drive." \
        "To sign in again, end Quillmount, remove $3 and start it again." ;;
    offline) printf '%s\n' "Google Drive cannot be reached. Check the network; Quillmount keeps trying on its own." ;;
    mountRefused)
      printf '%s\n' "The drive could not be mounted. A line above says why, or the engine's log: $2" \
        "Once that is mended, end Quillmount and start it again." ;;
    diskFull) printf '%s\n' "This machine has no space left. Free some, then end Quillmount and start it again." ;;
    *) printf '%s\n' "The drive stopped. The engine's log says why: $2" ;;
  esac
}

# Passes on the programs' own lines of a log on standard input, with words for every failure; the lines of their
# libraries stay where they are.
show_log() { # ENGINE-LOG ACCOUNT-FILE
  local line own='^([0-9:.]+ quillmount\.[a-z.]+|google-stand-in): ' failed='-> failed\(([A-Za-z]*)\)$'
  while IFS= read -r line; do
    [[ $line =~ $own ]] || continue
    printf '%s\n' "$line"
    [[ ! $line =~ $failed ]] || failure_in_words "${BASH_REMATCH[1]}" "$@"
  done
}
