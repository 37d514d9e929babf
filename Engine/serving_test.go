// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bytes"
	"context"
	"encoding/binary"
	"errors"
	"io"
	"maps"
	"net"
	"os"
	"os/exec"
	"path/filepath"
	"slices"
	"strings"
	"sync/atomic"
	"syscall"
	"testing"
	"time"

	rclonenfs "github.com/rclone/rclone/cmd/serve/nfs"
	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/config"
	"github.com/rclone/rclone/vfs"
	"github.com/rclone/rclone/vfs/vfscommon"
)

const testTimeout = 20 * time.Second

// servedFolder is a drive over a local folder that is served on a port of this process.
type servedFolder struct {
	*nfsService
	t      *testing.T
	drive  *vfs.VFS
	remote string
}

func serveFolder(t *testing.T, writeBack time.Duration) *servedFolder {
	t.Helper()
	return serve(t, writeBack, func(remote fs.Fs) fs.Fs { return remote })
}

// serve serves a folder by way of what wrap makes of it.
func serve(t *testing.T, writeBack time.Duration, wrap func(fs.Fs) fs.Fs) *servedFolder {
	t.Helper()
	s := &servedFolder{t: t, remote: t.TempDir()}
	must(t, config.SetCacheDir(t.TempDir()))
	remote, err := fs.NewFs(context.Background(), s.remote)
	must(t, err)
	options := driveOptions()
	options.CacheMode = vfscommon.CacheModeFull
	options.WriteBack = fs.Duration(writeBack)
	s.drive = vfs.New(context.Background(), wrap(remote), options)
	handles := rclonenfs.Opt
	handles.ListenAddr = "127.0.0.1:0"
	s.nfsService, err = newNFSService(context.Background(), s.drive, &handles)
	must(t, err)
	done := make(chan error)
	go func() { done <- s.serve() }()
	t.Cleanup(func() {
		s.stop()
		must(t, <-done)
		s.drive.Shutdown()
	})
	return s
}

// save writes a file as CREATE and WRITE do.
func (s *servedFolder) save(name, content string) {
	s.t.Helper()
	must(s.t, s.files.write(name, true, func(handle vfs.Handle) error {
		_, err := handle.WriteAt([]byte(content), 0)
		return err
	}))
}

func (s *servedFolder) eventually(what string, condition func() bool) {
	s.t.Helper()
	for deadline := time.Now().Add(testTimeout); !condition(); time.Sleep(5 * time.Millisecond) {
		if time.Now().After(deadline) {
			s.t.Fatalf("this did not come to hold: %s", what)
		}
	}
}

// remoteHas tells whether the folder that is served has a file with this content.
func (s *servedFolder) remoteHas(name, content string) bool {
	found, err := os.ReadFile(filepath.Join(s.remote, name))
	return err == nil && string(found) == content
}

// uploaded waits until nothing is pending and no suspect is left.
func (s *servedFolder) uploaded() {
	s.t.Helper()
	s.eventually("everything is uploaded", func() bool {
		s.files.mu.Lock()
		defer s.files.mu.Unlock()
		return s.files.cache.TotalInUse() == 0 && len(s.files.suspects.since) == 0
	})
}

// expect compares the files in the folder that is served, and those that the drive shows, with their contents by name.
func (s *servedFolder) expect(want map[string]string) {
	s.t.Helper()
	found := map[string]string{}
	must(s.t, filepath.Walk(s.remote, func(path string, info os.FileInfo, err error) error {
		if err == nil && !info.IsDir() {
			content, err := os.ReadFile(path)
			name := strings.TrimPrefix(path, s.remote+"/")
			found[name] = string(content)
			if _, shown := s.drive.Stat(name); shown != nil {
				s.t.Errorf("the drive does not show %s: %v", name, shown)
			}
			return err
		}
		return err
	}))
	if !maps.Equal(found, want) {
		s.t.Errorf("the files are %v, want %v", found, want)
	}
	nodes, err := s.drive.ReadDir("")
	must(s.t, err)
	for _, node := range nodes {
		if _, uploaded := found[node.Name()]; !uploaded && !node.IsDir() {
			s.t.Errorf("the drive shows %s", node.Name())
		}
	}
}

