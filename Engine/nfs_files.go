// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"errors"
	"io"
	"os"
	"time"

	"github.com/go-git/go-billy/v5"
	"github.com/rclone/rclone/vfs"
	"github.com/willscott/go-nfs"
	"golang.org/x/sys/unix"
)

// nfsFiles is the file system that go-nfs sees on one connection: rclone's, but files stay open between calls, and
// errors keep their meaning.
type nfsFiles struct {
	service    *nfsService
	connection *nfsConnection
}

var (
	_ billy.Filesystem = (*nfsFiles)(nil)
	_ billy.Change     = (*nfsFiles)(nil)
)

// say makes the answer to the present call carry the status of an error for which go-nfs has a vague one.
func (n *nfsFiles) say(err error) error {
	if err == nil {
		return nil
	}
	status := statusOf(err)
	n.connection.overrule(status)
	return &nfs.NFSStatusError{NFSStatus: status, WrappedErr: err}
}

// statusOf returns the NFS status that tells of an error.
func statusOf(err error) nfs.NFSStatus {
	for _, known := range []struct {
		err    error
		status nfs.NFSStatus
	}{
		{unix.ENOSPC, nfs.NFSStatusNoSPC},
		{unix.EDQUOT, nfs.NFSStatusDQuot},
		{unix.EFBIG, nfs.NFSStatusFBig},
		{unix.ENAMETOOLONG, nfs.NFSStatusNameTooLong},
		{vfs.ENOTEMPTY, nfs.NFSStatusNotEmpty},
		{vfs.EROFS, nfs.NFSStatusROFS},
		{os.ErrNotExist, nfs.NFSStatusNoEnt},
		{os.ErrExist, nfs.NFSStatusExist},
		{os.ErrPermission, nfs.NFSStatusAccess},
	} {
		if errors.Is(err, known.err) {
			return known.status
		}
	}
	return nfs.NFSStatusIO
}

// Create implements billy.Filesystem.
func (n *nfsFiles) Create(name string) (billy.File, error) {
	err := n.service.files.write(cleanPath(name), true, func(vfs.Handle) error { return nil })
	if err != nil {
		return nil, n.say(err)
	}
	return &nfsFile{files: n, name: name}, nil
}

// Open implements billy.Filesystem.
func (n *nfsFiles) Open(name string) (billy.File, error) { return n.OpenFile(name, os.O_RDONLY, 0) }

// OpenFile implements billy.Filesystem. What it returns holds nothing that would have to be closed.
func (n *nfsFiles) OpenFile(name string, flag int, _ os.FileMode) (billy.File, error) {
	if flag&(os.O_CREATE|os.O_TRUNC) != 0 {
		return n.Create(name)
	}
	if _, _, err := n.service.files.find(name); err != nil {
		return nil, n.say(err)
	}
	return &nfsFile{files: n, name: name}, nil
}

// Rename implements billy.Filesystem.
func (n *nfsFiles) Rename(from, to string) error { return n.say(n.service.moves.rename(from, to)) }

// Remove implements billy.Filesystem.
func (n *nfsFiles) Remove(name string) error { return n.say(n.service.moves.remove(name)) }

// Stat implements billy.Filesystem.
func (n *nfsFiles) Stat(name string) (os.FileInfo, error) { return n.service.inner.Stat(name) }

// Lstat implements billy.Filesystem.
func (n *nfsFiles) Lstat(name string) (os.FileInfo, error) { return n.service.inner.Lstat(name) }

// ReadDir implements billy.Filesystem.
func (n *nfsFiles) ReadDir(name string) ([]os.FileInfo, error) { return n.service.inner.ReadDir(name) }

// MkdirAll implements billy.Filesystem.
func (n *nfsFiles) MkdirAll(name string, perm os.FileMode) error {
	return n.service.inner.MkdirAll(name, perm)
}

// Join implements billy.Filesystem.
func (n *nfsFiles) Join(elements ...string) string { return n.service.inner.Join(elements...) }

// TempFile implements billy.Filesystem.
func (n *nfsFiles) TempFile(string, string) (billy.File, error) { return nil, os.ErrInvalid }

// Symlink implements billy.Filesystem.
func (n *nfsFiles) Symlink(target, link string) error { return n.service.inner.Symlink(target, link) }

// Readlink implements billy.Filesystem.
func (n *nfsFiles) Readlink(link string) (string, error) { return n.service.inner.Readlink(link) }

// Chroot implements billy.Filesystem.
func (n *nfsFiles) Chroot(string) (billy.Filesystem, error) { return nil, os.ErrInvalid }

// Root implements billy.Filesystem.
func (n *nfsFiles) Root() string { return n.service.inner.Root() }

// Capabilities implements billy.Capable.
func (n *nfsFiles) Capabilities() billy.Capability { return billy.Capabilities(n.service.inner) }

// Chmod implements billy.Change.
func (n *nfsFiles) Chmod(name string, mode os.FileMode) error {
	return n.change().Chmod(name, mode)
}

// Lchown implements billy.Change.
func (n *nfsFiles) Lchown(name string, uid, gid int) error {
	return n.change().Lchown(name, uid, gid)
}

// Chown implements billy.Change.
func (n *nfsFiles) Chown(name string, uid, gid int) error {
	return n.change().Chown(name, uid, gid)
}

// Chtimes implements billy.Change.
func (n *nfsFiles) Chtimes(name string, atime, mtime time.Time) error {
	return n.say(n.change().Chtimes(name, atime, mtime))
}

func (n *nfsFiles) change() billy.Change { return n.service.handler.Change(n.service.inner) }

// nfsFile is a file for the time of one call.
type nfsFile struct {
	files  *nfsFiles
	name   string
	offset int64
}

// Name implements billy.File.
func (f *nfsFile) Name() string { return f.name }

// Write implements io.Writer.
func (f *nfsFile) Write(p []byte) (written int, err error) {
	err = f.files.service.files.write(f.name, false, func(handle vfs.Handle) error {
		written, err = f.files.service.files.cache.writeAt(handle, p, f.offset)
		return err
	})
	f.offset += int64(written)
	return written, f.files.say(err)
}

// Read implements io.Reader.
func (f *nfsFile) Read(p []byte) (int, error) {
	read, err := f.ReadAt(p, f.offset)
	f.offset += int64(read)
	return read, err
}

// ReadAt implements io.ReaderAt.
func (f *nfsFile) ReadAt(p []byte, offset int64) (read int, err error) {
	err = f.files.service.files.read(f.name, func(handle vfs.Handle) error {
		read, err = handle.ReadAt(p, offset)
		return err
	})
	return read, err
}

// Seek implements io.Seeker; go-nfs seeks from the start only.
func (f *nfsFile) Seek(offset int64, whence int) (int64, error) {
	if whence != io.SeekStart || offset < 0 {
		return 0, os.ErrInvalid
	}
	f.offset = offset
	return offset, nil
}

// Truncate implements billy.File.
func (f *nfsFile) Truncate(size int64) error {
	return f.files.say(f.files.service.files.truncate(f.name, size))
}

// Close implements billy.File.
func (f *nfsFile) Close() error { return nil }

// Lock implements billy.File.
func (f *nfsFile) Lock() error { return os.ErrInvalid }

// Unlock implements billy.File.
func (f *nfsFile) Unlock() error { return os.ErrInvalid }
