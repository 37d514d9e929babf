// SPDX-License-Identifier: LicenseRef-Quillmount

// Package enginetest proves, against the engine executable named by QUILLMOUNT_ENGINE, what it does otherwise than rclone.
package enginetest

import (
	"bytes"
	"encoding/json"
	"fmt"
	"io"
	"net"
	"net/http"
	"os"
	"os/exec"
	"path/filepath"
	"regexp"
	"strings"
	"syscall"
	"testing"
	"time"
)

// testTimeout bounds every wait; only a fault ever uses it up.
const testTimeout = 60 * time.Second

// expiredDrive is the section of a Drive account whose access token has expired. The root folder is known, so that the
// engine starts even if it cannot get a token.
const expiredDrive = `[drive]
type = drive
client_id = id
client_secret = secret
scope = drive.file
root_folder_id = root
token = {"access_token":"old","token_type":"Bearer","refresh_token":"refresh","expiry":"2020-01-01T00:00:00Z"}
`

// engine is a running QuillmountEngine with a world of its own.
type engine struct {
	t      *testing.T
	dir    string // configuration, cache and log
	rc     string // URL of the remote control, once it is known
	before int    // how long the log was when the process was started
	cmd    *exec.Cmd
	exited chan struct{} // closed when the process has ended
}

// newEngine prepares an engine that is not started yet, with this configuration file.
func newEngine(t *testing.T, config string) *engine {
	t.Helper()
	e := &engine{t: t, dir: t.TempDir()}
	must(t, os.WriteFile(e.path("engine.conf"), []byte(config), 0o600))
	return e
}

func (e *engine) path(name string) string { return filepath.Join(e.dir, name) }

// start serves the remote with the flags added to those that every test needs. The environment is bare but for the
// variables given.
func (e *engine) start(remote string, environment []string, flags ...string) {
	e.t.Helper()
	executable := os.Getenv("QUILLMOUNT_ENGINE")
	if executable == "" {
		e.t.Fatal("QUILLMOUNT_ENGINE does not name the engine executable")
	}
	e.rc, e.before = "", len(e.log())
	e.cmd = exec.Command(executable, append([]string{"serve", "nfs", remote, "--addr", "127.0.0.1:0",
		"--config", e.path("engine.conf"), "--cache-dir", e.path("cache"), "--vfs-cache-mode", "full",
		"--low-level-retries", "1", "--rc", "--rc-addr", "127.0.0.1:0", "--log-file", e.path("engine.log"),
		"--log-level", "NOTICE"}, flags...)...)
	e.cmd.Env = append([]string{"HOME=" + e.dir, "RCLONE_RC_USER=user", "RCLONE_RC_PASS=pass"}, environment...)
	e.cmd.SysProcAttr = &syscall.SysProcAttr{Pdeathsig: syscall.SIGKILL}
	must(e.t, e.cmd.Start())
	exited := make(chan struct{})
	e.exited = exited
	go func() {
		_ = e.cmd.Wait()
		close(exited)
	}()
	e.t.Cleanup(func() {
		_ = e.cmd.Process.Kill()
		<-exited
	})
}

// stop sends the signal and returns the exit status.
func (e *engine) stop(signal os.Signal) int {
	e.t.Helper()
	must(e.t, e.cmd.Process.Signal(signal))
	return e.exit()
}

// exit waits for the engine to end by itself and returns its exit status.
func (e *engine) exit() int {
	e.t.Helper()
	select {
	case <-e.exited:
	case <-time.After(testTimeout):
		e.t.Fatal("the engine does not end")
	}
	return e.cmd.ProcessState.ExitCode()
}

// remoteControl matches the line of the log that tells the address; the engine is given no port, as another program may
// take it first.
var remoteControl = regexp.MustCompile(`Serving remote control on (http://[0-9.:]+)/`)

