// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bytes"
	"context"
	"os"
	"path/filepath"
	"testing"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/config"
	"github.com/rclone/rclone/vfs"
)

// keep saves a.txt and closes it, as fsync does or without that.
func (s *servedFolder) keep(content string, sync bool) {
	s.save("a.txt", content)
	must(s.t, s.files.close("a.txt", sync))
}

func (s *servedFolder) keepHole(size int64, sync bool) {
	s.save("a.txt", "text")
	must(s.t, s.files.truncate("a.txt", size))
	must(s.t, s.files.close("a.txt", sync))
}

func (s *servedFolder) change(at int64, text string) {
	must(s.t, s.files.write("a.txt", false, func(handle vfs.Handle) error {
		_, err := handle.WriteAt([]byte(text), at)
		return err
	}))
}

// TestDamagedMetadataIsRestored leaves rclone's metadata of a file as a kill does, and opens the cache anew.
func TestDamagedMetadataIsRestored(t *testing.T) {
	pause := fetchPause
	fetchPause = 10 * time.Millisecond
	defer func() { fetchPause = pause }()
	const size, at = 1 << 20, 1000
	old := bytes.Repeat([]byte("."), size)
	part := bytes.Clone(old)
	copy(part[at:], "changed")
	for name, c := range map[string]struct {
		do       func(s *servedFolder)
		want     []byte // nil if it is set aside
		atGoogle []byte
		uploads  bool
		meta     string // what is left of it
	}{
		"new":           {do: func(s *servedFolder) { s.keep("text", true) }, want: []byte("text")},
		"only closed":   {do: func(s *servedFolder) { s.keep("text", false) }, want: []byte("text")},
		"new and empty": {do: func(s *servedFolder) { s.keep("", true) }, want: []byte{}},
		"appended to since": {do: func(s *servedFolder) {
			s.keep("text", true)
			s.change(4, " and more")
		}, want: []byte("text and more")},
		"metadata older than the data": {do: func(s *servedFolder) {
			s.keep("text", true)
			s.change(4, " and more")
		}, want: []byte("text and more"), meta: `{"Size": 4, "Dirty": true, "Rs": [{"Pos": 0, "Size": 4}]}`},
		"a hole that was synced": {do: func(s *servedFolder) { s.keepHole(size, true) },
			want: append([]byte("text"), make([]byte, size-4)...)},
		"a hole that was not synced": {do: func(s *servedFolder) { s.keepHole(size, false) }},
		"cut off": {do: func(s *servedFolder) {
			s.keep("text", true)
			must(s.t, os.Truncate(s.files.cache.data+"/a.txt", 2))
		}},
		"changed in part": {do: func(s *servedFolder) {
			s.change(at, "changed")
			must(s.t, s.files.close("a.txt", true))
		}, want: part, atGoogle: old},
		"uploaded and read": {do: func(s *servedFolder) {
			s.keep("text", true)
			s.uploaded()
			must(s.t, s.files.read("a.txt", func(vfs.Handle) error { return nil }))
		}, uploads: true},
	} {
		t.Run(name, func(t *testing.T) {
			writeBack := time.Hour
			if c.uploads {
				writeBack = 10 * time.Millisecond
			}
			var away *awayFs
			s := serve(t, writeBack, func(remote fs.Fs) fs.Fs {
				away = &awayFs{Fs: remote}
				if c.atGoogle != nil {
					must(t, os.WriteFile(filepath.Join(remote.Root(), "a.txt"), c.atGoogle, 0o600))
				}
				return away
			})
			away.away.Store(true)
			c.do(s)

			// What a kill leaves: the same inode, and metadata that was cut.
			before, after := config.GetCacheDir(), t.TempDir()
			place := func(folder string) string {
				relative, err := filepath.Rel(before, folder)
				must(t, err)
				must(t, os.MkdirAll(filepath.Join(after, relative), 0o700))
				return filepath.Join(after, relative)
			}
			data, meta, held := place(s.files.cache.data), place(s.files.cache.meta), after+"/damaged"
			must(t, os.Link(s.files.cache.data+"/a.txt", data+"/a.txt"))
			must(t, os.WriteFile(meta+"/a.txt", []byte(c.meta), 0o600))
			away.away.Store(false)
			pending, err := holdDamaged(data, meta, held)
			must(t, err)
			if c.want == nil {
				if _, err := os.Stat(held + "/a.txt"); err != nil || len(pending) != 0 {
					t.Errorf("the file is not set aside: %v; pending: %v", err, pending)
				}
				return
			}
			if len(pending) != 1 || pending[0].partial != (c.atGoogle != nil) {
				t.Fatalf("pending: %v", pending)
			}
			must(t, config.SetCacheDir(after))
			options := s.drive.Opt
			options.WriteBack = fs.Duration(10 * time.Millisecond)
			next := vfs.New(context.Background(), s.drive.Fs(), &options)
			defer next.Shutdown()
			s.eventually("the file is uploaded as a whole", func() bool { return s.remoteHas("a.txt", string(c.want)) })
			cache, err := cacheOf(next)
			must(t, err)
			s.eventually("nothing is pending", func() bool { return cache.TotalInUse() == 0 })
			s.eventually("the drive before fetches nothing any more", func() bool {
				s.files.mu.Lock()
				defer s.files.mu.Unlock()
				return s.files.files["a.txt"] == nil || !s.files.files["a.txt"].fetching
			})
		})
	}
}
