// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"path"
	"strings"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/operations"
	"github.com/rclone/rclone/vfs"
)

// moves renames and removes files of a drive whose uploads may be pending or running.
//
// rclone forgets some things there. Moving a file over another leaves the other's upload in the queue, which then sends
// the new content to the object that has just gone to the trash. A file that Google does not have yet and that is moved
// over one that it has leaves the object of the latter, to be updated by the upload; if the file is moved on or removed
// before, the old content is back.
type moves struct {
	files *openFiles
	// behind has the paths of files that Google does not have yet and where it has an object that was moved over.
	// openFiles.mu protects it.
	behind map[string]bool
}

func newMoves(files *openFiles) *moves { return &moves{files: files, behind: map[string]bool{}} }

// begin closes what is open at the paths and below them, and holds up everybody else there until the function that it
// returns is called.
func (m *moves) begin(paths ...string) (end func()) {
	f := m.files
	f.mu.Lock()
	defer f.mu.Unlock()
	for f.anyMoving(paths) {
		f.changed.Wait()
	}
	f.moving = append(f.moving, paths...)
	for again := true; again; {
		again = false
		for _, e := range f.files {
			if !withinAny(e.path, paths) {
				continue
			}
			if e.opening || e.closing || e.writers > 0 {
				f.changed.Wait()
				again = true
				break
			}
			if e.writer != nil && !e.fetching || e.reader != nil {
				// Both give the lock back for a time.
				f.note(e, f.closeWriter(e))
				f.dropReader(e)
				again = true
				break
			}
		}
	}
	return func() {
		f.mu.Lock()
		defer f.mu.Unlock()
		rest := f.moving[:0]
		for _, moving := range f.moving {
			if !withinExactly(moving, paths) {
				rest = append(rest, moving)
			}
		}
		f.moving = rest
		f.changed.Broadcast()
	}
}

func (f *openFiles) anyMoving(paths []string) bool {
	for _, path := range paths {
		if f.isMoving(path) {
			return true
		}
	}
	return false
}

func withinAny(path string, folders []string) bool {
	for _, folder := range folders {
		if within(path, folder) {
			return true
		}
	}
	return false
}

func withinExactly(path string, paths []string) bool {
	for _, other := range paths {
		if path == other {
			return true
		}
	}
	return false
}

// rename moves a file or a folder.
func (m *moves) rename(from, to string) error {
	from, to = cleanPath(from), cleanPath(to)
	drive, cache := m.files.drive, m.files.cache
	node, err := drive.Stat(from)
	if err != nil {
		return err
	}
	if from == to {
		return nil
	}
	defer m.begin(from, to)()
	if node, err = drive.Stat(from); err != nil {
		return err
	}
	source, isFile := node.(*vfs.File)
	other, err := drive.Stat(to)
	if err != nil && err != vfs.ENOENT {
		return err
	}
	target, _ := other.(*vfs.File)
	if cache == nil || !isFile || source == target {
		if err := drive.Rename(from, to); err != nil {
			return err
		}
		m.rekey(from, to)
		return nil
	}

	var overwritten, aside *asideFile
	restore := func() {
		aside.put(source)
		overwritten.put(target)
		cache.hasten(source.CachePath())
	}
	targetSeen := false // Google has something at the target
	if target != nil {
		uploading := m.uploading(target)
		targetSeen = objectOf(target) != nil || uploading || m.isBehind(to)
		if m.inUse(target) {
			if overwritten, err = cache.setAside(target); err != nil {
				return err
			}
		}
	}
	sourceSeen := m.isBehind(from)
	if cache.dirtyItem(source.CachePath()) != nil {
		cache.delay(source.CachePath())
		if m.uploading(source) {
			sourceSeen = true
			if aside, err = cache.setAside(source); err != nil {
				restore()
				return err
			}
		}
	}
	if objectOf(source) == nil && sourceSeen {
		// Google has an object at the old path that the drive does not know of. It becomes the object of the new path.
		if err := m.moveObject(from, to); err != nil {
			restore()
			return err
		}
		targetSeen = true
	}
	if err := drive.Rename(from, to); err != nil {
		restore()
		return err
	}
	overwritten.drop()
	aside.put(source)
	m.forget(from)
	m.forget(to)
	if objectOf(source) == nil && targetSeen {
		m.remember(to)
	}
	m.rekey(from, to)
	return nil
}

