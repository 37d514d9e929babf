// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"io"
	"os"
	"strings"
	"sync"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/vfs"
)

const (
	// writerSilence is how long a file that was written stays open when nothing follows. Its upload waits for that.
	writerSilence = 250 * time.Millisecond
	// readerSilence is the same for a file that was read, which keeps what is being downloaded for it.
	readerSilence = 5 * time.Second
	// rangesAge bounds how old the record on disk of what has been written to a file may become.
	rangesAge = 200 * time.Millisecond
)

// fetchPause is the time between attempts to get the rest of a file that was written in parts.
var fetchPause = 10 * time.Second

// openFiles keeps the files of a drive open between the calls of a protocol that knows no open files. Opening and
// closing for each call would rewrite the file's metadata in the cache twice, and take the file out of the queue of
// uploads and put it in again.
//
// A file is open for writing until close, a move, a removal or writerSilence. An error of closing that nobody waits for
// is kept for the next call that writes to the file or closes it.
type openFiles struct {
	drive *vfs.VFS
	cache *driveCache // nil without a cache, and then files are only read

	mu      sync.Mutex
	changed sync.Cond // something below changed
	files   map[string]*openFile
	moving  []string // paths that are being moved or removed, with everything below them
	moves   uint64   // how many moves and removals have ended
	// behind has the paths of files whose object the drive does not know, although Google may have one there: of a file
	// that was moved over, or of an upload that was ended before its answer came. The file's upload updates it.
	behind     map[string]bool
	suspects   suspects
	trashNames trashNames
}

// openFile is a file that is open or has an error to tell. openFiles.mu protects it.
type openFile struct {
	path      string
	file      *vfs.File
	writer    vfs.Handle
	writers   int  // calls that use writer
	opening   bool // writer or reader is being opened
	closing   bool // writer is being closed
	fetching  bool // what is missing before writer can be closed is being fetched
	delayed   bool // its upload waits for writer to be closed
	hasObject bool // Google had the file when writer was opened
	lastWrite time.Time
	recorded  time.Time // when the cache last wrote down which parts are written
	reader    *sharedReader
	lastRead  time.Time
	lingering int // readers in use that belonged to this file before
	late      error
	timer     *time.Timer
}

// sharedReader is a handle for reading. Whoever uses it last closes it once it is no file's reader any more.
type sharedReader struct {
	handle vfs.Handle
	object fs.Object // what was to be read when it was opened
	users  int
	orphan bool
}

func newOpenFiles(drive *vfs.VFS) (*openFiles, error) {
	cache, err := cacheOf(drive)
	f := &openFiles{drive: drive, cache: cache, files: map[string]*openFile{}, behind: map[string]bool{},
		trashNames: trashNames{byPath: map[string]string{}}}
	f.changed.L = &f.mu
	f.suspects.init(f)
	return f, err
}

// find returns the file at a path with the path under which the drive knows it.
func (f *openFiles) find(path string) (*vfs.File, string, error) {
	node, err := f.drive.Stat(path)
	if err != nil {
		return nil, "", err
	}
	file, ok := node.(*vfs.File)
	if !ok {
		return nil, "", os.ErrInvalid
	}
	return file, file.Path(), nil
}

// enter returns the record of the file at a path with the lock held, when the file is neither being moved nor opened
// nor closed. An error means that the lock is not held.
func (f *openFiles) enter(path string) (*openFile, error) {
	for {
		f.mu.Lock()
		moves := f.moves
		f.mu.Unlock()
		file, known, err := f.find(path)
		if err != nil {
			return nil, err
		}
		f.mu.Lock()
		e := f.files[known]
		if f.isMoving(known) || e != nil && (e.opening || e.closing) {
			f.changed.Wait()
			f.mu.Unlock()
			continue
		}
		if f.moves != moves {
			f.mu.Unlock() // it may be gone, and opening would put it into its folder again
			continue
		}
		if e == nil {
			e = &openFile{path: known, file: file}
			f.files[known] = e
		}
		if e.writer == nil && e.reader == nil {
			e.file = file // the drive may have forgotten and read the folder meanwhile
		}
		return e, nil
	}
}

