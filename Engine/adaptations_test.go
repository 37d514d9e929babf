// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"os"
	"path/filepath"
	"reflect"
	"slices"
	"strings"
	"testing"
	"time"

	"github.com/rclone/rclone/fs/rc"
	"github.com/rclone/rclone/vfs/vfscache/writeback"
)

func TestSizesInBytes(t *testing.T) {
	for _, c := range []struct{ given, want string }{
		{"--vfs-cache-max-size 20000000000", "--vfs-cache-max-size 20000000000B"},
		{"--drive-chunk-size=67108864", "--drive-chunk-size=67108864B"},
		{"--buffer-size 1.5 --max-size=1e9", "--buffer-size 1.5B --max-size=1e9B"},
		{"--buffer-size 64M --vfs-read-ahead=256Mi --max-size off", ""},
		{"--transfers 4 --dir-cache-time=1000 --drive-acknowledge-abuse 7", ""},
		{"--max-size= --buffer-size", ""},
		{"-- --buffer-size 64", ""},
	} {
		if c.want == "" {
			c.want = c.given
		}
		got := sizesInBytes(append([]string{"engine"}, strings.Fields(c.given)...), sizeFlags())
		if !slices.Equal(got[1:], strings.Fields(c.want)) {
			t.Errorf("%q became %q, want %q", c.given, got[1:], c.want)
		}
	}
}

func TestFailedUploads(t *testing.T) {
	for name, c := range map[string]struct {
		item      writeback.QueueInfo
		writeBack time.Duration
		want      int
	}{
		"waits for its first try":      {writeback.QueueInfo{Delay: 5}, 5 * time.Second, 0},
		"failed":                       {writeback.QueueInfo{Tries: 1, Delay: 10}, 5 * time.Second, 1},
		"tried for the first time":     {writeback.QueueInfo{Tries: 1, Delay: 5, Uploading: true}, 5 * time.Second, 0},
		"failed, tried again just now": {writeback.QueueInfo{Tries: 2, Delay: 10, Uploading: true}, 5 * time.Second, 1},
		"cancelled by another write":   {writeback.QueueInfo{Tries: 1, Delay: 5}, 5 * time.Second, 0},
		"failed without any wait":      {writeback.QueueInfo{Tries: 1}, 0, 1},
	} {
		if got := failedUploads([]writeback.QueueInfo{c.item}, c.writeBack); got != c.want {
			t.Errorf("%s: %d, want %d", name, got, c.want)
		}
	}
}

func TestOnlyUploadsAreTransfers(t *testing.T) {
	download := rc.Params{"name": "photo.raw", "srcFs": "drive:Quillmount", "speed": 100.0}
	begun := rc.Params{"name": "begun", "srcFs": "cache", "dstFs": "drive:Quillmount"}
	upload := rc.Params{"name": "saved", "srcFs": "cache", "dstFs": "drive:Quillmount", "speed": 2.5}
	for _, c := range []struct {
		given, want []rc.Params
		speed       float64
	}{
		{nil, nil, 0},
		{[]rc.Params{download}, nil, 0},
		{[]rc.Params{upload, download, begun, upload}, []rc.Params{upload, begun, upload}, 5},
	} {
		if got, speed := uploadsOf(c.given); !reflect.DeepEqual(got, c.want) || speed != c.speed {
			t.Errorf("%v became %v at %v", c.given, got, speed)
		}
	}
}

func TestWithoutTokenWords(t *testing.T) {
	const offline = `Post "https://oauth2.example/token": dial tcp: lookup oauth2.example: no such host`
	for _, refused := range []string{
		`invalid_grant: maybe token expired? - try refreshing with "rclone config reconnect drive:"`,
		`unauthorized_client: if you're using your own client id/secret, make sure they're properly set up`,
		`oauth2: "access_denied" "Account Restricted"`,
	} {
		text := `Get "https://www.example/": couldn't fetch token: ` + refused
		if got := withoutTokenWords(text); got != text {
			t.Errorf("a refusal became %q", got)
		}
	}
	for text, want := range map[string]string{
		"":                                    "",
		"a: couldn't fetch token: " + offline: "a: " + offline,
		"a: couldn't fetch token: b: couldn't fetch token: " + offline: "a: b: " + offline,
		// A hotel's sign-in page is not Google.
		"couldn't fetch token: (can't decode error info) - try": "(can't decode error info) - try",
		"couldn't fetch token: oauth2: cannot fetch token: 503": "oauth2: cannot fetch token: 503",
		`couldn't fetch token: oauth2: "internal_failure"`:      `oauth2: "internal_failure"`,
		// One refusal in a line does not vouch for another error.
		"couldn't fetch token: " + offline + `; couldn't fetch token: oauth2: "invalid_client"`: offline +
			`; couldn't fetch token: oauth2: "invalid_client"`,
	} {
		if got := withoutTokenWords(text); got != want {
			t.Errorf("%q became %q, want %q", text, got, want)
		}
	}
}

func TestBoundedFileKeepsWholeNewestLines(t *testing.T) {
	for _, c := range []struct{ name, content, want string }{
		{"within its limit", "one\ntwo\nthree\nfour\n", "one\ntwo\nthree\nfour\n"},
		{"beyond it", "one\ntwo\nthree\nfour\nfive\n", "four\nfive\n"},
		{"one endless line", strings.Repeat("x", 30), strings.Repeat("x", 12)},
		{"one endless line that ends", strings.Repeat("x", 30) + "\n", strings.Repeat("x", 11) + "\n"},
	} {
		path := filepath.Join(t.TempDir(), "log")
		if err := os.WriteFile(path, []byte(c.content), 0o600); err != nil {
			t.Fatal(err)
		}
		file, err := openBounded(path, 20, 12)
		if err != nil {
			t.Fatal(err)
		}
		if err := file.trim(); err != nil {
			t.Fatal(err)
		}
		if got, _ := os.ReadFile(path); string(got) != c.want {
			t.Errorf("%s: %q became %q, want %q", c.name, c.content, got, c.want)
		}
	}
	if file, err := openBounded(os.DevNull, 20, 12); file != nil || err != nil {
		t.Errorf("a device is bounded: %v, %v", file, err)
	}
}
