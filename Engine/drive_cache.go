// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"fmt"
	"io"
	"os"
	"path"
	"path/filepath"
	"slices"
	"strings"
	"sync"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/lib/encoder"
	"github.com/rclone/rclone/lib/ranges"
	"github.com/rclone/rclone/vfs"
	"github.com/rclone/rclone/vfs/vfscache"
	"github.com/rclone/rclone/vfs/vfscache/writeback"
	"golang.org/x/sys/unix"
)

const (
	// leastRoom is the free space in bytes that a file with unsent changes needs to be opened: rclone rewrites its record
	// then, and drops the file when that fails.
	leastRoom = 1 << 20
	// putOff keeps an upload from starting while its file is being moved; the move sets the time anew.
	putOff = time.Hour
	// fetchSize is how many bytes are asked for at a time of what is missing of a file.
	fetchSize = 1 << 20
)

// driveCache is the cache of a drive, and what the engine needs to do with it beside rclone. A nil one is no cache.
type driveCache struct {
	*vfscache.Cache
	drive      *vfs.VFS
	data, meta string // folders
}

// cacheOf returns the cache of a drive, nil if it has none.
func cacheOf(drive *vfs.VFS) (*driveCache, error) {
	inner, err := member[*vfscache.Cache](drive, "cache")
	if err != nil || *inner == nil {
		return nil, err
	}
	cache := *inner
	stats := cache.Stats()
	data, _ := stats["path"].(string)
	meta, _ := stats["pathMeta"].(string)
	return &driveCache{Cache: cache, drive: drive, data: data, meta: meta}, nil
}

// dirtyItem returns the cache's entry for a file with changes that Google does not have, else nil.
func (c *driveCache) dirtyItem(name string) *vfscache.Item {
	if c == nil {
		return nil
	}
	return c.DirtyItem(name)
}

// roomToOpen returns ENOSPC if opening the file could lose its unsent changes.
func (c *driveCache) roomToOpen(name string) error {
	if c.dirtyItem(name) == nil {
		return nil
	}
	var status unix.Statfs_t
	if err := unix.Statfs(c.meta, &status); err != nil {
		return err
	}
	free := status.Bavail
	if os.Geteuid() == 0 {
		free = status.Bfree
	}
	if free*uint64(status.Bsize) < leastRoom {
		return &os.PathError{Op: "open", Path: name, Err: unix.ENOSPC}
	}
	return nil
}

// record makes the cache write down which parts of an open file there are, and the time of its last change as it was
// reported, which closing the file then leaves as it is.
func (c *driveCache) record(file *vfs.File) {
	if c == nil {
		return
	}
	name := file.CachePath()
	if c.dirtyItem(name) != nil {
		c.SetModTime(name, file.ModTime())
	}
}

// writeAt writes to an open file. While parts of the file are being downloaded, rclone may write what Google has over what
// has just been written, in the moment before it notes that this part is there; noted, it is left alone.
func (c *driveCache) writeAt(handle vfs.Handle, p []byte, offset int64) (int, error) {
	file, ok := handle.Node().(*vfs.File)
	twice := c != nil && ok && objectOf(file) != nil && !missingOf(c.Item(file.CachePath())).IsEmpty()
	n, err := handle.WriteAt(p, offset)
	if twice && err == nil {
		n, err = handle.WriteAt(p, offset)
	}
	return n, err
}

// missing tells whether parts of a changed file have to come from Google before it can be uploaded.
func (c *driveCache) missing(name string) bool {
	item := c.dirtyItem(name)
	if item == nil || missingOf(item).IsEmpty() {
		return false
	}
	if err := noteHoles(item); err != nil {
		fs.Errorf(name, "Failed to note the holes of a new file: %v", err)
	}
	return !missingOf(item).IsEmpty()
}

// noteHoles makes the cache take all of a file that Google never had as written. rclone does not note the part that a WRITE
// behind the end leaves out, or that there was no room for, if it is asked for the size while the file grows; it would look
// for it at Google for ever.
func noteHoles(item *vfscache.Item) error {
	mutex, err := member[sync.Mutex](item, "mu")
	if err != nil {
		return err
	}
	object, err := member[fs.Object](item, "o")
	if err != nil {
		return err
	}
	info, err := member[vfscache.Info](item, "info")
	if err != nil {
		return err
	}
	mutex.Lock()
	defer mutex.Unlock()
	if *object == nil && info.Fingerprint == "" {
		info.Rs.Insert(ranges.Range{Pos: 0, Size: info.Size})
	}
	return nil
}

func missingOf(item *vfscache.Item) ranges.Range {
	size, err := item.GetSize()
	if err != nil {
		return ranges.Range{}
	}
	return item.FindMissing(ranges.Range{Pos: 0, Size: size})
}