// leave gives the lock back and forgets a record that says nothing.
func (f *openFiles) leave(e *openFile) {
	if e.writer == nil && e.reader == nil && e.late == nil && e.lingering == 0 && !e.opening && !e.closing &&
		f.files[e.path] == e {
		delete(f.files, e.path)
	}
	f.mu.Unlock()
}

// takeLate returns the error that closing the file left, once.
func (e *openFile) takeLate() error {
	late := e.late
	e.late = nil
	return late
}

// write calls use with a handle for writing the file at path. create makes an empty file of it first.
func (f *openFiles) write(path string, create bool, use func(vfs.Handle) error) error {
	if create {
		if _, _, err := f.find(path); errors.Is(err, os.ErrNotExist) {
			return f.create(path, use)
		}
	}
	e, err := f.enter(path)
	if err != nil {
		return err
	}
	if late := e.takeLate(); late != nil {
		f.leave(e)
		return late
	}
	if e.writer == nil {
		if err := f.openWriter(e, os.O_RDWR); err != nil {
			f.leave(e)
			return err
		}
	}
	if create {
		inner := use
		use = func(handle vfs.Handle) error {
			if err := handle.Truncate(0); err != nil {
				return err
			}
			return inner(handle)
		}
	}
	return f.useWriter(e, use)
}

// create makes a file that does not exist, unless somebody else is faster, and calls use as write does.
func (f *openFiles) create(path string, use func(vfs.Handle) error) error {
	f.mu.Lock()
	for e := f.files[path]; f.isMoving(path) || e != nil; e = f.files[path] {
		if f.isMoving(path) || e.opening || e.closing {
			f.changed.Wait()
		} else {
			// The file is gone without its having been removed here.
			f.note(e, f.closeWriter(e))
			f.dropReader(e)
			delete(f.files, path)
		}
		f.mu.Unlock()
		if _, _, err := f.find(path); err == nil {
			return f.write(path, true, use)
		}
		f.mu.Lock()
	}
	e := &openFile{path: path, opening: true}
	f.files[path] = e
	f.mu.Unlock()

	handle, err := f.drive.OpenFile(path, os.O_RDWR|os.O_CREATE|os.O_TRUNC, 0o666)
	var file *vfs.File
	if err == nil {
		var ok bool
		if file, ok = handle.Node().(*vfs.File); !ok || file.Path() != path {
			// Somebody made a folder, or the name in another form, just now.
			if err = handle.Close(); err == nil {
				err = os.ErrExist
			}
		}
	}

	f.mu.Lock()
	if err := f.endOpening(e, err); err != nil {
		return err
	}
	f.suspects.acquit(path)
	e.file, e.writer = file, handle
	e.hasObject = file.DirEntry() != nil
	return f.useWriter(e, use)
}

// truncate sets the size of the file at path.
func (f *openFiles) truncate(path string, size int64) error {
	err := f.write(path, false, func(handle vfs.Handle) error { return handle.Truncate(size) })
	if err != nil {
		// While it is open it would be reported with the size that it could not get.
		if closeErr := f.close(path, false); closeErr != nil {
			fs.Errorf(path, "Failed to close the file after an error: %v", closeErr)
		}
	}
	return err
}

// openNow opens a file and with it the cache's file, which handles leave to their first use: what can fail shall fail
// here. Opening also puts the file into its folder, which must not come after its removal.
func openNow(file *vfs.File, flags int) (vfs.Handle, error) {
	handle, err := file.Open(flags)
	if err != nil {
		return nil, err
	}
	if _, err = handle.Seek(0, io.SeekEnd); err != nil {
		return nil, errors.Join(err, handle.Close())
	}
	return handle, nil
}

// endOpening notes that opening a file has ended, and how. The lock is held; after an error, which it returns, it is given
// back.
func (f *openFiles) endOpening(e *openFile, err error) error {
	e.opening = false
	f.changed.Broadcast()
	if err != nil {
		f.leave(e)
	}
	return err
}