// rpc makes one call on a connection and returns the status and what follows it.
func rpc(t *testing.T, conn net.Conn, procedure uint32, arguments ...[]byte) (status uint32, results []byte) {
	t.Helper()
	must(t, conn.SetDeadline(time.Now().Add(testTimeout)))
	_, err := conn.Write(callOf(7, nfsVersion, procedure, arguments...))
	must(t, err)
	_, answer := answerFrom(t, conn)
	return binary.BigEndian.Uint32(answer), answer[4:]
}

// callOf returns the record of a call.
func callOf(xid, version, procedure uint32, arguments ...[]byte) []byte {
	call := binary.BigEndian.AppendUint32(nil, xid)
	for _, word := range []uint32{0, 2, nfsProgram, version, procedure, 0, 0, 0, 0} {
		call = binary.BigEndian.AppendUint32(call, word)
	}
	call = append(call, bytes.Join(arguments, nil)...)
	return append(binary.BigEndian.AppendUint32(nil, uint32(len(call))|lastFragment), call...)
}

// answerFrom returns the next answer on a connection, from the status on.
func answerFrom(t *testing.T, conn net.Conn) (xid uint32, answer []byte) {
	t.Helper()
	head := make([]byte, recordMark)
	_, err := io.ReadFull(conn, head)
	must(t, err)
	answer = make([]byte, binary.BigEndian.Uint32(head)&^lastFragment)
	_, err = io.ReadFull(conn, answer)
	must(t, err)
	return binary.BigEndian.Uint32(answer), answer[answerHead:]
}

func opaque(value []byte) []byte {
	padded := append(binary.BigEndian.AppendUint32(nil, uint32(len(value))), value...)
	return append(padded, make([]byte, (4-len(value)%4)%4)...)
}

func (s *servedFolder) dial() net.Conn {
	s.t.Helper()
	conn, err := net.Dial("tcp", s.listener.Addr().String())
	must(s.t, err)
	s.t.Cleanup(func() { _ = conn.Close() })
	return conn
}

// handleOf returns the handle of a path.
func (s *servedFolder) handleOf(name string) []byte {
	return newNFSConnection(s.nfsService, nil).handler.ToHandle(nil, strings.Split(name, "/"))
}

func TestOnlySocketsOfTheUserAreServed(t *testing.T) {
	s := serveFolder(t, time.Hour)
	// A row is left out of a table now and then.
	open, opened := openTable, atomic.Int32{}
	openTable = func(path string) (io.ReadCloser, error) {
		if opened.Add(1) <= 4 {
			return io.NopCloser(strings.NewReader("")), nil
		}
		return open(path)
	}
	t.Cleanup(func() { openTable = open })
	if status, _ := rpc(t, s.dial(), 1, opaque(s.handleOf(""))); status != 0 {
		t.Errorf("GETATTR of the root gave status %d", status)
	}
	if os.Getuid() != 0 {
		t.Fatal("this needs root, to become somebody else")
	}
	for name, address := range map[string]string{"IPv4": "127.0.0.1", "IPv4 over an IPv6 socket": "::ffff:127.0.0.1"} {
		_, port, _ := net.SplitHostPort(s.listener.Addr().String())
		// A NULL call; served, it is answered with 24 bytes and a record mark.
		stranger := exec.Command("bash", "-c", `exec 3<>"/dev/tcp/$0/$1" &&
			printf '\x80\0\0\x28\0\0\0\7\0\0\0\0\0\0\0\2\0\1\x86\xa3\0\0\0\3' >&3 && head -c 20 /dev/zero >&3
			head -c 28 <&3 | wc -c`, address, port)
		for uid, want := range map[uint32]string{65534: "0", 0: "28"} {
			stranger := *stranger
			stranger.SysProcAttr = &syscall.SysProcAttr{Credential: &syscall.Credential{Uid: uid, Gid: uid}}
			got, err := stranger.Output()
			must(t, err)
			if strings.TrimSpace(string(got)) != want {
				t.Errorf("%s, user %d: %s bytes of an answer, want %s", name, uid, got, want)
			}
		}
	}
}

