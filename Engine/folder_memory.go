// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"fmt"
	"path"
	"strings"
	"sync"

	"github.com/rclone/rclone/backend/drive"
	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/lib/dircache"
)

// folderMemory keeps rclone's memory of which folder is at which path true. rclone forgets a folder that it moves or
// removes itself, and no other: what is saved at the path of a folder that went to the trash elsewhere would be put into
// the trash with it, and be gone from the drive. A nil one has nothing to keep.
type folderMemory struct {
	cache  *dircache.DirCache
	google dircache.DirCacher

	mu      sync.Mutex
	changed map[string]bool // folders that Google has told of since they were last looked up
}

// newFolderMemory returns nil for a remote that is no Google Drive.
func newFolderMemory(remote fs.Fs) (*folderMemory, error) {
	google, isDrive := remote.(*drive.Fs)
	if !isDrive {
		return nil, nil
	}
	cache, err := member[*dircache.DirCache](remote, "dirCache")
	if err != nil {
		return nil, fmt.Errorf("this release of rclone remembers folders otherwise: %w", err)
	}
	return &folderMemory{cache: *cache, google: google, changed: map[string]bool{}}, nil
}

// note takes notice of a change that Google tells of.
func (m *folderMemory) note(name string, kind fs.EntryType) {
	if m == nil || kind != fs.EntryDirectory || name == "" {
		return
	}
	m.mu.Lock()
	defer m.mu.Unlock()
	m.changed[name] = true
}

// forget forgets what was at a path where the drive has nothing.
func (m *folderMemory) forget(folder string) {
	if m != nil && folder != "" {
		m.cache.FlushDir(folder)
	}
}

// check looks at the folders on the way to a file or folder that is about to be put somewhere, if they were changed. Those
// that Google has no more are forgotten, and rclone makes them again.
func (m *folderMemory) check(ctx context.Context, name string) error {
	if m == nil {
		return nil
	}
	names := strings.Split(name, "/")
	for depth := 1; depth < len(names); depth++ {
		folder := path.Join(names[:depth]...)
		m.mu.Lock()
		changed := m.changed[folder]
		delete(m.changed, folder)
		m.mu.Unlock()
		if !changed {
			continue
		}
		id, known := m.cache.Get(folder)
		parent, parentKnown := m.cache.Get(strings.TrimSuffix(folder[:len(folder)-len(names[depth-1])], "/"))
		if !known || !parentKnown {
			m.cache.FlushDir(folder)
			continue
		}
		found, _, err := m.google.FindLeaf(ctx, parent, names[depth-1])
		if err != nil {
			m.note(folder, fs.EntryDirectory)
			return err
		}
		if found != id {
			m.cache.FlushDir(folder)
		}
	}
	return nil
}