// openWriter opens the file for writing. It is called and returns with the lock held.
func (f *openFiles) openWriter(e *openFile, flags int) error {
	e.opening = true
	f.mu.Unlock()
	behind := false
	if f.cache != nil && objectOf(e.file) == nil {
		// Writing ends an upload that runs; Google may have taken it all the same.
		behind = f.cache.delay(e.path)
	}
	f.cache.forgetRecord(e.file)
	err := f.cache.roomToOpen(e.path)
	var handle vfs.Handle
	if err == nil {
		handle, err = openNow(e.file, flags)
	}
	f.mu.Lock()
	e.opening = false
	f.changed.Broadcast()
	if behind {
		f.behind[e.path] = true
	}
	if err != nil {
		if f.cache != nil {
			f.cache.hasten(e.path)
		}
		return err
	}
	f.suspects.acquit(e.path)
	e.writer = handle
	e.delayed = objectOf(e.file) == nil
	e.hasObject = e.file.DirEntry() != nil
	return nil
}

// useWriter calls use with the open writer. It is called with the lock held and gives it back.
func (f *openFiles) useWriter(e *openFile, use func(vfs.Handle) error) error {
	e.writers++
	handle := e.writer
	f.mu.Unlock()

	err := use(handle)

	f.mu.Lock()
	e.writers--
	e.lastWrite = time.Now()
	record := err == nil && e.hasObject && time.Since(e.recorded) > rangesAge
	if record {
		e.recorded = e.lastWrite
		e.writers++
	}
	f.arm(e, writerSilence)
	f.changed.Broadcast()
	if !record {
		f.leave(e)
		return err
	}
	f.mu.Unlock()
	// The cache knows which parts of the file were written, but tells its disk only when the file is closed. A process
	// that starts after this one was killed would take the other parts, and these with them, from Google.
	f.cache.record(e.file)
	f.mu.Lock()
	e.writers--
	f.changed.Broadcast()
	f.leave(e)
	return err
}

// read calls use with a handle for reading the file at path.
func (f *openFiles) read(path string, use func(vfs.Handle) error) error {
	e, err := f.enter(path)
	if err != nil {
		return err
	}
	object, _ := e.file.DirEntry().(fs.Object)
	if e.reader != nil && e.writer == nil && changedObject(e.reader.object, object) {
		f.dropReader(e) // another version has come from Google
	}
	if e.reader == nil {
		e.opening = true
		f.mu.Unlock()
		f.cache.forgetRecord(e.file)
		handle, err := openNow(e.file, os.O_RDONLY)
		f.mu.Lock()
		if err := f.endOpening(e, err); err != nil {
			return err
		}
		e.reader = &sharedReader{handle: handle}
	}
	reader := e.reader
	reader.object = object
	reader.users++
	f.mu.Unlock()

	err = use(reader.handle)

	f.mu.Lock()
	reader.users--
	e.lastRead = time.Now()
	if reader.orphan && reader.users == 0 {
		f.mu.Unlock()
		closeErr := reader.handle.Close()
		f.mu.Lock()
		e.lingering--
		f.note(e, closeErr)
	} else if e.writer == nil {
		f.arm(e, readerSilence)
	}
	f.leave(e)
	return err
}

// changedObject tells whether b is another version of a file than a.
func changedObject(a, b fs.Object) bool {
	if a == b || a == nil || b == nil {
		return false
	}
	ctx := context.Background()
	return a.Size() != b.Size() || !a.ModTime(ctx).Equal(b.ModTime(ctx))
}

// dropReader makes the reader nobody's and closes it, now or when its last user is done. The lock is held, and given
// back for a moment.
func (f *openFiles) dropReader(e *openFile) {
	reader := e.reader
	if reader == nil {
		return
	}
	e.reader = nil
	reader.orphan = true
	e.lingering++
	if reader.users > 0 {
		return
	}
	f.mu.Unlock()
	err := reader.handle.Close()
	f.mu.Lock()
	e.lingering--
	f.note(e, err)
}

// note keeps an error for the next call that cares.
func (f *openFiles) note(e *openFile, err error) {
	if err == nil {
		return
	}
	fs.Errorf(e.path, "Failed to close the file: %v", err)
	if e.late == nil {
		e.late = err
	}
}

// arm looks after the file again after some time. The lock is held.
func (f *openFiles) arm(e *openFile, after time.Duration) {
	if e.timer != nil {
		e.timer.Reset(after)
		return
	}
	e.timer = time.AfterFunc(after, func() { f.expire(e) })
}

