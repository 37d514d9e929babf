// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"io"
	"os"
	"path/filepath"
	"sync"
	"testing"
	"time"

	"github.com/rclone/rclone/fs"
)

func init() { suspectPause, suspectAge = 10*time.Millisecond, 50*time.Millisecond }

// unreliableFs is a folder to which the network can be lost: uploads fail, and questions wait for it.
type unreliableFs struct {
	fs.Fs
	features fs.Features
	takes    bool // what is uploaded without the network arrives, and only the answer is lost

	mu    sync.Mutex
	back  chan struct{} // nil with the network
	asked int           // questions without it
}

func (f *unreliableFs) Features() *fs.Features { return &f.features }

func (f *unreliableFs) lose() {
	f.mu.Lock()
	defer f.mu.Unlock()
	f.back = make(chan struct{})
}

func (f *unreliableFs) restore() {
	f.mu.Lock()
	defer f.mu.Unlock()
	if f.back != nil {
		close(f.back)
		f.back = nil
	}
}

func (f *unreliableFs) isAsked() bool {
	f.mu.Lock()
	defer f.mu.Unlock()
	return f.asked > 0
}

func (f *unreliableFs) NewObject(ctx context.Context, name string) (fs.Object, error) {
	f.mu.Lock()
	back := f.back
	if back != nil {
		f.asked++
	}
	f.mu.Unlock()
	if back != nil {
		select {
		case <-back:
		case <-ctx.Done():
			return nil, ctx.Err()
		}
	}
	return f.Fs.NewObject(ctx, name)
}

func (f *unreliableFs) Put(ctx context.Context, in io.Reader, src fs.ObjectInfo, options ...fs.OpenOption) (fs.Object,
	error) {
	f.mu.Lock()
	lost := f.back != nil
	f.mu.Unlock()
	if lost && !f.takes {
		return nil, errors.New("no such host")
	}
	object, err := f.Fs.Put(ctx, in, src, options...)
	if lost && err == nil {
		return nil, errors.New("connection reset")
	}
	return object, err
}

// noWorker leaves settling suspects to the test.
func (s *servedFolder) noWorker() {
	s.files.mu.Lock()
	defer s.files.mu.Unlock()
	s.files.suspects.working = true
}

// settle does what noWorker leaves to the test.
func (s *servedFolder) settle() {
	s.t.Helper()
	s.eventually("all suspects are settled", func() bool {
		s.files.suspects.settleBelow("")
		s.files.mu.Lock()
		defer s.files.mu.Unlock()
		return len(s.files.suspects.since) == 0
	})
}

