// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import "golang.org/x/sys/unix"

// forbidCoreFiles keeps the account's tokens, which live in this process's memory, from being written to disk by a
// crash. A system that refuses is not a reason to stay down.
func forbidCoreFiles() {
	_ = unix.Setrlimit(unix.RLIMIT_CORE, &unix.Rlimit{Cur: 0, Max: 0})
}
