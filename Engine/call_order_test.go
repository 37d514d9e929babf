// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"io"
	"net/http"
	"strings"
	"testing"
	"time"

	"github.com/rclone/rclone/fs"
	"golang.org/x/time/rate"
)

// strictGoogle answers with what the test says and keeps the bodies of what it was asked.
type strictGoogle struct {
	refuse int // so many calls, at first
	bodies []string
}

func (g *strictGoogle) RoundTrip(request *http.Request) (*http.Response, error) {
	body, err := io.ReadAll(request.Body)
	if err != nil {
		return nil, err
	}
	_ = request.Body.Close()
	g.bodies = append(g.bodies, string(body))
	status, text := http.StatusOK, "done"
	if len(g.bodies) <= g.refuse {
		status, text = http.StatusForbidden, `{"error":{"errors":[{"reason":"userRateLimitExceeded"}]}}`
	}
	return &http.Response{StatusCode: status, Body: io.NopCloser(strings.NewReader(text))}, nil
}

func TestRefusedInsertsAreTriedAgainAndSlowedDown(t *testing.T) {
	const upload, list = "https://www.example/upload/drive/v3/files", "https://www.example/drive/v3/files/id"
	for name, c := range map[string]struct {
		method, address string
		refuse          int
		sent, status    int
		limit           rate.Limit // of inserts afterwards
	}{
		"accepted":               {"POST", upload, 0, 1, 200, usualInserts},
		"refused twice":          {"POST", upload, 2, 3, 200, safeInserts},
		"refused for ever":       {"POST", upload, 99, refusalTries, 403, safeInserts},
		"a chunk is no insert":   {"PUT", upload + "?upload_id=1", 1, 1, 403, usualInserts},
		"nor is another call":    {"PATCH", list, 1, 1, 403, usualInserts},
		"a folder is one":        {"POST", "https://www.example/drive/v3/files", 1, 2, 200, safeInserts},
		"and so is new content":  {"PATCH", upload + "/id", 1, 2, 200, safeInserts},
		"an upload that resumes": {"POST", upload + "?uploadType=resumable", 1, 2, 200, safeInserts},
	} {
		google := &strictGoogle{refuse: c.refuse}
		order := newCallOrder(google)
		order.pause = time.Microsecond
		request, err := http.NewRequest(c.method, c.address, strings.NewReader("body"))
		must(t, err)
		response, err := order.RoundTrip(request)
		must(t, err)
		text, err := io.ReadAll(response.Body)
		must(t, err)
		if response.StatusCode != c.status || len(text) == 0 || len(google.bodies) != c.sent ||
			strings.Join(google.bodies, "") != strings.Repeat("body", c.sent) || order.inserts.Limit() != c.limit {
			t.Errorf("%s: status %d with %q, Google got %q, %v inserts a second", name, response.StatusCode, text,
				google.bodies, order.inserts.Limit())
		}
	}
}

func TestRateOfInsertsFollowsRefusals(t *testing.T) {
	order := newCallOrder(nil)
	begin := time.Now()
	for _, step := range []struct {
		at      time.Duration
		refused bool
		limit   rate.Limit
	}{
		{0, true, 3},
		{time.Second, true, 3}, // the same burst
		{4 * time.Second, true, 2.85},
		{8 * time.Second, false, 2.85},
		{10 * time.Second, false, 2.95},
		{16 * time.Second, false, 3},
		{100 * time.Second, false, 3},
		{306 * time.Second, false, 10},
	} {
		if step.refused {
			order.slowDown(begin.Add(step.at))
		} else {
			order.recover(begin.Add(step.at))
		}
		if got := order.inserts.Limit(); got < step.limit-0.001 || got > step.limit+0.001 {
			t.Errorf("after %v: %v inserts a second, want %v", step.at, got, step.limit)
		}
	}
}

func TestPacerPausesLess(t *testing.T) {
	adaptPacer()
	backend, err := fs.Find("drive")
	must(t, err)
	if pause, _ := fs.ConfigMap(backend.Prefix, backend.Options, "drive", nil).Get("pacer_min_sleep"); pause != "10ms" {
		t.Errorf("the pause between calls is %q", pause)
	}
}
