// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"fmt"
	"io"
	"path"
	"strings"
	"sync"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/hash"
	"golang.org/x/sync/errgroup"
)

const (
	lookUps      = 32 // at a time
	worthListing = 4  // files of one folder from which on it is quicker to list that
)

// openingFs is a remote that knows the files whose upload is pending. rclone looks each of them up when it opens the
// cache, one after the other, so that a thousand keep the drive away for minutes. Then it is the remote of the drive, and
// sees to it that nothing is put into a folder that Google has no more, or into the trash because it has changed.
type openingFs struct {
	fs.Fs
	features *fs.Features
	folders  *folderMemory

	mu    sync.Mutex
	known map[string]lookUp // by name; each serves once
}

type lookUp struct {
	object fs.Object
	err    error
}

// newOpeningFs returns a remote that knows nothing yet.
func newOpeningFs(remote fs.Fs, folders *folderMemory) *openingFs {
	features := *remote.Features()
	if moveFolder := features.DirMove; moveFolder != nil {
		features.DirMove = func(ctx context.Context, source fs.Fs, from, to string) error {
			if opening, ok := source.(*openingFs); ok {
				source = opening.Fs // rclone compares types here
			}
			folders.forget(to)
			if err := folders.check(ctx, to); err != nil {
				return err
			}
			return moveFolder(ctx, source, from, to)
		}
	}
	if move := features.Move; move != nil {
		features.Move = func(ctx context.Context, source fs.Object, to string) (fs.Object, error) {
			if err := folders.check(ctx, to); err != nil {
				return nil, err
			}
			return move(ctx, source, to)
		}
	}
	if changeNotify := features.ChangeNotify; changeNotify != nil {
		features.ChangeNotify = func(ctx context.Context, notify func(string, fs.EntryType), interval <-chan time.Duration) {
			changeNotify(ctx, func(name string, kind fs.EntryType) {
				folders.note(name, kind)
				notify(name, kind)
			}, interval)
		}
	}
	return &openingFs{Fs: remote, features: &features, folders: folders, known: map[string]lookUp{}}
}

// lookUpPending asks Google for the objects of the files, many at a time and folders as a whole. It fails if one cannot be
// had without which rclone would upload a file with zeros for the parts that the cache does not have.
func lookUpPending(ctx context.Context, remote fs.Fs, pending []pendingFile) (*openingFs, error) {
	folders, err := newFolderMemory(remote)
	if err != nil {
		return nil, err
	}
	opening := newOpeningFs(remote, folders)
	byFolder := map[string][]pendingFile{}
	for _, file := range pending {
		folder := strings.TrimSuffix(file.name[:len(file.name)-len(path.Base(file.name))], "/")
		byFolder[folder] = append(byFolder[folder], file)
	}
	group, ctx := errgroup.WithContext(ctx)
	group.SetLimit(lookUps)
	for folder, files := range byFolder {
		if len(files) >= worthListing {
			group.Go(func() error { return opening.list(ctx, folder, files) })
			continue
		}
		for _, file := range files {
			group.Go(func() error {
				object, err := remote.NewObject(ctx, file.name)
				return opening.know(file, object, err)
			})
		}
	}
	return opening, group.Wait()
}

// list looks up files of one folder.
func (f *openingFs) list(ctx context.Context, folder string, files []pendingFile) error {
	entries, err := f.Fs.List(ctx, folder)
	objects := map[string]fs.Object{}
	entries.ForObject(func(object fs.Object) {
		if objects[object.Remote()] == nil { // a folder of Google's may have several files of one name
			objects[object.Remote()] = object
		}
	})
	for _, file := range files {
		object, fileErr := objects[file.name], err
		if object == nil && err == nil {
			fileErr = fs.ErrorObjectNotFound
		}
		if err := f.know(file, object, fileErr); err != nil {
			return err
		}
	}
	return nil
}

// know keeps what was found out about a file.
func (f *openingFs) know(file pendingFile, object fs.Object, err error) error {
	absent := errors.Is(err, fs.ErrorObjectNotFound) || errors.Is(err, fs.ErrorDirNotFound)
	if err != nil && !absent && file.partial {
		return fmt.Errorf("a file that is only partly in the cache cannot be looked up: %w", err)
	}
	f.mu.Lock()
	defer f.mu.Unlock()
	f.known[file.name] = lookUp{object, err}
	return nil
}

// opened forgets what was known.
func (f *openingFs) opened() {
	f.mu.Lock()
	defer f.mu.Unlock()
	f.known = nil
}

// Features implements fs.Info.
func (f *openingFs) Features() *fs.Features { return f.features }

// Hashes implements fs.Info. There are none: rclone would compare the checksum of what it has uploaded with that of the
// file as it is by then, and put the object at Google into the trash when the file has changed meanwhile. The next upload,
// by the object's identifier, would go into the trash as well.
func (f *openingFs) Hashes() hash.Set { return hash.NewHashSet() }

// NewObject implements fs.Fs.
func (f *openingFs) NewObject(ctx context.Context, name string) (fs.Object, error) {
	f.mu.Lock()
	found, known := f.known[name]
	delete(f.known, name)
	f.mu.Unlock()
	if known {
		return found.object, found.err
	}
	return f.Fs.NewObject(ctx, name)
}

// Put implements fs.Fs.
func (f *openingFs) Put(ctx context.Context, in io.Reader, source fs.ObjectInfo, options ...fs.OpenOption) (fs.Object,
	error) {
	if err := f.folders.check(ctx, source.Remote()); err != nil {
		return nil, err
	}
	return f.Fs.Put(namingUpload(ctx, source.Remote()), in, source, options...)
}

// Mkdir implements fs.Fs.
func (f *openingFs) Mkdir(ctx context.Context, folder string) error {
	f.folders.forget(folder)
	if err := f.folders.check(ctx, folder); err != nil {
		return err
	}
	return f.Fs.Mkdir(ctx, folder)
}
