// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bytes"
	"context"
	"io"
	"path"
	"slices"
	"testing"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/object"
	"github.com/rclone/rclone/lib/dircache"
)

// rememberingFs is a remote that finds folders as rclone's Google Drive does: in its memory first. A folder's path is its
// identity, unless it is made a second time.
type rememberingFs struct {
	fs.Fs
	cache  *dircache.DirCache
	there  map[string]bool // identities
	made   []string
	notify func(string, fs.EntryType)
}

func newRememberingFs(folders ...string) (*rememberingFs, *openingFs) {
	google := &rememberingFs{there: map[string]bool{}}
	google.cache = dircache.New("", "root", google)
	for _, folder := range folders {
		_, _ = google.cache.FindDir(context.Background(), folder, true)
	}
	google.made = nil
	return google, newOpeningFs(google, &folderMemory{cache: google.cache, google: google, changed: map[string]bool{}})
}

func (g *rememberingFs) FindLeaf(_ context.Context, parent, leaf string) (string, bool, error) {
	id := path.Join(parent, leaf)
	if !g.there[id] {
		return "", false, nil
	}
	return id, true, nil
}

func (g *rememberingFs) CreateDir(_ context.Context, parent, leaf string) (string, error) {
	id := path.Join(parent, leaf)
	g.there[id] = true
	g.made = append(g.made, id)
	return id, nil
}

func (g *rememberingFs) Features() *fs.Features {
	move := func(ctx context.Context, to string) error {
		_, _, err := g.cache.FindPath(ctx, to, true)
		return err
	}
	return &fs.Features{
		ChangeNotify: func(_ context.Context, notify func(string, fs.EntryType), _ <-chan time.Duration) { g.notify = notify },
		Move: func(ctx context.Context, source fs.Object, to string) (fs.Object, error) {
			return source, move(ctx, to)
		},
		DirMove: func(ctx context.Context, _ fs.Fs, _, to string) error {
			if _, err := g.cache.FindDir(ctx, to, false); err != fs.ErrorDirNotFound {
				return fs.ErrorDirExists
			}
			return move(ctx, to)
		},
	}
}

func (g *rememberingFs) Put(ctx context.Context, _ io.Reader, source fs.ObjectInfo, _ ...fs.OpenOption) (fs.Object, error) {
	_, _, err := g.cache.FindPath(ctx, source.Remote(), true)
	return nil, err
}

func (g *rememberingFs) Mkdir(ctx context.Context, folder string) error {
	_, err := g.cache.FindDir(ctx, folder, true)
	return err
}

func TestNothingIsPutIntoFoldersThatAreGone(t *testing.T) {
	for name, c := range map[string]struct {
		told []string // of which folders Google has told
		do   func(ctx context.Context, remote *openingFs) error
		made []string
	}{
		"a folder made where one was": {nil, func(ctx context.Context, remote *openingFs) error {
			return remote.Mkdir(ctx, "gone")
		}, []string{"root/gone"}},
		"a folder moved to where one was": {nil, func(ctx context.Context, remote *openingFs) error {
			return remote.Features().DirMove(ctx, remote, "here", "gone")
		}, nil},
		"a folder moved into it": {[]string{"gone"}, func(ctx context.Context, remote *openingFs) error {
			return remote.Features().DirMove(ctx, remote, "here", "gone/here")
		}, []string{"root/gone"}},
		"a file moved into it": {[]string{"gone"}, func(ctx context.Context, remote *openingFs) error {
			_, err := remote.Features().Move(ctx, nil, "gone/file")
			return err
		}, []string{"root/gone"}},
		"a file saved below it": {[]string{"gone", "gone/inner"}, func(ctx context.Context, remote *openingFs) error {
			_, err := remote.Put(ctx, bytes.NewReader(nil), object.NewMemoryObject("gone/inner/file", time.Time{}, nil))
			return err
		}, []string{"root/gone", "root/gone/inner"}},
		"a file saved in a folder that only changed": {[]string{"here"}, func(ctx context.Context, remote *openingFs) error {
			_, err := remote.Put(ctx, bytes.NewReader(nil), object.NewMemoryObject("here/file", time.Time{}, nil))
			return err
		}, nil},
	} {
		t.Run(name, func(t *testing.T) {
			google, remote := newRememberingFs("gone/inner", "here")
			remote.Features().ChangeNotify(t.Context(), func(string, fs.EntryType) {}, nil)
			google.there["root/gone"], google.there["root/gone/inner"] = false, false
			for _, folder := range c.told {
				google.notify(folder, fs.EntryDirectory)
			}
			must(t, c.do(t.Context(), remote))
			if !slices.Equal(google.made, c.made) {
				t.Errorf("made were %v, want %v", google.made, c.made)
			}
		})
	}
}