// call makes a remote-control call. The status is 0 while nobody answers.
func (e *engine) call(path string) (status int, answer map[string]any) {
	e.t.Helper()
	if e.rc == "" {
		log := e.log()
		match := remoteControl.FindStringSubmatch(log[min(e.before, len(log)):])
		if match == nil {
			return 0, nil
		}
		e.rc = match[1]
	}
	request, err := http.NewRequest(http.MethodPost, e.rc+"/"+path, strings.NewReader("{}"))
	must(e.t, err)
	request.Header.Set("Content-Type", "application/json")
	request.SetBasicAuth("user", "pass")
	response, err := http.DefaultClient.Do(request)
	if err != nil {
		return 0, nil
	}
	defer response.Body.Close()
	body, err := io.ReadAll(response.Body)
	must(e.t, err)
	if err := json.Unmarshal(body, &answer); err != nil {
		e.t.Fatalf("%s answered %q: %v", path, body, err)
	}
	return response.StatusCode, answer
}

// ready waits until the drive is served and returns the answer of "vfs/stats".
func (e *engine) ready() (stats map[string]any) {
	e.t.Helper()
	e.eventually("the drive is served", func() bool {
		status, answer := e.call("vfs/stats")
		stats = answer
		return status == http.StatusOK
	})
	return stats
}

// disk returns a number of "vfs/stats" about the cache on disk.
func (e *engine) disk(key string) float64 {
	e.t.Helper()
	return number(e.t, field(e.t, e.ready(), "diskCache"), key)
}

// eventually waits for a condition; an engine that ends meanwhile is a fault.
func (e *engine) eventually(what string, condition func() bool) {
	e.t.Helper()
	for deadline := time.Now().Add(testTimeout); time.Now().Before(deadline); {
		if condition() {
			return
		}
		select {
		case <-e.exited:
			e.t.Fatalf("the engine ended before this held: %s\n%s", what, e.log())
		case <-time.After(20 * time.Millisecond):
		}
	}
	e.t.Fatalf("this did not come to hold: %s\n%s", what, e.log())
}

// log returns the log file, "" if there is none.
func (e *engine) log() string {
	text, _ := os.ReadFile(e.path("engine.log"))
	return string(text)
}

// errors returns the lines of the log from which the application tells what went wrong.
func (e *engine) errors() (lines []string) {
	for line := range strings.Lines(e.log()) {
		if strings.Contains(line, "ERROR") || strings.Contains(line, "CRITICAL") {
			lines = append(lines, line)
		}
	}
	return lines
}

const pendingContent = "saved, and not uploaded yet"

// leavePendingUpload leaves a changed file in the cache of an engine that does not run, as one that was killed does.
// folder is the path within the remote that is served.
func (e *engine) leavePendingUpload(folder, name string) {
	e.t.Helper()
	content := []byte(pendingContent)
	meta, err := json.Marshal(map[string]any{
		"ModTime": time.Now(), "ATime": time.Now(), "Size": len(content), "Dirty": true,
		"Rs": []any{map[string]any{"Pos": 0, "Size": len(content)}},
	})
	must(e.t, err)
	for kind, data := range map[string][]byte{"vfs": content, "vfsMeta": meta} {
		file := filepath.Join(e.path("cache"), kind, "drive", folder, name)
		must(e.t, os.MkdirAll(filepath.Dir(file), 0o700))
		must(e.t, os.WriteFile(file, data, 0o600))
	}
}

// closedPort returns an address at which nobody listens.
func closedPort(t *testing.T) string {
	t.Helper()
	listener, err := net.Listen("tcp", "127.0.0.1:0")
	must(t, err)
	defer listener.Close()
	return listener.Addr().String()
}

func field(t *testing.T, object map[string]any, key string) map[string]any {
	t.Helper()
	value, ok := object[key].(map[string]any)
	if !ok {
		t.Fatalf("no object %q in %v", key, object)
	}
	return value
}

func number(t *testing.T, object map[string]any, key string) float64 {
	t.Helper()
	value, ok := object[key].(float64)
	if !ok {
		t.Fatalf("no number %q in %v", key, object)
	}
	return value
}

func must(t *testing.T, err error) {
	t.Helper()
	if err != nil {
		t.Fatal(err)
	}
}

// coreLimit returns the soft and hard limit of the engine's core files as the kernel prints them.
func (e *engine) coreLimit() string {
	e.t.Helper()
	limits, err := os.ReadFile(fmt.Sprintf("/proc/%d/limits", e.cmd.Process.Pid))
	must(e.t, err)
	_, after, _ := bytes.Cut(limits, []byte("Max core file size"))
	line, _, _ := bytes.Cut(after, []byte("\n"))
	return strings.Join(strings.Fields(string(line)), " ")
}
