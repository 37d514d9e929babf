// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/vfs"
)

// suspectPause is the time between the first questions for what an upload may have left; it doubles up to maxSuspectPause.
// suspectAge is for how long it is asked: Google may still be taking what had arrived when the upload was ended.
var (
	suspectPause = time.Second
	suspectAge   = 30 * time.Second
)

const maxSuspectPause = 10 * time.Second

// suspects has the paths from which a file was moved or removed while its upload might have left an object there without
// an answer. Whoever moves or removes it does not wait for Google: what is found is removed in the background, when
// Google can be asked. A file that comes to be at such a path takes the object over, as its upload updates it.
//
// What is known here ends with the process: then the object stays and the file is back at its old path, as a copy.
type suspects struct {
	files *openFiles // whose mu protects what follows, and which is held up at a path while its suspect is settled
	// since has the time after which the drive sent nothing to a path. What is newer there is somebody else's.
	since    map[string]time.Time
	settling map[string]context.CancelFunc
	working  bool
	pause    time.Duration // before the next questions

	ctx  context.Context
	stop context.CancelFunc
}

func (s *suspects) init(files *openFiles) {
	s.files = files
	s.since, s.settling = map[string]time.Time{}, map[string]context.CancelFunc{}
	s.ctx, s.stop = context.WithCancel(context.Background())
}

// add suspects a path at which the drive has nothing now. The lock is held.
func (s *suspects) add(path string) {
	s.since[path] = time.Now()
	s.pause = suspectPause
	if !s.working && s.ctx.Err() == nil {
		s.working = true
		go s.work()
	}
}

// acquit lets a file that is at a path, if that was suspected, have the object. The lock is held.
func (s *suspects) acquit(path string) {
	if _, suspected := s.since[path]; suspected {
		delete(s.since, path)
		s.files.behind[path] = true
	}
}

// interrupt gives up what is going on for suspects in the way of a path. The lock is held.
func (s *suspects) interrupt(path string) {
	for suspect, cancel := range s.settling {
		if within(path, suspect) || within(suspect, path) {
			cancel()
		}
	}
}

// work settles suspects for as long as there are any.
func (s *suspects) work() {
	for {
		s.settleBelow("")
		s.files.mu.Lock()
		s.working = len(s.since) > 0
		working, pause := s.working, s.pause
		s.pause = min(2*pause, maxSuspectPause)
		s.files.mu.Unlock()
		if !working {
			return
		}
		select {
		case <-s.ctx.Done():
			return
		case <-time.After(pause):
		}
	}
}

// settleBelow settles the suspects in a folder, up to the first for which that fails.
func (s *suspects) settleBelow(folder string) bool {
	var paths []string
	s.files.mu.Lock()
	for path := range s.since {
		if within(path, folder) {
			paths = append(paths, path)
		}
	}
	s.files.mu.Unlock()
	for _, path := range paths {
		if err := s.settle(path); err != nil {
			if !errors.Is(err, context.Canceled) {
				fs.Errorf(path, "Failed to remove what an upload may have left: %v", err)
			}
			return false
		}
	}
	return true
}

// settle removes what Google has at a suspected path. Nothing comes to be there meanwhile; who wants that interrupts.
func (s *suspects) settle(path string) error {
	mu := &s.files.mu
	defer (&moves{s.files}).begin(path)()
	ctx, cancel := context.WithCancel(s.ctx)
	defer cancel()
	mu.Lock()
	since, suspected := s.since[path]
	if suspected {
		s.settling[path] = cancel
		s.files.changed.Broadcast() // who already waits shall interrupt
	}
	mu.Unlock()
	if !suspected {
		return nil
	}
	err := s.removeObject(ctx, path, since)
	mu.Lock()
	defer mu.Unlock()
	delete(s.settling, path)
	if err == nil && time.Since(since) >= suspectAge {
		delete(s.since, path)
	}
	return err
}

func (s *suspects) removeObject(ctx context.Context, path string, since time.Time) error {
	drive, cache := s.files.drive, s.files.cache
	if cache.dirtyItem(path) != nil {
		return nil
	}
	object, err := cache.remoteObject(ctx, path)
	if object == nil || err != nil {
		return err
	}
	if object.ModTime(ctx).After(since) {
		fs.Infof(path, "There is something newer than what an upload may have left; it stays")
		return nil
	}
	remove := func() error { return object.Remove(ctx) }
	err = s.files.trashNames.whileTrashed(path, object, remove)
	if err != nil && !errors.Is(err, fs.ErrorObjectNotFound) {
		return err
	}
	s.files.trashNames.forget(path)
	// A listing may have shown it.
	if node, err := drive.Stat(path); err == nil {
		if file, isFile := node.(*vfs.File); isFile {
			cache.Remove(path)
			file.Dir().DelVirtual(file.Name())
		}
	}
	return nil
}
