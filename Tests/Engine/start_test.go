// SPDX-License-Identifier: LicenseRef-Quillmount

package enginetest

import (
	"net"
	"net/http"
	"strings"
	"testing"
	"time"
)

// The application gives a start 45 s, then tells the user what the last error says. rclone alone says nothing for
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
			told := map[string]bool{}
			for _, line := range e.errors() {
				_, text, _ := strings.Cut(line, "ERROR : ")
				if told[text] {
					t.Errorf("this is told twice: %s", text)
				}
				told[text] = true
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

func TestRetriesAreLoggedAsRcloneDoesOnceTheDriveIsServed(t *testing.T) {
	t.Parallel()
	for level, errors := range map[string]int{"NOTICE": 1, "DEBUG": 0} { // of the start
		t.Run(level, func(t *testing.T) {
			t.Parallel()
			e := newEngine(t, validToken.Replace(expiredDrive))
			e.start("drive:", []string{"HTTPS_PROXY=http://" + closedPort(t)}, "--low-level-retries", "2",
				"--log-level", level)
			e.ready()
			if status, _ := e.call("operations/about?fs=drive:"); status != http.StatusInternalServerError {
				t.Errorf("operations/about gave status %d", status)
			}
			_, options := e.call("options/get")
			if got := field(t, options, "main")["LogLevel"]; got != level {
				t.Errorf("the log level has become %v", got)
			}
			log, shown := e.log(), level == "DEBUG"
			if strings.Count(log, "ERROR : pacer: ") != errors || strings.Contains(log, "DEBUG : ") != shown ||
				strings.Contains(log, "DEBUG : pacer: low level retry") != shown {
				t.Errorf("%d errors about failed tries are wanted, debug messages: %v:\n%s", errors, shown, log)
			}
		})
	}
}