// fetch gets the missing parts of a changed file that is open.
func (c *driveCache) fetch(name string, open io.ReaderAt) error {
	buffer := make([]byte, fetchSize)
	last := int64(-1)
	for {
		item := c.dirtyItem(name)
		if item == nil {
			return nil
		}
		missing := missingOf(item)
		if missing.IsEmpty() || missing.Pos == last {
			return nil // there, or not to be had: what Google has is shorter
		}
		last = missing.Pos
		if _, err := open.ReadAt(buffer[:min(fetchSize, missing.Size)], missing.Pos); err != nil && err != io.EOF {
			return err
		}
	}
}

// sync brings a file of the cache, what is recorded of it and the names of both to the disk.
func (c *driveCache) sync(file *vfs.File) error {
	name := filepath.FromSlash(encoder.OS.FromStandardPath(file.CachePath()))
	for _, root := range []string{c.data, c.meta} {
		for at := filepath.Join(root, name); len(at) >= len(root); at = filepath.Dir(at) {
			if err := toDisk(at); err != nil && !errors.Is(err, os.ErrNotExist) {
				return err
			}
		}
	}
	return nil
}

// toDisk brings a file or folder to the disk.
var toDisk = func(path string) error {
	file, err := os.Open(path)
	if err != nil {
		return err
	}
	return errors.Join(file.Sync(), file.Close())
}

// asideFile is a file of the cache under a name that nobody looks for.
type asideFile struct {
	cache *driveCache
	name  string
}

// setAside takes a file of the cache, which has this object at Google, out of the way of what is about to happen under
// its name. An upload that runs is ended, and none begins. If the engine dies before the file is put somewhere or
// dropped, the next start uploads its changes under a name that says that it was kept.
func (c *driveCache) setAside(name string, object fs.Object) (*asideFile, error) {
	leaf := path.Base(name)
	if len(leaf) > 180 {
		leaf = strings.ToValidUTF8(leaf[:180], "")
	}
	aside := &asideFile{cache: c, name: path.Join(path.Dir(name), fmt.Sprintf("%s (kept %x)", leaf, time.Now().UnixNano()))}
	if err := c.Rename(name, aside.name, object); err != nil {
		return nil, err
	}
	c.delay(aside.name)
	return aside, nil
}

// uploads returns the entries in the queue of uploads of a path and everything below it.
func (c *driveCache) uploads(name string) (found []writeback.QueueInfo) {
	queue, _ := c.Queue()["queue"].([]writeback.QueueInfo)
	for _, info := range queue {
		if within(info.Name, name) {
			found = append(found, info)
		}
	}
	return found
}

// uploading tells whether a file is on its way to Google.
func (c *driveCache) uploading(name string) bool {
	for _, info := range c.uploads(name) {
		if info.Uploading {
			return true
		}
	}
	return false
}

// attempted tells whether Google may have got something of a file that waits for its upload or is being uploaded.
func (c *driveCache) attempted(name string) bool { return anyAttempted(c.uploads(name)) }

func anyAttempted(uploads []writeback.QueueInfo) bool {
	return slices.ContainsFunc(uploads, func(info writeback.QueueInfo) bool { return info.Uploading || info.Tries > 0 })
}

// delay keeps uploads of a path and everything below it from beginning. It tells whether Google may have got something of
// them.
func (c *driveCache) delay(name string) (attempted bool) {
	uploads := c.uploads(name)
	c.schedule(uploads, putOff)
	return anyAttempted(uploads)
}

// hasten lets uploads of a path and everything below it begin after the usual time.
func (c *driveCache) hasten(name string) {
	c.schedule(c.uploads(name), time.Duration(c.drive.Opt.WriteBack))
}

func (c *driveCache) schedule(uploads []writeback.QueueInfo, after time.Duration) {
	for _, info := range uploads {
		if !info.Uploading {
			_ = c.QueueSetExpiry(info.ID, time.Now(), after) // fails for what has left the queue meanwhile
		}
	}
}

// put gives the file a name at which nothing is, and the object that it has at Google.
func (a *asideFile) put(name string, object fs.Object) {
	if a == nil {
		return
	}
	if err := a.cache.Rename(a.name, name, object); err != nil {
		fs.Errorf(name, "Failed to put a file of the cache in its place: %v", err)
	}
}

// drop removes the file.
func (a *asideFile) drop() {
	if a != nil {
		a.cache.Remove(a.name)
	}
}

// objectOf returns what Google has of a file, nil if nothing is known.
func objectOf(file *vfs.File) fs.Object {
	object, _ := file.DirEntry().(fs.Object)
	return object
}

// remoteObject asks Google for the object at a path, nil if there is none.
func (c *driveCache) remoteObject(ctx context.Context, name string) (fs.Object, error) {
	object, err := c.drive.Fs().NewObject(ctx, name)
	if errors.Is(err, fs.ErrorObjectNotFound) || errors.Is(err, fs.ErrorDirNotFound) || errors.Is(err, fs.ErrorIsDir) {
		return nil, nil
	}
	return object, err
}
