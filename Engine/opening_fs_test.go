// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"fmt"
	"io"
	"os"
	"path/filepath"
	"sync"
	"sync/atomic"
	"testing"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/object"
	"github.com/rclone/rclone/fs/operations"
)

// farFs knows no file and takes its time to say so.
type farFs struct {
	fs.Fs
	asked atomic.Int32
	err   error
}

func (f *farFs) Features() *fs.Features {
	return &fs.Features{DirMove: func(_ context.Context, source fs.Fs, _, _ string) error {
		if source != f {
			return fs.ErrorCantDirMove
		}
		return nil
	}}
}

func (f *farFs) List(_ context.Context, folder string) (fs.DirEntries, error) {
	f.asked.Add(1)
	if folder != ".full" && folder != "" {
		return nil, fs.ErrorDirNotFound
	}
	if !errors.Is(f.err, fs.ErrorObjectNotFound) {
		return nil, f.err
	}
	return fs.DirEntries{object.NewMemoryObject(".full/2", time.Time{}, nil)}, nil
}

func (f *farFs) NewObject(context.Context, string) (fs.Object, error) {
	f.asked.Add(1)
	time.Sleep(10 * time.Millisecond)
	return nil, f.err
}

func TestPendingFilesAreLookedUpTogetherAndOnce(t *testing.T) {
	far := &farFs{err: fs.ErrorObjectNotFound}
	pending := []pendingFile{{"partial", true}}
	for number := range 319 {
		pending = append(pending, pendingFile{name: fmt.Sprintf("folder %d/file", number)})
	}
	for number := range 100 {
		pending = append(pending, pendingFile{name: fmt.Sprintf(".full/%d", number)})
	}
	begin := time.Now()
	opening, err := lookUpPending(t.Context(), far, pending)
	must(t, err)
	for name, want := range map[string]bool{"partial": false, ".full/2": true, ".full/3": false} {
		object, err := opening.NewObject(t.Context(), name)
		if (object != nil) != want || !want && !errors.Is(err, fs.ErrorObjectNotFound) {
			t.Errorf("%s: %v, %v", name, object, err)
		}
	}
	if took := time.Since(begin); took > 320*10*time.Millisecond/2 || far.asked.Load() != 321 {
		t.Errorf("%d questions took %v", far.asked.Load(), took)
	}
	if _, _ = opening.NewObject(t.Context(), "partial"); far.asked.Load() != 322 {
		t.Error("an answer served twice")
	}
}

func TestPartialFilesMustBeFound(t *testing.T) {
	for partial, fails := range map[bool]bool{false: false, true: true} {
		for _, count := range []int{1, worthListing} {
			var pending []pendingFile
			for number := range count {
				pending = append(pending, pendingFile{fmt.Sprint(number), partial})
			}
			_, err := lookUpPending(t.Context(), &farFs{err: errors.New("no network")}, pending)
			if (err != nil) != fails {
				t.Errorf("%d files, partly in the cache: %v; %v", count, partial, err)
			}
		}
	}
}

func TestFoldersMoveAsOne(t *testing.T) {
	opening, err := lookUpPending(t.Context(), &farFs{}, nil)
	must(t, err)
	must(t, operations.DirMove(t.Context(), opening, "from", "to"))
}

// changingFs is a folder in which a file has changed once an upload of it is there, and before that ends.
type changingFs struct {
	fs.Fs
	change  func()
	removed atomic.Int32
}

func (f *changingFs) Put(ctx context.Context, in io.Reader, source fs.ObjectInfo, options ...fs.OpenOption) (fs.Object,
	error) {
	object, err := f.Fs.Put(ctx, in, source, options...)
	f.change()
	return &removedObject{object, &f.removed}, err
}

type removedObject struct {
	fs.Object
	removed *atomic.Int32
}

func (o *removedObject) Remove(ctx context.Context) error {
	o.removed.Add(1)
	return o.Object.Remove(ctx)
}

func TestAFileThatChangesWhileItIsUploadedIsNotRemoved(t *testing.T) {
	changing := &changingFs{}
	s := serve(t, 10*time.Millisecond, func(local fs.Fs) fs.Fs {
		changing.Fs = local
		local.Features().PartialUploads = false
		return newOpeningFs(changing, nil)
	})
	changing.change = sync.OnceFunc(func() {
		// What a save does just before the cache notices that this upload is out of date.
		must(t, os.WriteFile(filepath.Join(s.files.cache.data, "a"), []byte("b"), 0o600))
	})
	s.save("a", "a")
	s.uploaded()
	if count := changing.removed.Load(); count != 0 {
		t.Errorf("it was removed %d times", count)
	}
}