func TestFilesWhoseUploadFailedMoveAndGoWithoutTheNetwork(t *testing.T) {
	type disconnected struct {
		*servedFolder
		*unreliableFs
	}
	leaveSuspects := func(s disconnected) { // also in a folder, and then the network is back
		s.noWorker()
		must(s.t, s.moves.remove("a"))
		s.save("folder/b", "b")
		s.eventually("an upload fails", func() bool { return s.files.cache.attempted("folder/b") })
		must(s.t, s.moves.remove("folder/b"))
		s.restore()
	}
	for name, c := range map[string]struct {
		do   func(s disconnected)
		want map[string]string
	}{
		"moved": {func(s disconnected) {
			must(s.t, s.moves.rename("a", "b"))
		}, map[string]string{"b": "text", "old": "old"}},
		"moved over an uploaded one": {func(s disconnected) {
			must(s.t, s.moves.rename("a", "old"))
		}, map[string]string{"old": "text"}},
		"moved over an uploaded one, and on": {func(s disconnected) {
			must(s.t, s.moves.rename("a", "old"))
			must(s.t, s.moves.rename("old", "c"))
		}, map[string]string{"c": "text"}},
		"moved over one of its kind": {func(s disconnected) {
			s.save("b", "b")
			s.eventually("an upload fails", func() bool { return s.files.cache.attempted("b") })
			must(s.t, s.moves.rename("a", "b"))
		}, map[string]string{"b": "text", "old": "old"}},
		"moved to and fro": {func(s disconnected) {
			must(s.t, s.moves.rename("a", "b"))
			must(s.t, s.moves.rename("b", "a"))
		}, map[string]string{"a": "text", "old": "old"}},
		"moved, and another saved there": {func(s disconnected) {
			must(s.t, s.moves.rename("a", "b"))
			s.save("a", "new")
		}, map[string]string{"a": "new", "b": "text", "old": "old"}},
		"changed, then removed": {func(s disconnected) {
			s.save("a", "changed")
			must(s.t, s.moves.remove("a"))
		}, map[string]string{"old": "old"}},
		"removed, and saved anew while it is looked for": {func(s disconnected) {
			must(s.t, s.moves.remove("a"))
			s.eventually("it is looked for", s.isAsked)
			s.save("a", "new")
		}, map[string]string{"a": "new", "old": "old"}},
		"removed, and again with another moved there": {func(s disconnected) {
			must(s.t, s.moves.remove("a"))
			s.save("b", "b")
			must(s.t, s.moves.rename("b", "a"))
			must(s.t, s.moves.remove("a"))
		}, map[string]string{"old": "old"}},
		"removed with the folder": {func(s disconnected) {
			leaveSuspects(s)
			must(s.t, s.moves.remove("folder"))
			s.settle()
		}, map[string]string{"old": "old"}},
		"removed from a folder that is moved": {func(s disconnected) {
			leaveSuspects(s)
			must(s.t, s.moves.rename("folder", "moved"))
			if _, err := s.drive.Stat("moved/b"); err == nil {
				s.t.Error("the file is back")
			}
			s.settle()
		}, map[string]string{"old": "old"}},
		"removed, and something older put there": {func(s disconnected) {
			s.noWorker()
			must(s.t, s.moves.remove("a"))
			root, err := s.drive.Root()
			must(s.t, err)
			root.ForgetAll() // and so the next listing shows what is there
			s.save("a", "new")
			must(s.t, s.files.close("a", false))
			must(s.t, s.drive.Chtimes("a", time.Unix(1, 0), time.Unix(1, 0)))
			s.restore()
			s.eventually("it is uploaded", func() bool { return s.files.cache.TotalInUse() == 0 })
			s.settle()
		}, map[string]string{"a": "new", "old": "old"}},
		"removed, and shown by a listing": {func(s disconnected) {
			must(s.t, s.moves.remove("a"))
			root, err := s.drive.Root()
			must(s.t, err)
			root.ForgetAll()
			_, _ = s.drive.Stat("a")
		}, map[string]string{"old": "old"}},
	} {
		for fate, takes := range map[string]bool{"refused": false, "unanswered": true} {
			t.Run(fate+", "+name, func(t *testing.T) {
				var remote *unreliableFs
				s := serve(t, 20*time.Millisecond, func(local fs.Fs) fs.Fs {
					remote = &unreliableFs{Fs: local, features: *local.Features(), takes: takes}
					remote.features.PartialUploads = false // as Google, which has no half files
					return remote
				})
				must(t, s.drive.Mkdir("folder", 0o700))
				s.save("old", "old")
				must(t, s.files.close("old", false))
				s.uploaded()
				remote.lose()
				defer remote.restore()
				s.save("a", "text")
				must(t, s.files.close("a", false))
				s.eventually("an upload fails", func() bool { return s.files.cache.attempted("a") })
				done := make(chan struct{})
				go func() {
					defer close(done)
					c.do(disconnected{s, remote})
				}()
				select {
				case <-done:
				case <-time.After(testTimeout / 2):
					t.Error("the network is waited for")
				}
				remote.restore()
				<-done
				s.uploaded()
				s.expect(c.want)
			})
		}
	}
}

func TestWhatIsNewerThanASuspectStays(t *testing.T) {
	s := serveFolder(t, time.Hour)
	s.files.mu.Lock()
	s.files.suspects.since["a"] = time.Now().Add(-time.Hour)
	s.files.mu.Unlock()
	must(t, os.WriteFile(filepath.Join(s.remote, "a"), []byte("somebody else's"), 0o600))
	if !s.files.suspects.settleBelow("") {
		t.Error("the suspect is not settled")
	}
	s.expect(map[string]string{"a": "somebody else's"})
}

func TestWhatArrivesAfterTheFirstQuestionIsRemoved(t *testing.T) {
	s := serveFolder(t, time.Hour)
	s.noWorker()
	s.files.mu.Lock()
	s.files.suspects.add("a")
	s.files.mu.Unlock()
	s.files.suspects.settleBelow("")
	late := filepath.Join(s.remote, "a")
	must(t, os.WriteFile(late, []byte("ended on its way"), 0o600))
	must(t, os.Chtimes(late, time.Time{}, time.Now().Add(-time.Hour)))
	s.settle()
	s.expect(nil)
}
