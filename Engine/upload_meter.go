// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"crypto/tls"
	"fmt"
	"io"
	"math"
	"net"
	"net/http"
	"net/http/httptrace"
	"net/url"
	"reflect"
	"strings"
	"sync"
	"sync/atomic"
	"time"

	"github.com/rclone/rclone/fs/rc"
	"golang.org/x/sys/unix"
)

// rateMemory is the time in which what was sent loses two thirds of its weight for the speed that is told.
const rateMemory = 4 * time.Second

// maxUnsent bounds what the system takes of a request before it can send it, which would be megabytes. What is under way
// does not count for it.
const maxUnsent = 128 << 10 // bytes

// uploadMeter counts how much of each upload has been sent. rclone counts what it has read for one, and reads 64 MiB of a
// file before it sends the first byte of them.
type uploadMeter struct {
	http.RoundTripper
	sessions sync.Map // keys of uploads, by the addresses that Google gave for their content
	bodies   sync.Map // *sentBody, by keys of uploads
	rate     byteRate
}

// meter measures the uploads of the drive; nil while its remote is none at Google.
var meter atomic.Pointer[uploadMeter]

// uploadPath is the key of the context's value that names the file whose upload makes a call.
type uploadPath struct{}

// namingUpload returns a context for the calls that upload a new file.
func namingUpload(ctx context.Context, path string) context.Context {
	return context.WithValue(ctx, uploadPath{}, path)
}

func keyOfPath(path string) string { return "path " + path }
func keyOfObject(id string) string { return "id " + id }

// keyOfRequest returns by what an upload is known: its path, or the identifier of the object that gets new content.
func keyOfRequest(request *http.Request) string {
	if path, isNamed := request.Context().Value(uploadPath{}).(string); isNamed {
		return keyOfPath(path)
	}
	return keyOfObject(request.URL.Path[strings.LastIndexByte(request.URL.Path, '/')+1:])
}

// RoundTrip implements http.RoundTripper.
func (m *uploadMeter) RoundTrip(request *http.Request) (*http.Response, error) {
	if key, isSession := m.sessions.Load(request.URL.String()); isSession {
		return m.RoundTripper.RoundTrip(m.measured(request, key.(string)))
	}
	if !strings.HasPrefix(request.URL.Path, "/upload/") {
		return m.RoundTripper.RoundTrip(request)
	}
	if request.URL.Query().Get("uploadType") != "resumable" {
		return m.RoundTripper.RoundTrip(m.measured(request, keyOfRequest(request)))
	}
	response, err := m.RoundTripper.RoundTrip(request)
	if err == nil && response.StatusCode == http.StatusOK {
		if session, err := url.Parse(response.Header.Get("Location")); err == nil {
			m.sessions.Store(session.String(), keyOfRequest(request))
			context.AfterFunc(request.Context(), func() { m.sessions.Delete(session.String()) })
		}
	}
	return response, err
}

// measured returns the request with a body that counts for the upload until its context ends, or until the next one's.
func (m *uploadMeter) measured(request *http.Request, key string) *http.Request {
	if request.Body == nil || request.Body == http.NoBody {
		return request
	}
	start := int64(0) // in the file
	_, _ = fmt.Sscanf(request.Header.Get("Content-Range"), "bytes %d-", &start)
	counting := func(body io.ReadCloser) io.ReadCloser {
		sent := &sentBody{ReadCloser: body, rate: &m.rate}
		sent.position.Store(start)
		m.bodies.Store(key, sent)
		context.AfterFunc(request.Context(), func() { m.bodies.CompareAndDelete(key, sent) })
		return sent
	}
	counted := request.WithContext(httptrace.WithClientTrace(request.Context(), &httptrace.ClientTrace{
		GotConn: func(info httptrace.GotConnInfo) { limitUnsent(info.Conn) },
	}))
	counted.Body = counting(request.Body)
	if again := request.GetBody; again != nil {
		counted.GetBody = func() (io.ReadCloser, error) {
			body, err := again()
			if err != nil {
				return nil, err
			}
			return counting(body), nil
		}
	}
	return counted
}

// limitUnsent applies maxUnsent to a connection of rclone's. One of another kind is left as it is.
func limitUnsent(conn net.Conn) {
	if encrypted, ok := conn.(*tls.Conn); ok {
		conn = encrypted.NetConn()
	}
	if reflect.TypeOf(conn).Kind() == reflect.Pointer {
		if inner, err := member[net.Conn](conn, "Conn"); err == nil {
			conn = *inner
		}
	}
	tcp, ok := conn.(*net.TCPConn)
	if !ok {
		return
	}
	if raw, err := tcp.SyscallConn(); err == nil {
		_ = raw.Control(func(descriptor uintptr) {
			_ = unix.SetsockoptInt(int(descriptor), unix.IPPROTO_TCP, unix.TCP_NOTSENT_LOWAT, maxUnsent)
		})
	}
}

// sentBody is the content of one request. A try that was given up may be read for a little while yet; it counts no more.
type sentBody struct {
	io.ReadCloser
	position atomic.Int64 // in the file
	rate     *byteRate
}

// Read implements io.Reader.
func (b *sentBody) Read(p []byte) (int, error) {
	n, err := b.ReadCloser.Read(p)
	b.position.Add(int64(n))
	b.rate.add(n, time.Now())
	return n, err
}

// correct puts what has been sent into rclone's list of uploads, and returns the speed of all of them in bytes per second.
// idOf returns the identifier of a file's object, or an empty one.
func (m *uploadMeter) correct(uploads []rc.Params, idOf func(path string) string) (speed float64) {
	for _, upload := range uploads {
		path, _ := upload["name"].(string)
		size, _ := upload["size"].(int64)
		sent := min(m.sent(path, idOf), size)
		upload["bytes"], upload["percentage"] = sent, 0
		if size > 0 {
			upload["percentage"] = int(100 * float64(sent) / float64(size))
		}
		for _, guess := range []string{"speed", "speedAvg", "eta"} {
			delete(upload, guess)
		}
	}
	if len(uploads) == 0 {
		return 0
	}
	return m.rate.perSecond(time.Now())
}

// sent returns how many bytes of a file have been sent in the current try, its frame included if it is small.
func (m *uploadMeter) sent(path string, idOf func(path string) string) int64 {
	body, known := m.bodies.Load(keyOfPath(path))
	if !known {
		body, known = m.bodies.Load(keyOfObject(idOf(path)))
	}
	if !known {
		return 0
	}
	return body.(*sentBody).position.Load()
}

// byteRate is a mean in which the last seconds weigh most.
type byteRate struct {
	mu     sync.Mutex
	weight float64 // of all bytes at the time `at`
	at     time.Time
	since  time.Time // the first byte after a pause
}

func (r *byteRate) add(n int, now time.Time) {
	r.mu.Lock()
	defer r.mu.Unlock()
	if now.Sub(r.at) > 5*rateMemory {
		r.weight, r.since = 0, now
	}
	r.weight = r.weight*fading(now.Sub(r.at)) + float64(n)
	r.at = now
}

func (r *byteRate) perSecond(now time.Time) float64 {
	r.mu.Lock()
	defer r.mu.Unlock()
	// A mean over less than a second would be that of a buffer.
	age := max(now.Sub(r.since), time.Second)
	return r.weight * fading(now.Sub(r.at)) / (rateMemory.Seconds() * (1 - fading(age)))
}

// fading returns what is left of a weight after some time.
func fading(elapsed time.Duration) float64 {
	return math.Exp(-elapsed.Seconds() / rateMemory.Seconds())
}