func TestFilesStayOpenUntilCommitOrSilence(t *testing.T) {
	s := serveFolder(t, time.Hour)
	queued := func() bool {
		return len(s.files.cache.uploads("a.txt")) == 1
	}
	for name, end := range map[string]func(){
		"COMMIT": func() {
			if status, _ := rpc(t, s.dial(), 21, opaque(s.handleOf("a.txt")), make([]byte, 12)); status != 0 {
				t.Errorf("COMMIT gave status %d", status)
			}
			if !queued() {
				t.Error("COMMIT was answered before the upload was queued")
			}
		},
		"silence": func() { s.eventually("the upload is queued", queued) },
		"the end": func() { s.files.closeAll() },
	} {
		s.save("a.txt", name)
		if queued() {
			t.Errorf("the file was closed before %s", name)
		}
		time1 := modTime(t, s, "a.txt")
		end()
		if !queued() {
			t.Errorf("the file is open after %s", name)
		}
		if time2 := modTime(t, s, "a.txt"); !time1.Equal(time2) {
			t.Errorf("%s changed the time of the file from %v to %v", name, time1, time2)
		}
	}
}

func modTime(t *testing.T, s *servedFolder, name string) time.Time {
	t.Helper()
	info, err := s.drive.Stat(name)
	must(t, err)
	return info.ModTime()
}

func TestCallsThatFailLeaveTheFileUploadable(t *testing.T) {
	s := serveFolder(t, 10*time.Millisecond)
	s.save("a.txt", "kept")
	s.uploaded()
	const tooLarge = 1 << 62
	arguments := [][]byte{opaque(s.handleOf("a.txt")), make([]byte, 12), {0, 0, 0, 1}, // no mode, user, group; a size
		binary.BigEndian.AppendUint64(nil, tooLarge), make([]byte, 12)}
	if status, _ := rpc(t, s.dial(), 2, arguments...); status != 27 {
		t.Errorf("a size that no file can have gave status %d, want FBIG", status)
	}
	if info, err := s.drive.Stat("a.txt"); err != nil || info.Size() != 4 {
		t.Errorf("the file has %d bytes after that, %v", info.Size(), err)
	}
	s.save("a.txt", "changed after that")
	s.uploaded()
	if !s.remoteHas("a.txt", "changed after that") {
		t.Error("a file is not uploaded after a call that failed")
	}
}

func TestCommitBringsAFileToTheDiskUnlessItOnlyCloses(t *testing.T) {
	s := serveFolder(t, time.Hour)
	must(t, s.drive.Mkdir("folder", 0o700))
	really, synced := toDisk, map[string]bool{}
	toDisk = func(path string) error {
		synced[path] = true
		return really(path)
	}
	defer func() { toDisk = really }()
	closeOnly := append(bytes.Repeat([]byte{0xff}, 8), 0, 0, 0, 0)
	for _, c := range []struct {
		name      string
		arguments []byte
		want      int // data, metadata, and the folders of both up to the cache's
	}{{"a close", closeOnly, 0}, {"fsync", make([]byte, 12), 6}, {"fsync of a part", bytes.Repeat([]byte{1}, 12), 6}} {
		s.save("folder/a.txt", c.name)
		clear(synced)
		if status, _ := rpc(t, s.dial(), 21, opaque(s.handleOf("folder/a.txt")), c.arguments); status != 0 {
			t.Errorf("%s: status %d", c.name, status)
		}
		if len(synced) != c.want || c.want > 0 && !synced[filepath.Join(s.files.cache.meta, "folder/a.txt")] {
			t.Errorf("%s brought these to the disk: %v", c.name, synced)
		}
	}
}