// expire closes what nobody has used for a while.
func (f *openFiles) expire(e *openFile) {
	f.mu.Lock()
	switch {
	case f.files[e.path] != e || e.opening || e.closing:
	case e.writer != nil:
		if rest := writerSilence - time.Since(e.lastWrite); e.writers > 0 || rest > 0 {
			f.arm(e, max(rest, writerSilence/10))
			break
		}
		if err := f.closeWriter(e); err != nil {
			f.note(e, err)
		}
	case e.reader != nil:
		if rest := readerSilence - time.Since(e.lastRead); e.reader.users > 0 || rest > 0 {
			f.arm(e, max(rest, readerSilence/10))
			break
		}
		f.dropReader(e)
	}
	f.leave(e)
}

// closeWriter closes the file for writing and reading, so that its upload is in the queue when this returns. What is
// missing of a file that was written in parts is fetched first, in the background: then the file stays open until it is
// there. The lock is held, and given back meanwhile.
func (f *openFiles) closeWriter(e *openFile) error {
	for e.closing {
		f.changed.Wait()
	}
	if e.writer == nil || e.fetching {
		return nil
	}
	if f.cache.missing(e.path) {
		e.fetching = true
		go f.fetch(e)
		return nil
	}
	e.closing = true
	for e.writers > 0 {
		f.changed.Wait()
	}
	writer := e.writer
	e.writer = nil
	f.dropReader(e)
	f.mu.Unlock()

	f.cache.keepRecord(e.file, false)
	f.cache.record(e.file)
	err := writer.Close()
	if e.delayed && f.cache != nil {
		f.cache.hasten(e.path) // if nothing was written it is in the queue as it was
	}

	f.mu.Lock()
	e.closing, e.delayed = false, false
	f.changed.Broadcast()
	return err
}

// fetch gets what is missing of an open file and closes it. It tries for as long as it takes: until then the changes
// are in the cache and the file counts as pending.
func (f *openFiles) fetch(e *openFile) {
	for attempt := 1; ; attempt++ {
		f.mu.Lock()
		writer := e.writer
		path := e.path
		f.mu.Unlock()
		var err error
		if writer != nil {
			err = f.cache.fetch(path, writer)
		}
		f.mu.Lock()
		for f.isMoving(e.path) {
			f.changed.Wait()
		}
		if err == nil || e.writer == nil {
			e.fetching = false
			f.note(e, f.closeWriter(e))
			f.leave(e)
			return
		}
		f.mu.Unlock()
		fs.Errorf(e.path, "Failed to get the rest of a file that was changed, try #%d: %v", attempt, err)
		time.Sleep(fetchPause)
	}
}

// close closes the file at path and reports what went wrong with it. With sync its content and what the cache knows of
// it are on the disk when this returns, also if the file was closed before.
func (f *openFiles) close(path string, sync bool) error {
	e, err := f.enter(path)
	if errors.Is(err, os.ErrNotExist) || errors.Is(err, os.ErrInvalid) {
		return nil // gone, or a folder
	} else if err != nil {
		return err
	}
	late := e.takeLate()
	if err := f.closeWriter(e); late == nil {
		late = err
	}
	if late == nil && f.cache != nil && (sync || e.writer != nil) {
		e.writers++ // holds up a move
		writer := e.writer
		f.mu.Unlock()
		switch {
		case writer != nil && sync:
			late = writer.Sync()
		case writer != nil:
			f.cache.record(e.file)
		}
		f.cache.keepRecord(e.file, sync)
		if sync && late == nil {
			late = f.cache.sync(e.file)
		}
		f.mu.Lock()
		e.writers--
		f.changed.Broadcast()
	}
	f.leave(e)
	return late
}

// closeAll closes every file that can be closed now.
func (f *openFiles) closeAll() {
	f.mu.Lock()
	var open []*openFile
	for _, e := range f.files {
		open = append(open, e)
	}
	for _, e := range open {
		f.note(e, f.closeWriter(e))
	}
	f.mu.Unlock()
}

// isMoving tells whether a path is being moved or removed. The lock is held. Nobody waits for a suspect: whoever asks here
// ends what is going on for one.
func (f *openFiles) isMoving(path string) bool {
	f.suspects.interrupt(path)
	for _, moving := range f.moving {
		if within(path, moving) || within(moving, path) {
			return true
		}
	}
	return false
}

// within tells whether a path is a folder or lies below it.
func within(path, folder string) bool {
	return path == folder || folder == "" || strings.HasPrefix(path, folder+"/")
}
