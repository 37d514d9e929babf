// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bytes"
	"encoding/json"
	"io"
	"net/http"
	"path"
	"regexp"
	"strings"
	"sync"
	"unicode/utf8"

	"github.com/rclone/rclone/fs"
)

// hiddenName matches the paths at which the mount program keeps files that were deleted while a program has them open
// (Mount/SillyName).
var hiddenName = regexp.MustCompile(`^\.nfs-quillmount-[0-9a-f]{16}-[0-9a-f]{16}$`)

// trashNames has the names that hidden files had before, by their paths. The user looks for a deleted file in Google's
// trash by that name, so the call that puts it there gives it back.
type trashNames struct {
	mu     sync.Mutex
	byPath map[string]string
}

// moved takes note of a file that was moved.
func (o *trashNames) moved(from, to string) {
	o.mu.Lock()
	defer o.mu.Unlock()
	own, wasHidden := o.byPath[from]
	if !wasHidden {
		own = path.Base(from)
	}
	delete(o.byPath, from)
	if hiddenName.MatchString(to) && utf8.ValidString(own) {
		o.byPath[to] = own
	}
}

// forget takes note of a file that is gone.
func (o *trashNames) forget(path string) {
	o.mu.Lock()
	defer o.mu.Unlock()
	delete(o.byPath, path)
}

// whileTrashed calls remove, which puts the object of the file at a path into the trash. The object may be nil.
func (o *trashNames) whileTrashed(path string, object fs.Object, remove func() error) error {
	o.mu.Lock()
	own := o.byPath[path]
	o.mu.Unlock()
	if identified, ok := object.(fs.IDer); ok && own != "" {
		id := identified.ID()
		namesInTrash.Store(id, own)
		defer namesInTrash.Delete(id)
	}
	return remove()
}

// namesInTrash has the names that objects are to have in Google's trash, by their identifiers.
var namesInTrash sync.Map

// trashNamer names the objects in namesInTrash in the call that puts them into the trash.
type trashNamer struct{ http.RoundTripper }

// RoundTrip implements http.RoundTripper.
func (t trashNamer) RoundTrip(request *http.Request) (*http.Response, error) {
	if id, isFile := strings.CutPrefix(request.URL.Path, "/drive/v3/files/"); isFile && request.Method == http.MethodPatch {
		if name, known := namesInTrash.Load(id); known {
			request = withName(request, name.(string))
		}
	}
	return t.RoundTripper.RoundTrip(request)
}

// withName returns a request that also renames what it puts into the trash. Any other request stays what it is.
func withName(request *http.Request, name string) *http.Request {
	if request.Body == nil {
		return request
	}
	body, err := io.ReadAll(request.Body)
	closeBody(request)
	var metadata map[string]any
	if err == nil && json.Unmarshal(body, &metadata) == nil && metadata["trashed"] == true {
		metadata["name"] = name
		if named, err := json.Marshal(metadata); err == nil {
			body = named
		}
	}
	named := request.Clone(request.Context())
	named.ContentLength = int64(len(body))
	named.GetBody = func() (io.ReadCloser, error) { return io.NopCloser(bytes.NewReader(body)), nil }
	named.Body, _ = named.GetBody()
	return named
}
