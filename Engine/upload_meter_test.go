// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bytes"
	"context"
	"io"
	"net/http"
	"strings"
	"testing"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/object"
	"github.com/rclone/rclone/fs/rc"
)

// slowGoogle takes from each content as much as the test allows, and answers when it says.
type slowGoogle struct {
	take    chan int64 // bytes
	taken   chan bool
	refuse  chan bool
	objects int
}

func (g *slowGoogle) RoundTrip(request *http.Request) (*http.Response, error) {
	answer := func(status int, text string, header http.Header) (*http.Response, error) {
		return &http.Response{StatusCode: status, Header: header, Body: io.NopCloser(strings.NewReader(text))}, nil
	}
	const object = `{"id":"ID","name":"file","mimeType":"text/plain","md5Checksum":"00","size":"1","parents":["root"]}`
	switch query := request.URL.Query(); {
	case request.Method == http.MethodGet:
		return answer(http.StatusOK, `{"files":[]}`, nil)
	case query.Get("uploadType") == "resumable" && !query.Has("upload_id"):
		_, _ = io.Copy(io.Discard, request.Body)
		address := *request.URL
		address.RawQuery += "&upload_id=1"
		return answer(http.StatusOK, "", http.Header{"Location": {address.String()}})
	}
	for count := range g.take {
		_, _ = io.CopyN(io.Discard, request.Body, count)
		g.taken <- true
	}
	if <-g.refuse {
		return answer(http.StatusServiceUnavailable, "", nil)
	}
	_, _ = io.Copy(io.Discard, request.Body)
	return answer(http.StatusOK, object, nil)
}

// again makes the next content wait for the test.
func (g *slowGoogle) again() { g.take = make(chan int64) }

func TestWhatIsToldOfAnUploadHasBeenSent(t *testing.T) {
	const large, small = 16 << 20, 4 << 20 // from 8 MiB on rclone sends chunks of up to 64 MiB
	for name, c := range map[string]struct {
		size     int64
		isUpdate bool
		isTried  bool // twice
	}{
		"a new file":         {large, false, false},
		"one tried again":    {large, false, true},
		"new content":        {large, true, false},
		"new content, again": {large, true, true},
		"a small file":       {small, false, false},
		"small content":      {small, true, false},
	} {
		t.Run(name, func(t *testing.T) {
			ctx, end := context.WithCancel(context.Background())
			remote, err := fs.NewFs(ctx, `:drive,client_id=i,root_folder_id=root,chunk_size=64Mi,token='{"access_token":"t"}':`)
			must(t, err)
			client, err := member[*http.Client](remote, "client")
			must(t, err)
			google := &slowGoogle{take: make(chan int64), taken: make(chan bool), refuse: make(chan bool, 1)}
			m := &uploadMeter{RoundTripper: google}
			(*client).Transport = newCallOrder(m)
			opening, err := lookUpPending(ctx, remote, nil)
			must(t, err)

			source := object.NewStaticObjectInfo("file", time.Now(), c.size, true, nil, nil)
			content := func() io.Reader { return bytes.NewReader(make([]byte, c.size)) }
			var known fs.Object
			if c.isUpdate {
				close(google.take)
				google.refuse <- false
				known, err = remote.Put(ctx, content(), source)
				must(t, err)
				google.again()
			}
			done := make(chan error)
			go func() {
				var err error
				if c.isUpdate {
					err = known.Update(ctx, content(), source)
				} else {
					_, err = opening.Put(ctx, content(), source)
				}
				done <- err
			}()
			told := func() (percent int) {
				t.Helper()
				transfer := rc.Params{"name": "file", "size": c.size, "percentage": 100, "speed": 1e12}
				if speed := m.correct([]rc.Params{transfer}, func(string) string { return "ID" }); speed > float64(4*c.size) {
					t.Errorf("the speed is told as %g", speed)
				}
				return transfer["percentage"].(int)
			}
			sends := func(part int64, want int) {
				t.Helper()
				google.take <- part
				<-google.taken
				if got := told(); got < want || got > want+1 {
					t.Errorf("told are %d %%, sent %d", got, want)
				}
			}
			sends(c.size/4, 25)
			sends(c.size/2, 75)
			if c.isTried {
				take := google.take
				google.again()
				google.refuse <- true
				close(take)
				sends(c.size/2, 50)
			}
			google.refuse <- false
			close(google.take)
			must(t, <-done)
			if got := told(); got != 100 {
				t.Errorf("told are %d %% at the end", got)
			}
			end()
			for begin := time.Now(); told() != 0; time.Sleep(time.Millisecond) {
				if time.Since(begin) > 10*time.Second {
					t.Fatal("an upload that has ended is still remembered")
				}
			}
		})
	}
}
