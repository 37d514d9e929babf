// SPDX-License-Identifier: LicenseRef-Quillmount

package enginetest

import (
	"fmt"
	"math"
	"net/http"
	"os"
	"path/filepath"
	"strings"
	"syscall"
	"testing"
)

const localDrive = "[drive]\ntype = local\n"

func TestBareSizesAreBytesAndTheProcessIsTidy(t *testing.T) {
	t.Parallel()
	e := newEngine(t, localDrive)
	e.start("drive:"+t.TempDir(), nil, "--vfs-cache-max-size", "20000000000", "--vfs-cache-min-free-space=1000000",
		"--vfs-read-ahead", "256M", "--vfs-read-chunk-size=64Mi")

	options := field(t, e.ready(), "opt")
	for key, want := range map[string]float64{
		"CacheMaxSize": 20e9, "CacheMinFreeSpace": 1e6, "ReadAhead": 256 << 20, "ChunkSize": 64 << 20,
	} {
		// rclone passes sizes on as text with three decimals.
		if got := number(t, options, key); math.Abs(got-want) > want/1000 {
			t.Errorf("%s is %.0f, want %.0f", key, got, want)
		}
	}
	if got := e.coreLimit(); got != "1 1 bytes" {
		t.Errorf("core files are limited to %q, want what also stops a program that they are piped to", got)
	}
	if got := e.stop(syscall.SIGTERM); got != 143 {
		t.Errorf("SIGTERM ended the engine with status %d, want rclone's 143", got)
	}
}

// What is pending lies under a name that rclone makes of the settings that were changed; the engine's own do not count.
func TestCacheKeepsItsPath(t *testing.T) {
	t.Parallel()
	e := newEngine(t, expiredDrive)
	e.start("drive:", []string{"HTTPS_PROXY=http://" + closedPort(t)}, "--drive-chunk-size", "64M",
		"--drive-acknowledge-abuse")
	disk := field(t, e.ready(), "diskCache")
	for key, folder := range map[string]string{"path": "vfs", "pathMeta": "vfsMeta"} {
		if want := e.path("cache/" + folder + "/drive{QplIB}"); disk[key] != want {
			t.Errorf("%s is %v, want %s", key, disk[key], want)
		}
	}
}

func TestDamagedPieceOfTheCacheIsSetAsideAndTold(t *testing.T) {
	t.Parallel()
	remote, home := t.TempDir(), t.TempDir()
	e := newEngine(t, localDrive)
	e.leavePendingUpload(remote, "folder/damaged.txt")
	e.leavePendingUpload(remote, "fine.txt")
	must(t, os.Truncate(e.path("cache/vfsMeta/drive")+remote+"/folder/damaged.txt", 0))
	e.start("drive:"+remote, []string{"QUILLMOUNT_RECOVERY_DIRECTORY=" + home}, "--vfs-write-back", "100ms")
	told := field(t, e.ready(), "setAside")
	directory, _ := told["directory"].(string)
	content, err := os.ReadFile(directory + "/folder/damaged.txt")
	if number(t, told, "files") != 1 || filepath.Dir(directory) != home || string(content) != pendingContent {
		t.Errorf("%v was told; there is %q, %v", told, content, err)
	}
	e.eventually("the other file is uploaded", func() bool {
		return e.disk("uploadsQueued")+e.disk("uploadsInProgress") == 0
	})
	uploaded, err := os.ReadDir(remote)
	must(t, err)
	if len(uploaded) != 1 || uploaded[0].Name() != "fine.txt" {
		t.Errorf("uploaded: %v", uploaded)
	}
}

func TestLogStaysBoundedAndHoldsCrashes(t *testing.T) {
	t.Parallel()
	const limit, rounds = 4 << 20, 800
	e := newEngine(t, localDrive)
	e.start("drive:"+t.TempDir(), nil)
	e.ready()

	// Each call writes its name into the log twice.
	padding := strings.Repeat("x", 4<<10)
	maxSize := int64(0)
	for i := range rounds {
		if status, _ := e.call(fmt.Sprintf("no-such-call-%d-%s", i, padding)); status != http.StatusNotFound {
			t.Fatalf("a call that does not exist gave status %d", status)
		}
		info, err := os.Stat(e.path("engine.log"))
		must(t, err)
		maxSize = max(maxSize, info.Size())
	}
	if written := int64(2 * rounds * len(padding)); maxSize > limit || written < limit*3/2 {
		t.Errorf("the log grew to %d of %d bytes written, the limit is %d", maxSize, written, limit)
	}
	if !strings.Contains(e.log(), fmt.Sprintf("no-such-call-%d-", rounds-1)) {
		t.Error("the newest line is gone")
	}

	// Go answers SIGQUIT with the trace of a crash on standard error.
	e.stop(syscall.SIGQUIT)
	if !strings.Contains(e.log(), "goroutine ") {
		t.Error("the trace of a crash is not in the log")
	}
}
