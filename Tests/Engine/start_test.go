// SPDX-License-Identifier: LicenseRef-Quillmount

package enginetest

import (
	"io"
	"net"
	"net/http"
	"strings"
	"sync/atomic"
	"testing"
	"time"
)

// The application gives a start 45 s, then tells the person what the last error says. rclone alone says nothing for
// about 80 s.
const startPatience = 40 * time.Second

var (
	unknownRoot = strings.NewReplacer("root_folder_id = root\n", "")
	validToken  = strings.NewReplacer("2020-01-01", "2099-01-01")
)

func TestStartThatCannotReachGoogleSaysSoEarly(t *testing.T) {
	t.Parallel()
	mute, err := net.Listen("tcp", "127.0.0.1:0") // accepts connections and never answers
	must(t, err)
	t.Cleanup(func() { _ = mute.Close() })
	nobody := closedPort(t)
	for name, c := range map[string]struct {
		config, remote, proxy, cause string
		pending                      bool // an upload of the last run waits, for which the opening of the cache asks Google
	}{
		"refused": {unknownRoot.Replace(validToken.Replace(expiredDrive)), "drive:Quillmount", nobody,
			"connect: connection refused", false},
		"refused, token expired": {unknownRoot.Replace(expiredDrive), "drive:Quillmount", nobody,
			"connect: connection refused", false},
		"refused while the cache is opened": {validToken.Replace(expiredDrive), "drive:", nobody,
			"connect: connection refused", true},
		"no answer": {validToken.Replace(expiredDrive), "drive:Quillmount", mute.Addr().String(),
			"i/o timeout", false},
		"no answer, token expired": {expiredDrive, "drive:Quillmount", mute.Addr().String(),
			"i/o timeout", false},
	} {
		t.Run(name, func(t *testing.T) {
			t.Parallel()
			e := newEngine(t, c.config)
			if c.pending {
				e.leavePendingUpload("", "saved.txt")
			}
			begin := time.Now()
			e.start(c.remote, []string{"HTTPS_PROXY=http://" + c.proxy}, "--low-level-retries", "10", "--timeout", "1s")
			e.eventually("an error is logged", func() bool { return len(e.errors()) > 0 })
			if took := time.Since(begin); took > startPatience {
				t.Errorf("the error came after %v", took)
			}
			for _, line := range e.errors() {
				if !strings.Contains(line, "ERROR : ") || !strings.Contains(line, c.cause) ||
					strings.Contains(line, "couldn't fetch token") {
					t.Errorf("this does not tell that Google cannot be reached: %s", line)
				}
			}
			if strings.Contains(e.log(), "NFS Server running") {
				t.Error("the drive was served although Google had not been reached")
			}
		})
	}
}

// google503 knows the root folder after a few tries, and never how full the account is.
type google503 struct{ root, about atomic.Int32 }

const failedTries = 3

func (g *google503) ServeHTTP(w http.ResponseWriter, r *http.Request) {
	body := ""
	switch r.URL.Path {
	case "/drive/v3/files/root":
		if g.root.Add(1) > failedTries {
			body = `{"id":"root"}`
		}
	case "/drive/v3/changes/startPageToken":
		body = `{"startPageToken":"1"}`
	case "/drive/v3/about":
		g.about.Add(1)
	}
	w.Header().Set("Content-Type", "application/json")
	if body == "" {
		w.WriteHeader(http.StatusServiceUnavailable)
		body = `{"error":{"code":503,"message":"Backend Error"}}`
	}
	_, _ = io.WriteString(w, body)
}

func TestRetriesAreLoggedAsRcloneDoesOnceTheDriveIsServed(t *testing.T) {
	t.Parallel()
	for _, c := range []struct {
		level  string
		errors int // lines about failed tries of the start that are errors
		debugs bool
	}{{"NOTICE", 1, false}, {"DEBUG", 0, true}} {
		t.Run(c.level, func(t *testing.T) {
			t.Parallel()
			handler := &google503{}
			google := startGoogle(t, handler)
			e := newEngine(t, unknownRoot.Replace(validToken.Replace(expiredDrive)))
			e.start("drive:", []string{"HTTPS_PROXY=" + google.proxy, "SSL_CERT_FILE=" + google.certificate},
				"--low-level-retries", "4", "--log-level", c.level)
			e.ready()
			if got := handler.root.Load(); got != failedTries+1 {
				t.Errorf("the engine asked for the root folder %d times, want %d", got, failedTries+1)
			}
			if status, _ := e.call("operations/about?fs=drive:"); status != http.StatusInternalServerError {
				t.Errorf("operations/about gave status %d", status)
			}
			if got := handler.about.Load(); got != 4 {
				t.Fatalf("Google was asked %d times how full the account is, want 4", got)
			}
			_, options := e.call("options/get")
			if got := field(t, options, "main")["LogLevel"]; got != c.level {
				t.Errorf("the log level has become %v", got)
			}

			errors, debugs := 0, 0
			for line := range strings.Lines(e.log()) {
				retry := strings.Contains(line, "low level retry")
				if retry && strings.Contains(line, "ERROR : pacer: ") {
					errors++
				} else if retry && strings.Contains(line, "DEBUG : pacer: ") {
					debugs++
				} else if !c.debugs && (retry || strings.Contains(line, "DEBUG") || strings.Contains(line, "INFO")) {
					t.Errorf("%s shows %s", c.level, line)
				}
			}
			wantDebugs := 0
			if c.debugs {
				wantDebugs = failedTries + 4
			}
			if errors != c.errors || debugs != wantDebugs {
				t.Errorf("%d errors and %d debug messages about failed tries, want %d and %d:\n%s", errors, debugs,
					c.errors, wantDebugs, e.log())
			}
		})
	}
}
