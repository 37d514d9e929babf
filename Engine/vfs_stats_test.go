// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"io"
	"os"
	"path/filepath"
	"sync/atomic"
	"testing"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/rc"
)

// slowFs is a local folder whose listings and uploads wait.
type slowFs struct {
	fs.Fs
	features                 fs.Features
	listing, mayList, mayPut chan struct{}
}

func (f *slowFs) Features() *fs.Features { return &f.features }

func (f *slowFs) List(ctx context.Context, dir string) (fs.DirEntries, error) {
	if dir != "" {
		close(f.listing)
		<-f.mayList
	}
	return f.Fs.List(ctx, dir)
}

func (f *slowFs) Put(ctx context.Context, in io.Reader, src fs.ObjectInfo, options ...fs.OpenOption) (fs.Object, error) {
	select {
	case <-f.mayPut:
		return f.Fs.Put(ctx, in, src, options...)
	case <-ctx.Done():
		return nil, ctx.Err()
	}
}

// newSlowDrive serves a slow folder that contains a directory named "directory".
func newSlowDrive(t *testing.T) (*servedDrive, *slowFs) {
	t.Helper()
	slow := &slowFs{listing: make(chan struct{}), mayList: make(chan struct{}), mayPut: make(chan struct{})}
	folder := serve(t, 50*time.Millisecond, func(local fs.Fs) fs.Fs {
		must(t, os.Mkdir(filepath.Join(local.Root(), "directory"), 0o700))
		slow.Fs, slow.features = local, *local.Features()
		return slow
	})
	s := &servedDrive{drive: folder.drive}
	must(t, s.findCache())
	return s, slow
}

func pendingOf(s *servedDrive) int {
	figures := s.stats()["diskCache"].(rc.Params)
	return figures["uploadsQueued"].(int) + figures["uploadsInProgress"].(int)
}

func TestPendingFromTheFirstByteUntilUploaded(t *testing.T) {
	s, slow := newSlowDrive(t)
	gaps, done := atomic.Int32{}, make(chan struct{})
	if pendingOf(s) != 0 {
		t.Error("something is pending in a new drive")
	}

	file, err := s.drive.OpenFile("saved", os.O_RDWR|os.O_CREATE, 0o600)
	must(t, err)
	_, err = file.WriteAt([]byte("first"), 0)
	must(t, err)
	watched := make(chan struct{})
	go func() {
		defer close(watched)
		for {
			select {
			case <-done:
				return
			default:
				if pendingOf(s) == 0 {
					gaps.Add(1)
				}
			}
		}
	}()
	must(t, file.Close())
	for offset := range int64(300) { // each of these takes the file out of rclone's queue and puts it back
		again, err := s.drive.OpenFile("saved", os.O_RDWR, 0o600)
		must(t, err)
		_, err = again.WriteAt([]byte("more"), offset)
		must(t, err)
		must(t, again.Close())
	}
	close(done)
	<-watched
	if gaps.Load() > 0 {
		t.Errorf("%d times nothing was pending", gaps.Load())
	}
	if used := s.stats()["diskCache"].(rc.Params)["bytesUsed"]; used != int64(299+len("more")) {
		t.Errorf("the cache is said to hold %v bytes", used)
	}
	close(slow.mayPut)
	for begin := time.Now(); pendingOf(s) != 0; time.Sleep(time.Millisecond) {
		if time.Since(begin) > 10*time.Second {
			t.Fatal("the file stays pending after its upload")
		}
	}
}

func TestStatsWaitForNoListing(t *testing.T) {
	s, slow := newSlowDrive(t)
	listed := make(chan struct{})
	go func() {
		defer close(listed)
		_, _ = s.drive.ReadDir("directory")
	}()
	<-slow.listing
	begin := time.Now()
	s.stats()
	if took := time.Since(begin); took > 100*time.Millisecond {
		t.Errorf("the answer took %v", took)
	}
	select {
	case <-listed:
		t.Error("the listing did not wait")
	default:
	}
	close(slow.mayList)
	<-listed
}

func must(t *testing.T, err error) {
	t.Helper()
	if err != nil {
		t.Fatal(err)
	}
}
