// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"crypto/rand"
	"fmt"
	"net"
	"os"
	"sync"
	"time"

	"github.com/go-git/go-billy/v5"
	rclonenfs "github.com/rclone/rclone/cmd/serve/nfs"
	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/vfs"
	"github.com/rclone/rclone/vfs/vfscache/writeback"
	"github.com/rclone/rclone/vfs/vfscommon"
	"github.com/willscott/go-nfs"
)

// maxStop bounds how long the end of the engine waits for calls that are being answered.
const maxStop = 3 * time.Second

// nfsService answers NFS calls for one drive. rclone's handler and go-nfs do the protocol; between the two and the
// network stand a listener that knows its peers, connections that know where a call begins and ends, and a file system
// that keeps files open between calls.
type nfsService struct {
	handler  nfs.Handler      // rclone's
	inner    billy.Filesystem // rclone's
	files    *openFiles
	moves    *moves
	space    *freeSpace
	listener net.Listener
	id       [8]byte // the write verifier, the same for all connections of this process
	handles  handleMemory

	mu       sync.Mutex
	stopping bool
	running  int           // calls that are being answered
	idle     chan struct{} // closed when running falls to 0 while stopping
}

// newNFSService listens where the options say.
func newNFSService(ctx context.Context, drive *vfs.VFS, options *rclonenfs.Options) (*nfsService, error) {
	if drive.Opt.CacheMode == vfscommon.CacheModeOff {
		fs.LogPrintf(fs.LogLevelWarning, nil, "There is no cache, so the drive is served read-only")
	}
	address := options.ListenAddr
	if address == "" {
		address = "localhost:"
	}
	files, err := newOpenFiles(drive)
	if err != nil {
		return nil, err
	}
	var left []writeback.QueueInfo
	if files.cache != nil {
		files.cache.delay("")
		left = files.cache.uploads("")
	}
	service := &nfsService{files: files, moves: &moves{files}, idle: make(chan struct{}),
		space: newFreeSpace(drive.Fs().Features().About)}
	if _, err := rand.Read(service.id[:]); err != nil {
		return nil, err
	}
	if service.handler, err = rclonenfs.NewHandler(ctx, drive, options); err != nil {
		return nil, fmt.Errorf("failed to make NFS handler: %w", err)
	}
	_, service.inner, _ = service.handler.Mount(ctx, nil, nfs.MountRequest{Dirpath: []byte("/")})
	if service.listener, err = net.Listen("tcp", address); err != nil {
		return nil, fmt.Errorf("failed to open listening socket: %w", err)
	}
	go service.moves.adopt(left)
	return service, nil
}

// serve answers calls until the listener fails or stop is called; it returns nil in the latter case.
func (s *nfsService) serve() error {
	fs.Logf(nil, "NFS Server running at %s\n", s.listener.Addr())
	for {
		conn, err := s.listener.Accept()
		if err != nil {
			s.mu.Lock()
			stopping := s.stopping
			s.mu.Unlock()
			if stopping {
				return nil
			}
			if temporary, ok := err.(net.Error); ok && temporary.Timeout() || outOfDescriptors(err) {
				time.Sleep(100 * time.Millisecond)
				continue
			}
			return err
		}
		go s.serveConnection(conn)
	}
}

// serveConnection answers the calls of one connection if its peer is a process of this user.
func (s *nfsService) serveConnection(conn net.Conn) {
	if err := peerBelongsTo(conn, os.Getuid()); err != nil {
		fs.Errorf(nil, "Refused a connection: %v", err)
		_ = conn.Close()
		return
	}
	connection := newNFSConnection(s, conn)
	server := nfs.Server{Handler: connection.handler, ID: s.id}
	// go-nfs serves a listener; this one yields its only connection and then waits for the end of it.
	_ = server.Serve(&singleListener{connection: connection})
}

// stop takes no further calls, waits for the running ones and closes the files that are open between calls, all within
// maxStop.
func (s *nfsService) stop() {
	s.mu.Lock()
	if s.stopping {
		s.mu.Unlock()
		return
	}
	s.stopping = true
	if s.running == 0 {
		close(s.idle)
	}
	s.mu.Unlock()

	_ = s.listener.Close()
	s.files.suspects.stop()
	timeout := time.NewTimer(maxStop)
	defer timeout.Stop()
	select {
	case <-s.idle:
	case <-timeout.C:
		fs.Errorf(nil, "Some calls were not answered before the end")
	}
	closed := make(chan struct{})
	go func() {
		s.files.closeAll()
		close(closed)
	}()
	select {
	case <-closed:
	case <-timeout.C:
		fs.Errorf(nil, "Some files were not closed before the end")
	}
}

// begin counts a call that is about to be answered. It returns false if no more calls are taken.
func (s *nfsService) begin() bool {
	s.mu.Lock()
	defer s.mu.Unlock()
	if s.stopping {
		return false
	}
	s.running++
	return true
}

// end counts a call that has been answered, or whose connection has gone.
func (s *nfsService) end() {
	s.mu.Lock()
	defer s.mu.Unlock()
	s.running--
	if s.stopping && s.running == 0 {
		close(s.idle)
	}
}

// singleListener yields one connection; the next Accept returns when that is closed.
type singleListener struct {
	connection *nfsConnection
	accepted   bool
}

// Accept implements net.Listener.
func (l *singleListener) Accept() (net.Conn, error) {
	if !l.accepted {
		l.accepted = true
		return l.connection, nil
	}
	<-l.connection.closed
	return nil, net.ErrClosed
}

// Close implements net.Listener.
func (l *singleListener) Close() error { return nil }

// Addr implements net.Listener.
func (l *singleListener) Addr() net.Addr { return l.connection.LocalAddr() }
