// SPDX-License-Identifier: LicenseRef-Quillmount

// Package posixtest runs go-fuse's tests of a POSIX file system in the directory that POSIXTEST_DIRECTORY names.
package posixtest

import (
	"os"
	"testing"

	"github.com/hanwen/go-fuse/v2/posixtest"
)

func TestPosix(t *testing.T) {
	top := os.Getenv("POSIXTEST_DIRECTORY")
	if top == "" {
		t.Fatal("POSIXTEST_DIRECTORY names no directory")
	}
	for name, run := range posixtest.All {
		t.Run(name, func(t *testing.T) {
			directory, err := os.MkdirTemp(top, name)
			if err != nil {
				t.Fatal(err)
			}
			defer os.RemoveAll(directory)
			run(t, directory)
		})
	}
}