// moveObject moves what Google has at a path, if anything, over what it has at another.
func (m *moves) moveObject(from, to string) error {
	cache := m.files.cache
	object, err := cache.remoteObject(from)
	if object == nil || err != nil {
		return err
	}
	overwritten, err := cache.remoteObject(to)
	if err != nil {
		return err
	}
	_, err = operations.Move(context.Background(), m.files.drive.Fs(), overwritten, to, object)
	return err
}

// remove removes a file or an empty folder.
func (m *moves) remove(name string) error {
	name = cleanPath(name)
	drive, cache := m.files.drive, m.files.cache
	if _, err := drive.Stat(name); err != nil {
		return err
	}
	defer m.begin(name)()
	node, err := drive.Stat(name)
	if err != nil {
		return err
	}
	file, isFile := node.(*vfs.File)
	if cache == nil || !isFile {
		return drive.Remove(name)
	}
	seen := m.uploading(file) || m.isBehind(name)
	var aside *asideFile
	if m.inUse(file) {
		if aside, err = cache.setAside(file); err != nil {
			return err
		}
	}
	if objectOf(file) == nil && seen {
		object, err := cache.remoteObject(name)
		if err == nil && object != nil {
			err = object.Remove(context.Background())
		}
		if err != nil {
			aside.put(file)
			return err
		}
	}
	if err := drive.Remove(name); err != nil {
		aside.put(file)
		return err
	}
	aside.drop()
	m.forget(name)
	m.release(name)
	return nil
}

// inUse tells whether the cache has more of a file than a copy of what Google has, or somebody reads it.
func (m *moves) inUse(file *vfs.File) bool {
	return m.files.cache.InUse(file.CachePath())
}

// uploading tells whether a file is on its way to Google.
func (m *moves) uploading(file *vfs.File) bool {
	info, found := m.files.cache.upload(file.CachePath())
	return found && info.Uploading
}

func (m *moves) isBehind(path string) bool {
	m.files.mu.Lock()
	defer m.files.mu.Unlock()
	return m.behind[path]
}

func (m *moves) forget(path string) {
	m.files.mu.Lock()
	defer m.files.mu.Unlock()
	delete(m.behind, path)
}

func (m *moves) remember(path string) {
	m.files.mu.Lock()
	defer m.files.mu.Unlock()
	m.behind[path] = true
}

// rekey moves what is known by path from one path to another, with everything below it.
func (m *moves) rekey(from, to string) {
	f := m.files
	f.mu.Lock()
	defer f.mu.Unlock()
	for path, e := range f.files {
		if within(path, from) {
			delete(f.files, path)
			e.path = to + strings.TrimPrefix(path, from)
			f.files[e.path] = e
		}
	}
	for path := range m.behind {
		if path != from && within(path, from) {
			delete(m.behind, path)
			m.behind[to+strings.TrimPrefix(path, from)] = true
		}
	}
}

// release forgets a file that is gone and closes what was kept open for it.
func (m *moves) release(path string) {
	f := m.files
	f.mu.Lock()
	e := f.files[path]
	if e == nil {
		f.mu.Unlock()
		return
	}
	delete(f.files, path)
	writer := e.writer
	e.writer, e.late = nil, nil
	f.mu.Unlock()
	if writer != nil {
		if err := writer.Close(); err != nil {
			fs.Debugf(path, "Closing a file that was removed: %v", err)
		}
	}
}

// cleanPath returns a path of the drive without slashes at its ends.
func cleanPath(name string) string {
	name = strings.Trim(path.Clean("/"+name), "/")
	return name
}
