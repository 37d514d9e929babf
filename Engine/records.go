// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"encoding/json"
	"errors"
	"fmt"
	"os"
	"path/filepath"
	"slices"
	"sync"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/lib/encoder"
	"github.com/rclone/rclone/lib/ranges"
	"github.com/rclone/rclone/vfs"
	"github.com/rclone/rclone/vfs/vfscache"
	"golang.org/x/sys/unix"
)

// recordAttribute is the extended attribute of a file of the cache that holds its keptRecord. It moves and goes with the
// file, and changes in one step. Name and usual value fit into an inode of 256 bytes.
const recordAttribute = "user.quillmount.record"

// keptRecord says what there is of a changed file, in case rclone's metadata, which is truncated and written anew each
// time, is caught in between. Once there, a part of a file is there for as long as the file has its inode. So a record
// that is out of date says too little at most, and everything behind its size was written by a program.
type keptRecord struct {
	Size    int64   `json:"size"`
	Synced  int64   `json:"synced,omitempty"`  // how much of the beginning has been on the disk
	Missing []int64 `json:"missing,omitempty"` // positions and sizes of the parts that only Google has
}

var recordsUnsupported sync.Once

// keepRecord writes down what there is of a file with unsent changes; of any other it removes the record. synced means
// that the file is about to be brought to the disk, and the record with it. Without a record the file is as safe as
// rclone makes it, so that a failure is logged only.
func (c *driveCache) keepRecord(file *vfs.File, synced bool) {
	if c == nil {
		return
	}
	name := file.CachePath()
	path := filepath.Join(c.data, filepath.FromSlash(encoder.OS.FromStandardPath(name)))
	item := c.dirtyItem(name)
	if item == nil {
		_ = unix.Removexattr(path, recordAttribute) // there may be none
		return
	}
	record, err := c.describe(item, name)
	if err == nil {
		old, oldErr := loadRecord(path)
		if synced {
			record.Synced = record.Size
		} else if oldErr == nil {
			record.Synced = min(old.Synced, record.Size)
		}
		if oldErr == nil && old.Size == record.Size && old.Synced == record.Synced && slices.Equal(old.Missing, record.Missing) {
			return
		}
		var value []byte
		if value, err = json.Marshal(record); err == nil {
			err = unix.Setxattr(path, recordAttribute, value, 0)
		}
	}
	switch {
	case err == nil || errors.Is(err, unix.ENOENT):
	case errors.Is(err, unix.ENOTSUP):
		recordsUnsupported.Do(func() {
			fs.Infof(nil, "The cache's file system has no extended attributes: a killed engine may leave damaged files")
		})
	default:
		_ = unix.Removexattr(path, recordAttribute)
		fs.Logf(name, "Failed to keep a second record of the file: %v", err)
	}
}

// forgetRecord removes the record of a file that is about to be opened and has no unsent changes.
func (c *driveCache) forgetRecord(file *vfs.File) {
	if c != nil && c.dirtyItem(file.CachePath()) == nil {
		c.keepRecord(file, false) // which removes it
	}
}

// describe returns the record of a changed file, nothing of it synced.
func (c *driveCache) describe(item *vfscache.Item, name string) (keptRecord, error) {
	if missingOf(item).IsEmpty() {
		size, err := item.GetSize()
		return keptRecord{Size: size}, err
	}
	meta := filepath.Join(c.meta, filepath.FromSlash(encoder.OS.FromStandardPath(name)))
	info, err := readRecord(meta)
	for tries := 0; err != nil && tries < 10; tries++ {
		time.Sleep(time.Millisecond) // it is being rewritten
		info, err = readRecord(meta)
	}
	record := keptRecord{Size: info.Size}
	for _, part := range info.Rs.FindAll(ranges.Range{Pos: 0, Size: info.Size}) {
		if !part.Present {
			record.Missing = append(record.Missing, part.R.Pos, part.R.Size)
		}
	}
	return record, err
}

// loadRecord reads the record of a file of the cache.
func loadRecord(path string) (record keptRecord, err error) {
	size, err := unix.Getxattr(path, recordAttribute, nil)
	if err != nil {
		return record, err
	}
	value := make([]byte, size)
	if size, err = unix.Getxattr(path, recordAttribute, value); err != nil {
		return record, err
	}
	return record, json.Unmarshal(value[:size], &record)
}

// restoreMetadata gives a file of the cache its metadata back from its record and what is left of it, by way of a file
// beside the cache. Metadata that can be read may be older than what was written last, which rclone would then look for
// at Google. It fails if there is no record, or if not all that the record tells of is in the file.
func restoreMetadata(data, meta, temporary string, left vfscache.Info) (info vfscache.Info, err error) {
	record, err := loadRecord(data)
	if err != nil {
		return info, err
	}
	file, err := os.Open(data)
	if err != nil {
		return info, err
	}
	defer file.Close()
	status, err := file.Stat()
	if err != nil {
		return info, err
	}
	if status.Size() < record.Size {
		return info, fmt.Errorf("%d bytes are left of %d", status.Size(), record.Size)
	}
	info = vfscache.Info{ModTime: status.ModTime(), ATime: time.Now(), Size: status.Size(), Dirty: true,
		Fingerprint: left.Fingerprint}
	at := int64(0)
	for ; len(record.Missing) >= 2; record.Missing = record.Missing[2:] {
		info.Rs.Insert(ranges.Range{Pos: at, Size: record.Missing[0] - at})
		at = record.Missing[0] + record.Missing[1]
	}
	info.Rs.Insert(ranges.Range{Pos: at, Size: info.Size - at})
	// A power cut takes what was never synced. A hole in what was is a hole that a program made.
	for _, part := range info.Rs.Intersection(ranges.Range{Pos: record.Synced, Size: record.Size - record.Synced}) {
		if hole, err := unix.Seek(int(file.Fd()), part.Pos, unix.SEEK_HOLE); err != nil || hole < part.End() {
			return info, errors.Join(fmt.Errorf("parts of the bytes from %d to %d are gone", part.Pos, part.End()), err)
		}
	}
	for _, part := range left.Rs.Intersection(ranges.Range{Pos: 0, Size: info.Size}) {
		info.Rs.Insert(part)
	}
	if left.Dirty && info.Rs.Equal(left.Rs) {
		return left, nil
	}
	value, err := json.Marshal(info)
	if err == nil {
		err = os.WriteFile(temporary, value, 0o600)
	}
	if err == nil {
		err = toDisk(temporary)
	}
	if err == nil {
		err = os.MkdirAll(filepath.Dir(meta), 0o700)
	}
	if err == nil {
		err = os.Rename(temporary, meta)
	}
	return info, err
}
