// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"os"
	"path/filepath"
	"testing"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/config"
	"github.com/rclone/rclone/vfs"
)

// lateFs is a folder whose listings can be held up on their way to the drive.
type lateFs struct {
	fs.Fs
	features fs.Features
	listed   chan struct{} // takes a value when a listing has been made, nil: they are not held up
	deliver  chan struct{}
}

func (f *lateFs) Features() *fs.Features { return &f.features }

func (f *lateFs) List(ctx context.Context, folder string) (fs.DirEntries, error) {
	entries, err := f.Fs.List(ctx, folder)
	if listed := f.listed; listed != nil && folder == "" {
		f.listed = nil
		close(listed)
		<-f.deliver
	}
	return entries, err
}

// A listing that was made before a folder was moved, and comes after it.
func TestAMovedFolderIsNotTakenBackByALateListing(t *testing.T) {
	late := &lateFs{deliver: make(chan struct{})}
	s := serve(t, 0, func(local fs.Fs) fs.Fs {
		late.Fs, late.features = local, *local.Features()
		return late
	})
	must(t, s.drive.Mkdir("a", 0o700))
	root, err := s.drive.Root()
	must(t, err)
	node, err := s.drive.Stat("a")
	must(t, err)
	move := late.features.DirMove
	late.features.DirMove = func(ctx context.Context, source fs.Fs, from, to string) error {
		late.features.DirMove = move
		listed := make(chan struct{})
		late.listed = listed
		root.ForgetPath("other", fs.EntryObject)
		go func() { _, _ = s.drive.Stat("other") }()
		<-listed
		go func() {
			for node.(*vfs.Dir).Path() != to {
				time.Sleep(time.Millisecond)
			}
			close(late.deliver)
		}()
		return move(ctx, late.Fs, from, to)
	}
	must(t, s.moves.rename("a", "b"))
	must(t, s.moves.rename("b", "c"))
	if _, err := late.List(t.Context(), "c"); err != nil {
		t.Error(err)
	}
}

func TestUploadsThatAProcessLeftAreKnownToTheDrive(t *testing.T) {
	held := &slowFs{mayPut: make(chan struct{})}
	s := serve(t, 10*time.Millisecond, func(local fs.Fs) fs.Fs {
		held.Fs, held.features = local, *local.Features()
		held.features.PartialUploads = false
		for kind, content := range map[string]string{"vfs": "text",
			"vfsMeta": `{"Size": 4, "Dirty": true, "Rs": [{"Pos": 0, "Size": 4}]}`} {
			folder := filepath.Join(config.GetCacheDir(), kind, "local", local.Root())
			must(t, os.MkdirAll(folder, 0o700))
			must(t, os.WriteFile(folder+"/a", []byte(content), 0o600))
		}
		return held
	})
	_, err := s.drive.Stat("a") // lists the folder
	must(t, err)
	close(held.mayPut)
	s.uploaded()
	s.expect(map[string]string{"a": "text"})
	buffer := make([]byte, 10)
	must(t, s.files.read("a", func(handle vfs.Handle) error {
		if n, err := handle.ReadAt(buffer, 0); string(buffer[:n]) != "text" {
			t.Errorf("the file has %q, %v", buffer[:n], err)
		}
		return nil
	}))
}
