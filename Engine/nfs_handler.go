// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bytes"
	"context"
	"crypto/md5"
	"net"
	"path"
	"strings"
	"sync"

	"github.com/go-git/go-billy/v5"
	"github.com/willscott/go-nfs"
)

// nfsHandler stands before rclone's handler for one connection. rclone's part is the mapping of handles to paths; files
// are reached through the service's file system.
type nfsHandler struct {
	nfs.Handler // rclone's
	service     *nfsService
	connection  *nfsConnection
	files       *nfsFiles
}

func newNFSHandler(service *nfsService, connection *nfsConnection) *nfsHandler {
	h := &nfsHandler{Handler: service.handler, service: service, connection: connection}
	h.files = &nfsFiles{service: service, connection: connection}
	return h
}

// Mount implements nfs.Handler.
func (h *nfsHandler) Mount(ctx context.Context, conn net.Conn, request nfs.MountRequest) (nfs.MountStatus,
	billy.Filesystem, []nfs.AuthFlavor) {
	if path.Clean("/"+string(request.Dirpath)) != "/" {
		return nfs.MountStatusErrNoEnt, h.files, nil // the drive is mounted as a whole
	}
	status, _, flavors := h.Handler.Mount(ctx, conn, request)
	return status, h.files, flavors
}

// Change implements nfs.Handler.
func (h *nfsHandler) Change(billy.Filesystem) billy.Change { return h.files }

// ToHandle implements nfs.Handler.
func (h *nfsHandler) ToHandle(_ billy.Filesystem, elements []string) []byte {
	return h.service.handles.handle(path.Join(elements...), func() []byte {
		return h.Handler.ToHandle(h.service.inner, elements)
	})
}

// FromHandle implements nfs.Handler.
func (h *nfsHandler) FromHandle(handle []byte) (billy.Filesystem, []string, error) {
	elements, err := h.elements(handle)
	return h.files, elements, err
}

// elements returns the path of a handle.
func (h *nfsHandler) elements(handle []byte) ([]string, error) {
	return h.service.handles.path(handle, func() ([]string, error) {
		_, elements, err := h.Handler.FromHandle(handle)
		return elements, err
	})
}

// InvalidateHandle implements nfs.Handler.
func (h *nfsHandler) InvalidateHandle(_ billy.Filesystem, handle []byte) error {
	if h.service.handles.forget(handle) {
		return nil
	}
	return h.Handler.InvalidateHandle(h.service.inner, handle)
}

// maxHandles bounds how many handles are kept in memory, own and inner ones each.
const maxHandles = 1 << 16

// handleMemory keeps handles in memory. rclone writes a small file under one lock for each handle that it gives out, also
// for those it has given out before, and reads it for each that it gets back. Nobody needs the files: the mount ends with
// the engine. So rclone is asked only for what does not fit in here, and what it has said is remembered.
type handleMemory struct {
	mu    sync.RWMutex
	own   handleTable // given out here, forgotten only when the file is gone
	inner handleTable // given out by rclone, forgotten when there are too many
}

type handleTable struct {
	handles map[string][]byte   // by path
	paths   map[string][]string // by handle
}

func (t *handleTable) add(name string, handle []byte) {
	if t.handles == nil {
		t.handles, t.paths = map[string][]byte{}, map[string][]string{}
	}
	elements := strings.Split(name, "/")
	t.handles[name] = bytes.Clone(handle)
	t.paths[string(handle)] = elements[:len(elements):len(elements)] // go-nfs appends to what it gets
}

func (t *handleTable) forget(handle []byte) {
	if elements := t.paths[string(handle)]; elements != nil {
		delete(t.handles, path.Join(elements...))
		delete(t.paths, string(handle))
	}
}

// handle returns the handle of a path, from find if there is no room for it here.
func (m *handleMemory) handle(name string, find func() []byte) []byte {
	if handle := m.known(name); handle != nil {
		return handle
	}
	m.mu.Lock()
	hasRoom := len(m.own.handles) < maxHandles && m.inner.handles[name] == nil
	if hasRoom {
		handle := md5.Sum([]byte(name)) // of the kind that rclone gives
		m.own.add(name, handle[:])
		m.mu.Unlock()
		return handle[:]
	}
	m.mu.Unlock()
	handle := find()
	m.mu.Lock()
	defer m.mu.Unlock()
	m.rememberInner(name, handle)
	return handle
}

func (m *handleMemory) known(name string) []byte {
	m.mu.RLock()
	defer m.mu.RUnlock()
	if handle := m.own.handles[name]; handle != nil {
		return handle
	}
	return m.inner.handles[name]
}

// path returns the path of a handle, from find if it was not given out here.
func (m *handleMemory) path(handle []byte, find func() ([]string, error)) ([]string, error) {
	m.mu.RLock()
	elements := m.own.paths[string(handle)]
	if elements == nil {
		elements = m.inner.paths[string(handle)]
	}
	m.mu.RUnlock()
	if elements != nil {
		return elements, nil
	}
	elements, err := find()
	if err != nil {
		return nil, err
	}
	m.mu.Lock()
	defer m.mu.Unlock()
	m.rememberInner(path.Join(elements...), handle)
	return elements, nil
}

func (m *handleMemory) rememberInner(name string, handle []byte) {
	if len(m.inner.handles) >= maxHandles {
		m.inner = handleTable{}
	}
	m.inner.add(name, handle)
}

// forget forgets a handle whose file is gone. It tells whether it was given out here.
func (m *handleMemory) forget(handle []byte) bool {
	m.mu.Lock()
	defer m.mu.Unlock()
	own := m.own.paths[string(handle)] != nil
	m.own.forget(handle)
	m.inner.forget(handle)
	return own
}
