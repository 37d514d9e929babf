// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"fmt"
	"sync/atomic"
	"testing"
	"time"

	"github.com/rclone/rclone/fs"
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

func (f *farFs) NewObject(context.Context, string) (fs.Object, error) {
	f.asked.Add(1)
	time.Sleep(10 * time.Millisecond)
	return nil, f.err
}

func TestPendingFilesAreLookedUpTogetherAndOnce(t *testing.T) {
	far := &farFs{err: fs.ErrorObjectNotFound}
	pending := []pendingFile{{"partial", true}}
	for number := range 319 {
		pending = append(pending, pendingFile{name: fmt.Sprint(number)})
	}
	begin := time.Now()
	opening, err := lookUpPending(t.Context(), far, pending)
	must(t, err)
	for range 2 {
		if _, err := opening.NewObject(t.Context(), "partial"); !errors.Is(err, fs.ErrorObjectNotFound) {
			t.Errorf("the file is there: %v", err)
		}
	}
	if took := time.Since(begin); took > 320*10*time.Millisecond/2 || far.asked.Load() != 321 {
		t.Errorf("%d questions took %v", far.asked.Load(), took)
	}
}

func TestPartialFilesMustBeFound(t *testing.T) {
	far := &farFs{err: errors.New("no network")}
	for partial, fails := range map[bool]bool{false: false, true: true} {
		if _, err := lookUpPending(t.Context(), far, []pendingFile{{"file", partial}}); (err != nil) != fails {
			t.Errorf("partly in the cache: %v; %v", partial, err)
		}
	}
}

func TestFoldersMoveAsOne(t *testing.T) {
	opening, err := lookUpPending(t.Context(), &farFs{}, nil)
	must(t, err)
	must(t, operations.DirMove(t.Context(), opening, "from", "to"))
}
