// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"fmt"
	"reflect"
	"sync"
	"sync/atomic"
	"time"
	"unsafe"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/rc"
	"github.com/rclone/rclone/vfs"
	"github.com/rclone/rclone/vfs/vfscache"
	"github.com/rclone/rclone/vfs/vfscache/writeback"
)

// errNotServed is the answer of "vfs/stats" until the drive is served, in rclone's words.
var errNotServed = errors.New(`no VFS active and "fs" parameter not supplied`)

// servedDrive is what "vfs/stats" answers from.
type servedDrive struct {
	drive    *vfs.VFS
	cache    *vfscache.Cache // nil if rclone could not open it, and serves the drive read-only
	items    func() []*vfscache.Item
	item     func(name string) *vfscache.Item // nil if the cache has none
	setAside setAside
}

var served atomic.Pointer[servedDrive]

// noteServed makes "vfs/stats" answer for the drive from now on.
func noteServed(drive *vfs.VFS, aside setAside) error {
	s := &servedDrive{drive: drive, setAside: aside}
	if err := s.findCache(); err != nil {
		return fmt.Errorf("this release of rclone keeps its cache otherwise: %w", err)
	}
	served.Store(s)
	return nil
}

// findCache finds the drive's cache and the files in it, to which rclone gives no way that does not take the locks of the
// directory tree.
func (s *servedDrive) findCache() error {
	pointer, err := member[*vfscache.Cache](s.drive, "cache")
	if err != nil || *pointer == nil {
		return err
	}
	s.cache = *pointer
	mutex, err := member[sync.Mutex](s.cache, "mu")
	if err != nil {
		return err
	}
	items, err := member[map[string]*vfscache.Item](s.cache, "item")
	if err != nil {
		return err
	}
	s.items = func() (list []*vfscache.Item) {
		mutex.Lock()
		defer mutex.Unlock()
		for _, item := range *items {
			list = append(list, item)
		}
		return list
	}
	s.item = func(name string) *vfscache.Item {
		mutex.Lock()
		defer mutex.Unlock()
		return (*items)[name]
	}
	return nil
}

// servedObjectID returns the identifier of the object that a file in the cache is or will be uploaded to; empty if there is
// none.
func servedObjectID(name string) string {
	s := served.Load()
	if s == nil || s.cache == nil {
		return ""
	}
	item := s.item(name)
	if item == nil {
		return ""
	}
	mutex, mutexErr := member[sync.Mutex](item, "mu")
	object, objectErr := member[fs.Object](item, "o")
	if mutexErr != nil || objectErr != nil {
		return "" // another release of rclone
	}
	mutex.Lock()
	defer mutex.Unlock()
	if identified, ok := (*object).(fs.IDer); ok {
		return identified.ID()
	}
	return ""
}

// member returns the address of the struct's field of this name and type, exported or not.
func member[T any](structure any, name string) (*T, error) {
	field := reflect.ValueOf(structure).Elem().FieldByName(name)
	if !field.IsValid() || field.Type() != reflect.TypeFor[T]() {
		return nil, fmt.Errorf("%T has no %s of type %v", structure, name, reflect.TypeFor[T]())
	}
	return (*T)(unsafe.Pointer(field.UnsafeAddr())), nil
}

// adaptVFSStats makes "vfs/stats" answer at once, whatever the directory tree waits for, and lets its numbers mean what
// they say: a file is pending from its first byte until Google has it, also while it is open, and errored from the
// first failed upload until one succeeds, and the size of the cache is that of now. rclone's own answer waits for each
// listing, holds up all look-ups meanwhile, loses sight of a file that is written, counts only broken cache entries as
// errored, and measures the cache once a minute.
func adaptVFSStats() {
	adapted := *rc.Calls.Get("vfs/stats")
	adapted.Fn = func(context.Context, rc.Params) (rc.Params, error) {
		s := served.Load()
		if s == nil {
			return nil, errNotServed
		}
		return s.stats(), nil
	}
	rc.Add(adapted)
}

func (s *servedDrive) stats() rc.Params {
	out := rc.Params{"fs": fs.ConfigString(s.drive.Fs()), "opt": s.drive.Opt}
	if s.setAside.files > 0 {
		out["setAside"] = rc.Params{"directory": s.setAside.directory, "files": s.setAside.files}
	}
	if s.cache == nil {
		return out
	}
	figures := s.cache.Stats()
	out["diskCache"] = figures
	queue, _ := s.cache.Queue()["queue"].([]writeback.QueueInfo)
	pending, uploading := map[string]bool{}, 0
	for _, entry := range queue {
		pending[entry.Name] = true
		if entry.Uploading {
			uploading++
		}
	}
	used := int64(0)
	for _, item := range s.items() {
		if item.IsDirty() {
			pending[item.GetName()] = true
		}
		used += presentBytes(item)
	}
	figures["bytesUsed"] = used
	figures["uploadsInProgress"] = uploading
	figures["uploadsQueued"] = max(len(pending)-uploading, 0)
	broken, _ := figures["erroredFiles"].(int)
	figures["erroredFiles"] = broken + failedUploads(queue, time.Duration(s.drive.Opt.WriteBack))
	return out
}

// presentBytes returns how much of a file is in the cache.
func presentBytes(item *vfscache.Item) int64 {
	mutex, mutexErr := member[sync.Mutex](item, "mu")
	info, infoErr := member[vfscache.Info](item, "info")
	if mutexErr != nil || infoErr != nil {
		return 0 // another release of rclone; noteHoles says so in the log
	}
	mutex.Lock()
	defer mutex.Unlock()
	return info.Rs.Size()
}

// failedUploads counts the entries that failed and wait for another try or are being tried again.
//
// An upload that was cancelled because its file was written again has been tried, too, but is in no trouble: it has the
// plain write-back time as its delay, whereas each failure doubles that.
func failedUploads(queue []writeback.QueueInfo, writeBack time.Duration) int {
	failed := 0
	for _, entry := range queue {
		failures := entry.Tries
		if entry.Uploading {
			failures-- // the try that is under way
		}
		cancelled := writeBack > 0 && entry.Delay == writeBack.Seconds()
		if failures > 0 && !cancelled {
			failed++
		}
	}
	return failed
}
