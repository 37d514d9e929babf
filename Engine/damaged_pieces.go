// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"encoding/json"
	"errors"
	"fmt"
	"io"
	iofs "io/fs"
	"os"
	"path"
	"path/filepath"
	"strings"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/config"
	"github.com/rclone/rclone/lib/encoder"
	"github.com/rclone/rclone/lib/ranges"
	"github.com/rclone/rclone/vfs/vfscache"
	"golang.org/x/sys/unix"
)

// recoveryVariable is the environment variable that names the directory in which a folder is made for what is set aside.
const recoveryVariable = "QUILLMOUNT_RECOVERY_DIRECTORY"

// setAside is the folder that holds what was taken out of the cache; zero if nothing was.
type setAside struct {
	directory string
	files     int
}

// setAsideDamaged takes data out of the remote's cache if the metadata beside it cannot be read, as after a power cut in
// the midst of a rewrite. rclone deletes such data when it opens the cache, although it may be all that there is of a
// file. It is kept for the user in a folder of its own and not uploaded: parts of it may never have been downloaded.
// The cache must not be open yet. It is read on the way: pending are the files whose upload goes on.
func setAsideDamaged(remote fs.Fs, now time.Time) (aside setAside, pending []pendingFile) {
	root := config.GetCacheDir()
	name := encoder.OS.FromStandardPath(strings.Trim(path.Clean(remote.Name()+"/"+remote.Root()), "/"))
	held := filepath.Join(root, "damaged")
	pending, err := holdDamaged(filepath.Join(root, "vfs", name), filepath.Join(root, "vfsMeta", name), held)
	if err != nil {
		fs.Errorf(nil, "Not all damaged files of the cache could be set aside: %v", err)
	}
	files, err := countFiles(held)
	if err != nil {
		fs.Errorf(nil, "Damaged files of the cache cannot be counted: %v", err)
	}
	if files == 0 {
		return setAside{}, pending
	}
	parent := os.Getenv(recoveryVariable)
	if parent == "" {
		fs.Errorf(nil, "%d damaged files of the cache are kept in %s", files, held)
		return setAside{}, pending
	}
	folder, err := moveToFolder(held, filepath.Join(parent, "Quillmount - recovered "+now.Format("2006-01-02 15.04.05")))
	if err != nil {
		fs.Errorf(nil, "%d damaged files of the cache are kept in %s: %v", files, held, err)
		return setAside{}, pending
	}
	fs.Errorf(nil, "%d files of the cache were damaged and have been set aside in %s", files, folder)
	return setAside{folder, files}, pending
}

// holdDamaged moves damaged data below held, where rclone does not look, in the cache's own file system, so that a single
// step takes each. A file that has a keptRecord gets its metadata back instead. It goes on after an error and
// returns all of them, and the undamaged files whose upload is pending.
func holdDamaged(data, meta, held string) (pending []pendingFile, err error) {
	var errs []error
	_ = filepath.WalkDir(data, func(file string, entry iofs.DirEntry, err error) error {
		if err != nil {
			if !errors.Is(err, iofs.ErrNotExist) {
				errs = append(errs, err)
			}
			return nil
		}
		if !entry.Type().IsRegular() {
			return nil
		}
		relative, err := filepath.Rel(data, file)
		if err == nil {
			target := filepath.Join(meta, relative)
			record, err := readRecord(target)
			if err != nil {
				record = vfscache.Info{}
			}
			if err != nil || record.Dirty && isPartial(record, entry) {
				restored, restoreErr := restoreMetadata(file, target, held+".restored", record)
				switch {
				case restoreErr == nil && err == nil && restored.Rs.Equal(record.Rs):
				case restoreErr == nil:
					fs.Logf(filepath.ToSlash(relative), "The file's damaged metadata has been restored")
					record, err = restored, nil
				case !errors.Is(restoreErr, unix.ENODATA) && !errors.Is(restoreErr, unix.ENOTSUP):
					fs.Logf(filepath.ToSlash(relative), "The file's damaged metadata cannot be restored: %v", restoreErr)
				}
			}
			if err == nil {
				if record.Dirty {
					pending = append(pending, pendingFile{filepath.ToSlash(relative), isPartial(record, entry)})
				} else {
					_ = unix.Removexattr(file, recordAttribute) // it is out of date, if there is one
				}
				return nil
			}
		}
		if isEmpty(file) {
			return nil
		}
		target := unused(filepath.Join(held, relative))
		if err == nil {
			err = os.MkdirAll(filepath.Dir(target), 0o700)
		}
		if err == nil {
			err = os.Rename(file, target)
		}
		if err != nil {
			errs = append(errs, err)
		}
		return nil
	})
	return pending, errors.Join(errs...)
}