func TestLateErrorsAreToldOnce(t *testing.T) {
	s := serveFolder(t, time.Hour)
	s.save("a.txt", "text")
	must(t, s.files.close("a.txt", false))
	for _, tell := range []func() uint32{
		func() uint32 {
			status, _ := rpc(t, s.dial(), 21, opaque(s.handleOf("a.txt")), make([]byte, 12))
			return status
		},
		func() uint32 {
			status, _ := rpc(t, s.dial(), 7, opaque(s.handleOf("a.txt")), make([]byte, 8), []byte{0, 0, 0, 1, 0, 0, 0, 0},
				opaque([]byte("x")))
			return status
		},
	} {
		e, err := s.files.enter("a.txt")
		must(t, err)
		s.files.note(e, &os.PathError{Op: "close", Path: "a.txt", Err: syscall.ENOSPC})
		s.files.leave(e)
		if first, second := tell(), tell(); first != 28 || second != 0 {
			t.Errorf("statuses %d and %d, want NOSPC and OK", first, second)
		}
	}
}

func TestStopLetsRunningCallsFinishAndTakesNoMore(t *testing.T) {
	s := serveFolder(t, time.Hour)
	s.save("a.txt", "text")
	blocked, release := make(chan struct{}), make(chan struct{})
	running := make(chan error)
	go func() {
		running <- s.files.write("a.txt", false, func(handle vfs.Handle) error {
			close(blocked)
			<-release
			_, err := handle.WriteAt([]byte("more"), 4)
			return err
		})
	}()
	<-blocked
	if !s.begin() {
		t.Fatal("no call is taken before the end")
	}
	go func() {
		close(release)
		if err := <-running; err != nil {
			t.Error(err)
		}
		s.end()
	}()
	s.stop()
	if s.begin() {
		t.Error("a call is taken after the end")
	}
	if queue := s.files.cache.uploads("a.txt"); len(queue) != 1 || queue[0].Size != 8 {
		t.Errorf("the file that was open is not queued as it should be: %+v", queue)
	}
}

func TestMovesAndRemovalsAroundPendingUploads(t *testing.T) {
	const wait = 300 * time.Millisecond
	for name, c := range map[string]struct {
		do   func(s *servedFolder)
		want map[string]string
	}{
		"over a pending file, then saved": {func(s *servedFolder) {
			s.save("a", "a")
			s.uploaded()
			s.save("b", "b, pending")
			must(s.t, s.moves.rename("a", "b"))
			s.save("b", "the new text")
		}, map[string]string{"b": "the new text"}},
		"pending over an uploaded one, then removed": {func(s *servedFolder) {
			s.save("b", "old")
			s.uploaded()
			s.save("a", "new")
			must(s.t, s.moves.rename("a", "b"))
			must(s.t, s.moves.remove("b"))
		}, nil},
		"pending over an uploaded one, then moved": {func(s *servedFolder) {
			s.save("b", "old")
			s.uploaded()
			s.save("a", "new")
			must(s.t, s.moves.rename("a", "b"))
			must(s.t, s.moves.rename("b", "c"))
		}, map[string]string{"c": "new"}},
		"pending over an uploaded one, its folder moved, then removed": {func(s *servedFolder) {
			must(s.t, s.drive.Mkdir("d", 0o700))
			s.save("d/b", "old")
			s.uploaded()
			s.save("d/a", "new")
			must(s.t, s.moves.rename("d/a", "d/b"))
			must(s.t, s.moves.rename("d", "e"))
			must(s.t, s.moves.remove("e/b"))
		}, nil},
		"while it is read": {func(s *servedFolder) {
			s.save("b", "old")
			s.uploaded()
			must(s.t, s.files.read("b", func(handle vfs.Handle) error {
				s.save("a", "new")
				return s.moves.rename("a", "b")
			}))
		}, map[string]string{"b": "new"}},
	} {
		t.Run(name, func(t *testing.T) {
			s := serveFolder(t, wait)
			c.do(s)
			s.uploaded()
			s.expect(c.want)
		})
	}
}

