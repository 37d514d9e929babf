// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"fmt"
	"sync"

	"github.com/rclone/rclone/fs"
	"golang.org/x/sync/errgroup"
)

// lookUps is how many files are looked up at a time.
const lookUps = 32

// openingFs is a remote that knows the files whose upload is pending. rclone looks each of them up when it opens the
// cache, one after the other, so that a thousand keep the drive away for minutes.
type openingFs struct {
	fs.Fs
	features *fs.Features

	mu    sync.Mutex
	known map[string]lookUp // by name; each serves once
}

type lookUp struct {
	object fs.Object
	err    error
}

// lookUpPending asks Google for the objects of the files, many at a time. It fails if one cannot be had without which
// rclone would upload a file with zeros for the parts that the cache does not have.
func lookUpPending(ctx context.Context, remote fs.Fs, pending []pendingFile) (*openingFs, error) {
	features := *remote.Features()
	if move := features.DirMove; move != nil {
		features.DirMove = func(ctx context.Context, source fs.Fs, from, to string) error {
			if opening, ok := source.(*openingFs); ok {
				source = opening.Fs // rclone compares types here
			}
			return move(ctx, source, from, to)
		}
	}
	opening := &openingFs{Fs: remote, features: &features, known: map[string]lookUp{}}
	group, ctx := errgroup.WithContext(ctx)
	group.SetLimit(lookUps)
	for _, file := range pending {
		group.Go(func() error {
			object, err := remote.NewObject(ctx, file.name)
			absent := errors.Is(err, fs.ErrorObjectNotFound) || errors.Is(err, fs.ErrorDirNotFound)
			if err != nil && !absent && file.partial {
				return fmt.Errorf("a file that is only partly in the cache cannot be looked up: %w", err)
			}
			opening.mu.Lock()
			defer opening.mu.Unlock()
			opening.known[file.name] = lookUp{object, err}
			return nil
		})
	}
	return opening, group.Wait()
}

// opened forgets what was known.
func (f *openingFs) opened() {
	f.mu.Lock()
	defer f.mu.Unlock()
	f.known = nil
}

// Features implements fs.Info.
func (f *openingFs) Features() *fs.Features { return f.features }

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