// pendingFile is a file of the cache with changes that Google does not have.
type pendingFile struct {
	name    string // as the cache has it
	partial bool   // the rest of it is only at Google
}

// readRecord reads metadata as rclone will.
func readRecord(meta string) (record vfscache.Info, err error) {
	file, err := os.Open(meta)
	if err != nil {
		return record, err
	}
	defer file.Close()
	return record, json.NewDecoder(file).Decode(&record)
}

// isPartial tells whether the file has parts that the cache does not have.
func isPartial(record vfscache.Info, file iofs.DirEntry) bool {
	info, err := file.Info()
	return err != nil || !record.Rs.Present(ranges.Range{Pos: 0, Size: info.Size()})
}

// isEmpty tells whether the file has no bytes, or only such as were never written.
func isEmpty(name string) bool {
	file, err := os.Open(name)
	if err != nil {
		return false
	}
	defer file.Close()
	_, err = unix.Seek(int(file.Fd()), 0, unix.SEEK_DATA)
	return errors.Is(err, unix.ENXIO)
}

// unused returns the name, with a number added to it if it is taken.
func unused(name string) string {
	free := name
	for number := 2; ; number++ {
		if _, err := os.Lstat(free); errors.Is(err, iofs.ErrNotExist) {
			return free
		}
		free = fmt.Sprintf("%s (%d)", name, number)
	}
}

// countFiles returns the number of files below the directory, 0 if there is no such directory.
func countFiles(directory string) (files int, err error) {
	err = filepath.WalkDir(directory, func(_ string, entry iofs.DirEntry, err error) error {
		if err == nil && !entry.IsDir() {
			files++
		}
		return err
	})
	if errors.Is(err, iofs.ErrNotExist) {
		err = nil
	}
	return files, err
}

// moveToFolder moves the directory to the name, or one like it that is not taken, which it returns. The parent of that is
// made if need be. Where the two are in different file systems, everything is on disk before anything is removed.
func moveToFolder(directory, name string) (folder string, err error) {
	if err := os.MkdirAll(filepath.Dir(name), 0o700); err != nil {
		return "", err
	}
	folder = unused(name)
	if err = os.Rename(directory, folder); !errors.Is(err, unix.EXDEV) {
		return folder, err
	}
	if err = copyTree(directory, folder); err != nil {
		return "", errors.Join(err, os.RemoveAll(folder))
	}
	return folder, os.RemoveAll(directory)
}

// copyTree copies directories and files, holes as holes, and brings them to the disk.
func copyTree(from, to string) error {
	return filepath.WalkDir(from, func(source string, entry iofs.DirEntry, err error) error {
		if err != nil {
			return err
		}
		relative, err := filepath.Rel(from, source)
		if err != nil {
			return err
		}
		if target := filepath.Join(to, relative); entry.IsDir() {
			return os.Mkdir(target, 0o700)
		} else {
			return copySparse(source, target)
		}
	})
}

// copySparse copies one file to a name that is not taken.
func copySparse(source, target string) (err error) {
	in, err := os.Open(source)
	if err != nil {
		return err
	}
	defer in.Close()
	info, err := in.Stat()
	if err != nil {
		return err
	}
	out, err := os.OpenFile(target, os.O_WRONLY|os.O_CREATE|os.O_EXCL, 0o600)
	if err != nil {
		return err
	}
	defer func() { err = errors.Join(err, out.Close()) }()
	for at := int64(0); ; {
		begin, err := unix.Seek(int(in.Fd()), at, unix.SEEK_DATA)
		if errors.Is(err, unix.ENXIO) {
			break // nothing but a hole is left
		} else if err != nil {
			return err
		}
		if at, err = unix.Seek(int(in.Fd()), begin, unix.SEEK_HOLE); err != nil {
			return err
		}
		if _, err = io.Copy(io.NewOffsetWriter(out, begin), io.NewSectionReader(in, begin, at-begin)); err != nil {
			return err
		}
	}
	return errors.Join(out.Truncate(info.Size()), os.Chtimes(target, info.ModTime(), info.ModTime()), out.Sync())
}