func TestHolesOfANewFileAreUploadedAsZeros(t *testing.T) {
	s := serveFolder(t, 10*time.Millisecond)
	must(t, s.files.write("a", true, func(handle vfs.Handle) error {
		// A WRITE that has let the file grow is not noted yet when somebody asks for the size, and then fails.
		must(t, os.Truncate(filepath.Join(s.files.cache.data, "a"), 8))
		_, err := s.files.cache.Item("a").GetSize()
		must(t, err)
		_, err = handle.WriteAt([]byte("text"), 4)
		return err
	}))
	must(t, s.files.close("a", false))
	s.uploaded()
	s.expect(map[string]string{"a": "\x00\x00\x00\x00text"})
}

// awayFs is a folder whose files cannot be read while it is away.
type awayFs struct {
	fs.Fs
	away atomic.Bool
}

type awayObject struct {
	fs.Object
	from *awayFs
}

func (f *awayFs) List(ctx context.Context, dir string) (fs.DirEntries, error) {
	entries, err := f.Fs.List(ctx, dir)
	for i, entry := range entries {
		if object, ok := entry.(fs.Object); ok {
			entries[i] = awayObject{object, f}
		}
	}
	return entries, err
}

func (o awayObject) Open(ctx context.Context, options ...fs.OpenOption) (io.ReadCloser, error) {
	if o.from.away.Load() {
		return nil, errors.New("the network is down")
	}
	return o.Object.Open(ctx, options...)
}

func TestAFileChangedInPartWaitsForTheRest(t *testing.T) {
	pause := fetchPause
	fetchPause = 10 * time.Millisecond
	defer func() { fetchPause = pause }()
	var away *awayFs
	s := serve(t, 10*time.Millisecond, func(remote fs.Fs) fs.Fs {
		away = &awayFs{Fs: remote}
		must(t, os.WriteFile(filepath.Join(remote.Root(), "a.txt"), bytes.Repeat([]byte("."), 1<<20), 0o600))
		return away
	})
	away.away.Store(true)
	must(t, s.files.write("a.txt", false, func(handle vfs.Handle) error {
		_, err := handle.WriteAt([]byte("changed"), 1000)
		return err
	}))
	for _, sync := range []bool{true, false} {
		if err := s.files.close("a.txt", sync); err != nil {
			t.Errorf("closing waits for the network, sync %v: %v", sync, err)
		}
	}
	if s.files.cache.dirtyItem("a.txt") == nil {
		t.Error("the change is not pending")
	}
	if s.moves.rename("a.txt", "b.txt") == nil {
		t.Error("a file that Google has is moved while it is away")
	}
	away.away.Store(false)
	want := bytes.Repeat([]byte("."), 1<<20)
	copy(want[1000:], "changed")
	s.eventually("the file is uploaded as a whole", func() bool { return s.remoteHas("a.txt", string(want)) })
}

func TestWritesSurviveADownloadOfTheSameFile(t *testing.T) {
	const size, piece = 32 << 20, 64 << 10
	s := serve(t, time.Hour, func(remote fs.Fs) fs.Fs {
		must(t, os.WriteFile(filepath.Join(remote.Root(), "a.txt"), make([]byte, size), 0o600))
		return remote
	})
	read := make(chan error)
	go func() {
		buffer := make([]byte, piece)
		var err error
		for at := int64(0); at < size && err == nil; at += piece {
			err = s.files.read("a.txt", func(handle vfs.Handle) error {
				_, err := handle.ReadAt(buffer, at)
				return err
			})
		}
		read <- err
	}()
	text := bytes.Repeat([]byte("x"), piece)
	for at := int64(0); at < size; at += 2 * piece {
		file := &nfsFile{files: &nfsFiles{service: s.nfsService}, name: "a.txt", offset: at}
		_, err := file.Write(text)
		must(t, err)
	}
	must(t, <-read)
	buffer := make([]byte, piece)
	for at := int64(0); at < size; at += 2 * piece {
		must(t, s.files.read("a.txt", func(handle vfs.Handle) error {
			_, err := handle.ReadAt(buffer, at)
			return err
		}))
		if !bytes.Equal(buffer, text) {
			t.Fatalf("what was written at %d is gone", at)
		}
	}
}

