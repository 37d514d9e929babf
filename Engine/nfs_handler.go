// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bytes"
	"context"
	"errors"
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
	connection.commit = h.commit
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
	if h.connection.failed() {
		return nil, nil, errors.New("the file could not be closed") // what is said is the status of that
	}
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
	h.service.handles.forget(handle)
	return h.Handler.InvalidateHandle(h.service.inner, handle)
}

// commit closes the file of a handle, and with sync brings it to the disk.
func (h *nfsHandler) commit(handle []byte, sync bool) nfs.NFSStatus {
	elements, err := h.elements(handle)
	if err != nil {
		return nfs.NFSStatusOk // go-nfs finds out, too
	}
	if err := h.service.files.close(path.Join(elements...), sync); err != nil {
		return statusOf(err)
	}
	return nfs.NFSStatusOk
}

// mostHandles bounds how many handles are remembered.
const mostHandles = 1 << 16

// handleMemory remembers handles that are on the disk. rclone writes a small file under one lock for each handle that it
// gives out, also for those it has given out before, and reads it for each that it gets back.
type handleMemory struct {
	mu      sync.RWMutex
	handles map[string][]byte   // by path
	paths   map[string][]string // by handle
}

// handle returns the handle of a path, from find if it is not known.
func (m *handleMemory) handle(name string, find func() []byte) []byte {
	m.mu.RLock()
	known, ok := m.handles[name]
	m.mu.RUnlock()
	if ok {
		return known
	}
	handle := find()
	m.remember(name, handle)
	return handle
}

// path returns the path of a handle, from find if it is not known.
func (m *handleMemory) path(handle []byte, find func() ([]string, error)) ([]string, error) {
	m.mu.RLock()
	known, ok := m.paths[string(handle)]
	m.mu.RUnlock()
	if ok {
		return known, nil
	}
	elements, err := find()
	if err != nil {
		return nil, err
	}
	m.remember(path.Join(elements...), handle)
	return elements, nil
}

func (m *handleMemory) remember(name string, handle []byte) {
	m.mu.Lock()
	defer m.mu.Unlock()
	if m.handles == nil || len(m.handles) >= mostHandles {
		m.handles, m.paths = map[string][]byte{}, map[string][]string{}
	}
	elements := strings.Split(name, "/")
	m.handles[name] = bytes.Clone(handle)
	m.paths[string(handle)] = elements[:len(elements):len(elements)] // go-nfs appends to what it gets
}

// forget forgets a handle that is being removed from the disk.
func (m *handleMemory) forget(handle []byte) {
	m.mu.Lock()
	defer m.mu.Unlock()
	delete(m.handles, path.Join(m.paths[string(handle)]...))
	delete(m.paths, string(handle))
}
