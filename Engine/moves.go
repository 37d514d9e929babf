// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"errors"
	"io"
	"os"
	"path"
	"strings"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/vfs"
	"github.com/rclone/rclone/vfs/vfscache/writeback"
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
		f.moves++
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
	if cache != nil && node.IsDir() {
		m.files.suspects.settleBelow(from) // the drive forgets a folder that it moves, and shows what Google has
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
		if err := m.renameFile(source, target, from, to); err != nil {
			return err
		}
		m.files.trashNames.moved(from, to)
		return nil
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
	targetSeen := m.isBehind(to) // Google may have something at the target
	if target != nil {
		name := target.CachePath()
		targetSeen = targetSeen || objectOf(target) != nil || cache.attempted(name)
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
	unknown := objectOf(source) == nil
	if err = drive.Rename(from, to); err != nil {
		return err
	}
	overwritten.drop()
	m.release(to)
	aside.put(source.CachePath(), objectOf(source))
	m.note(from, false, unknown && sourceSeen)
	m.note(to, unknown && targetSeen, false)
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
	m.correct(to)
	return nil
}

// correct makes the drive list the folder in which a moved one is if it has that with another path. This comes from a
// listing that was made before the move and arrived in its midst. The next move would be one of whatever is at that path.
func (m *moves) correct(folder string) {
	node, err := m.files.drive.Stat(folder)
	if err != nil || node.DirEntry() == nil || node.DirEntry().Remote() == folder {
		return
	}
	if root, err := m.files.drive.Root(); err == nil {
		root.ForgetPath(folder, fs.EntryDirectory)
	}
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

// adopt lets the uploads that the process before left tell the drive's files of their success; none begins before its
// file is there. rclone begins them for nobody: once uploaded, the file would count as gone from Google when it is opened,
// lose its content in the cache, and what is written to it then would replace all of it at Google.
func (m *moves) adopt(left []writeback.QueueInfo) {
	for _, info := range left {
		end := m.begin(info.Name)
		m.rebind(info.Name)
		end()
		m.files.cache.hasten(info.Name)
	}
}

// remove removes a file or an empty folder.
func (m *moves) remove(name string) error {
	name = cleanPath(name)
	drive, cache := m.files.drive, m.files.cache
	node, err := drive.Stat(name)
	if err != nil {
		return err
	}
	if cache != nil && node.IsDir() {
		m.files.suspects.settleBelow(name) // Google would not take it for empty
	}
	defer m.begin(name)()
	if node, err = drive.Stat(name); err != nil {
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
	unknown := objectOf(file) == nil
	remove := func() error { return drive.Remove(name) }
	if err := m.files.trashNames.whileTrashed(name, objectOf(file), remove); err != nil {
		aside.put(cached, objectOf(file))
		return err
	}
	aside.drop()
	suspected := unknown && seen
	if !suspected {
		m.files.trashNames.forget(name)
	}
	m.note(name, false, suspected)
	m.release(name)
	return nil
}

// isBehind tells whether Google may have an object at a path that the drive does not know.
func (m *moves) isBehind(path string) bool {
	f := m.files
	f.mu.Lock()
	defer f.mu.Unlock()
	return f.behind[path] || !f.suspects.since[path].IsZero()
}

// note replaces what is known of a path: whether the file there is behind, or whether the path, without a file, is
// suspected.
func (m *moves) note(path string, behind, suspected bool) {
	f := m.files
	f.mu.Lock()
	defer f.mu.Unlock()
	delete(f.behind, path)
	delete(f.suspects.since, path)
	if behind {
		f.behind[path] = true
	}
	if suspected {
		f.suspects.add(path)
	}
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
	for path := range f.suspects.since {
		if within(path, to) {
			delete(f.suspects.since, path) // of a folder that was there before
		}
	}
	for path, since := range f.suspects.since {
		if path != from && within(path, from) {
			delete(f.suspects.since, path)
			f.suspects.since[to+strings.TrimPrefix(path, from)] = since
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
