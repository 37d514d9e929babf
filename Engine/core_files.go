// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import "golang.org/x/sys/unix"

// forbidCoreFiles keeps the account's tokens, which live in this process's memory, from being written to disk by a
// crash. A limit of 0 would not stop a system that pipes core files into a program; one byte stops both: no file is that
// small, and the kernel takes it as the mark of who wants none. A system that refuses is not a reason to stay down.
func forbidCoreFiles() {
	_ = unix.Setrlimit(unix.RLIMIT_CORE, &unix.Rlimit{Cur: 1, Max: 1})
}