func TestAnswersAreThoseOfTheLibrary(t *testing.T) {
	s := serveFolder(t, time.Hour)
	must(t, s.drive.Mkdir("folder", 0o700))
	s.save("folder/a.txt", strings.Repeat("text ", 20_001))
	file, folder, gone := opaque(s.handleOf("folder/a.txt")), opaque(s.handleOf("folder")), opaque(s.handleOf("gone"))
	read := func(offset uint64, count uint32) []byte {
		return binary.BigEndian.AppendUint32(binary.BigEndian.AppendUint64(nil, offset), count)
	}
	write := func(offset uint64, text string) []byte {
		head := append(binary.BigEndian.AppendUint64(nil, offset), 0, 0, 0, byte(len(text)), 0, 0, 0, 2)
		return append(head, opaque([]byte(text))...)
	}
	conn, xid := s.dial(), uint32(0)
	for name, c := range map[string]struct {
		procedure uint32
		arguments []byte
		times     []int // where words of times are in the answer
	}{
		"GETATTR":                    {1, file, nil},
		"GETATTR of the root":        {1, opaque(s.handleOf("")), nil},
		"GETATTR of what is gone":    {1, gone, nil},
		"GETATTR of a stale handle":  {1, opaque([]byte("0123456789abcdef")), nil},
		"LOOKUP":                     {3, slices.Concat(folder, opaque([]byte("a.txt"))), nil},
		"LOOKUP of what is absent":   {3, slices.Concat(folder, opaque([]byte("b.txt"))), nil},
		"LOOKUP in a file":           {3, slices.Concat(file, opaque([]byte("b.txt"))), nil},
		"LOOKUP of the folder above": {3, slices.Concat(folder, opaque([]byte(".."))), nil},
		"READ":                       {6, slices.Concat(file, read(10, 1001)), nil},
		"READ of much":               {6, slices.Concat(file, read(0, 100_000)), nil},
		"READ up to the end":         {6, slices.Concat(file, read(5, 100_000)), nil},
		"READ behind the end":        {6, slices.Concat(file, read(1<<40, 10)), nil},
		"READ of a folder":           {6, slices.Concat(folder, read(0, 10)), nil},
		"READ of what is gone":       {6, slices.Concat(gone, read(0, 10)), nil},
		"WRITE":                      {7, slices.Concat(file, write(3, "more")), []int{16, 24, 96, 104, 112}},
		"WRITE to a folder":          {7, slices.Concat(folder, write(0, "more")), nil},
		"COMMIT":                     {21, slices.Concat(file, make([]byte, 12)), nil},
	} {
		var answers [2][]byte
		for i := range answers {
			// The library answers to any version of the protocol.
			xid++
			_, err := conn.Write(callOf(xid, nfsVersion+uint32(i), c.procedure, c.arguments))
			must(t, err)
			_, answers[i] = answerFrom(t, conn)
			for _, at := range c.times {
				copy(answers[i][at:], make([]byte, 8))
			}
		}
		if !bytes.Equal(answers[0], answers[1]) {
			t.Errorf("%s is answered with\n%x, and by the library with\n%x", name, answers[0], answers[1])
		}
	}
}

func TestAnswersComeInTurn(t *testing.T) {
	s := serveFolder(t, time.Hour)
	s.save("a.txt", "text")
	conn := s.dial()
	must(t, conn.SetDeadline(time.Now().Add(testTimeout)))
	const calls = 200
	var records []byte
	for xid := range uint32(calls) {
		procedure := uint32(1) // GETATTR
		if xid%3 == 0 {
			procedure = 19 // FSINFO, which the library answers
		}
		records = append(records, callOf(xid, nfsVersion, procedure, opaque(s.handleOf("a.txt")))...)
	}
	_, err := conn.Write(records)
	must(t, err)
	for want := range uint32(calls) {
		if xid, answer := answerFrom(t, conn); xid != want || binary.BigEndian.Uint32(answer) != 0 {
			t.Fatalf("call %d is answered with %x when it is call %d's turn", xid, answer, want)
		}
	}
}
