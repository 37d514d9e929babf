// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bytes"
	"io"
	"os"
)

// boundedFile keeps a file that others append to from growing without end. The file is shortened in place, not replaced:
// its writers (one of them is standard error, where a crash leaves its trace) hold it open, and whoever reads it
// finds the newest lines under its name at all times.
type boundedFile struct {
	file        *os.File
	limit, keep int64 // bytes
}

// openBounded opens an existing file. It returns nil without an error for what is not a regular file.
func openBounded(path string, limit, keep int64) (*boundedFile, error) {
	info, err := os.Stat(path)
	if err != nil || !info.Mode().IsRegular() {
		return nil, err
	}
	file, err := os.OpenFile(path, os.O_RDWR|os.O_APPEND, 0)
	if err != nil {
		return nil, err
	}
	return &boundedFile{file: file, limit: limit, keep: keep}, nil
}

// trim drops the oldest lines if the file is larger than its limit. Nobody may append meanwhile.
func (b *boundedFile) trim() error {
	info, err := b.file.Stat()
	if err != nil || info.Size() <= b.limit {
		return err
	}
	newest := make([]byte, b.keep)
	read, err := b.file.ReadAt(newest, info.Size()-b.keep)
	if err != nil && err != io.EOF {
		return err
	}
	newest = newest[:read]
	if end := bytes.IndexByte(newest, '\n'); end >= 0 && end+1 < len(newest) {
		newest = newest[end+1:] // the rest of a line that began before
	}
	if err := b.file.Truncate(0); err != nil {
		return err
	}
	_, err = b.file.Write(newest)
	return err
}
