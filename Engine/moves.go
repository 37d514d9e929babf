// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"io"
	"os"
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
type moves struct{ files *openFiles }

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
	switch {
	case cache == nil || source == target && isFile:
		return drive.Rename(from, to)
	case isFile:
		return m.renameFile(source, target, from, to)
	default:
		return m.renameFolder(from, to)
	}
}

// renameFile moves a file, over another if there is a target.
func (m *moves) renameFile(source, target *vfs.File, from, to string) (err error) {
	drive, cache := m.files.drive, m.files.cache
	var aside, overwritten *asideFile
	sourceName := source.CachePath()
	sourceObject := objectOf(source)
	defer func() {
		if err != nil {
			aside.put(sourceName, sourceObject)
			if target != nil {
				overwritten.put(target.CachePath(), objectOf(target))
			}
			cache.hasten(sourceName)
		}
	}()
	targetSeen := false // Google has something at the target
	if target != nil {
		name := target.CachePath()
		targetSeen = objectOf(target) != nil || cache.attempted(name) || m.isBehind(to)
		if cache.InUse(name) {
			if overwritten, err = cache.setAside(name, objectOf(target)); err != nil {
				return err
			}
		}
	}
	cache.delay(sourceName)
	sourceSeen := cache.attempted(sourceName) || m.isBehind(from)
	if cache.uploading(sourceName) {
		if aside, err = cache.setAside(sourceName, sourceObject); err != nil {
			return err
		}
		sourceObject = objectOf(source) // the upload may have succeeded at the last moment
	}
	if sourceObject == nil && sourceSeen {
		// Google has an object at the old path that the drive does not know of. It becomes the object of the new path.
		if err = m.moveObject(from, to); err != nil {
			return err
		}
		targetSeen = true
	}
	if err = drive.Rename(from, to); err != nil {
		return err
	}
	overwritten.drop()
	m.release(to)
	aside.put(source.CachePath(), objectOf(source))
	m.forget(from)
	m.forget(to)
	if objectOf(source) == nil && targetSeen {
		m.remember(to)
	}
	m.rekey(from, to)
	return nil
}

// renameFolder moves a folder. rclone sends what is being uploaded from it to the old path, for which it makes a folder
// again.
func (m *moves) renameFolder(from, to string) error {
	drive, cache := m.files.drive, m.files.cache
	aside := map[string]*asideFile{} // by path below the folder
	object := func(name string) fs.Object {
		if node, err := drive.Stat(name); err == nil {
			object, _ := node.DirEntry().(fs.Object)
			return object
		}
		return nil
	}
	finish := func(folder string) {
		for below, file := range aside {
			file.put(folder+below, object(folder+below))
		}
		cache.hasten(folder)
	}
	cache.delay(from)
	for _, info := range cache.uploads(from) {
		if !info.Uploading {
			continue
		}
		file, err := cache.setAside(info.Name, object(info.Name))
		if err != nil {
			finish(from)
			return err
		}
		aside[strings.TrimPrefix(info.Name, from)] = file
	}
	err := drive.Rename(from, to)
	if err != nil {
		finish(from)
		return err
	}
	// What was set aside has moved with the folder.
	for _, file := range aside {
		file.name = to + strings.TrimPrefix(file.name, from)
	}
	finish(to)
	m.rekey(from, to)
	for _, info := range cache.uploads(to) {
		m.rebind(info.Name)
	}
	return nil
}

// rebind makes the upload of a file tell the file that the drive has at this path now of its success. rclone forgets the
// files of a folder that is moved; an upload that it began for one of those would put that into the folder again, under
// the path from before the move, and what is written to it from then on would be uploaded to that path.
func (m *moves) rebind(name string) {
	node, err := m.files.drive.Stat(name)
	if err != nil {
		fs.Debugf(name, "A file that waits for its upload is not in its folder: %v", err)
		return
	}
	if m.files.cache.missing(name) {
		return // it cannot be closed now
	}
	handle, err := node.Open(os.O_RDONLY)
	if err == nil {
		_, err = handle.Seek(0, io.SeekEnd) // opens the cache's file
		err = errors.Join(err, handle.Close())
	}
	if err != nil {
		fs.Errorf(name, "Failed to follow a file whose folder was moved: %v", err)
	}
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
	cached := file.CachePath()
	seen := cache.attempted(cached) || m.isBehind(name)
	var aside *asideFile
	if cache.InUse(cached) {
		if aside, err = cache.setAside(cached, objectOf(file)); err != nil {
			return err
		}
	}
	if objectOf(file) == nil && seen {
		object, err := cache.remoteObject(name)
		if err == nil && object != nil {
			err = object.Remove(context.Background())
		}
		if err != nil {
			aside.put(cached, objectOf(file))
			return err
		}
	}
	if err := drive.Remove(name); err != nil {
		aside.put(cached, objectOf(file))
		return err
	}
	aside.drop()
	m.forget(name)
	m.release(name)
	return nil
}

func (m *moves) isBehind(path string) bool {
	m.files.mu.Lock()
	defer m.files.mu.Unlock()
	return m.files.behind[path]
}

func (m *moves) forget(path string) {
	m.files.mu.Lock()
	defer m.files.mu.Unlock()
	delete(m.files.behind, path)
}

func (m *moves) remember(path string) {
	m.files.mu.Lock()
	defer m.files.mu.Unlock()
	m.files.behind[path] = true
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
	for path := range m.files.behind {
		if path != from && within(path, from) {
			delete(m.files.behind, path)
			m.files.behind[to+strings.TrimPrefix(path, from)] = true
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
