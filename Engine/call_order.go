// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bytes"
	"errors"
	"fmt"
	"io"
	"net/http"
	"strings"
	"sync"
	"time"

	"github.com/rclone/rclone/backend/drive"
	"github.com/rclone/rclone/fs"
	"golang.org/x/time/rate"
)

const (
	// leastPause is the pause in time between two calls to Google once its burst is used up: half of the 200 calls a
	// second that Google allows a user.
	leastPause = fs.Duration(10 * time.Millisecond)

	usualInserts = rate.Limit(10) // a second, while Google does not mind
	safeInserts  = rate.Limit(3)  // what Google is known to bear for long; the most for some time after a refusal
	leastInserts = rate.Limit(0.5)
	insertBurst  = 10
	insertStep   = rate.Limit(0.1) // by which the rate rises
	stepTime     = 5 * time.Second // from one step to the next
	refusalCut   = 0.95            // by which a refusal multiplies the rate
	refusalCalm  = 2 * time.Second // refusals within this time count as one
	refusalQuiet = 5 * time.Minute // after this time without one the usual rate is tried again

	refusalPause = time.Second // before an insert that was refused is tried again; doubled each time
	refusalTries = 5           // before rclone learns of it, which makes everybody wait
)

// adaptPacer lets calls follow each other faster than rclone does for those who share its own client with everybody.
// It changes the default that the option is registered with: a value that is set, wherever, becomes a part of the
// remote's name and so of the path of its cache, and what is pending in the old one would never be uploaded.
func adaptPacer() {
	backend, err := fs.Find("drive")
	if err != nil {
		return
	}
	if option := backend.Options.Get("pacer_min_sleep"); option != nil {
		option.Default = leastPause
	}
}

// orderCalls lets what the user waits for go before uploads: these are held to the rate of inserts that Google bears, and
// one that it refuses all the same waits by itself. rclone alone sends all calls through one queue and, after such a
// refusal, stops them all for a second or more. A remote that is no Google Drive is left as it is.
func orderCalls(remote fs.Fs) error {
	if _, isDrive := remote.(*drive.Fs); !isDrive {
		return nil
	}
	client, err := member[*http.Client](remote, "client")
	if err != nil {
		return fmt.Errorf("this release of rclone keeps its connections otherwise: %w", err)
	}
	measured := &uploadMeter{RoundTripper: (*client).Transport}
	(*client).Transport = newCallOrder(trashNamer{measured})
	meter.Store(measured)
	return nil
}

// callOrder passes calls to Google on, inserts no faster than Google likes.
type callOrder struct {
	http.RoundTripper
	inserts *rate.Limiter
	pause   time.Duration // before the second try of an insert

	mu      sync.Mutex
	refused time.Time // the last time
	changed time.Time // the rate of inserts
}

func newCallOrder(transport http.RoundTripper) *callOrder {
	return &callOrder{RoundTripper: transport, inserts: rate.NewLimiter(usualInserts, insertBurst),
		pause: refusalPause}
}

// RoundTrip implements http.RoundTripper.
func (o *callOrder) RoundTrip(request *http.Request) (*http.Response, error) {
	isUpload := strings.HasPrefix(request.URL.Path, "/upload/") && !request.URL.Query().Has("upload_id")
	if !isUpload && (request.Method != http.MethodPost || request.URL.Path != "/drive/v3/files") {
		return o.RoundTripper.RoundTrip(request)
	}
	pause := o.pause
	for try := 1; ; try++ {
		if isUpload {
			o.recover(time.Now())
			if err := o.inserts.Wait(request.Context()); err != nil {
				closeBody(request)
				return nil, err
			}
		} else {
			o.inserts.Reserve() // a new folder counts, but somebody waits for it
		}
		response, err := o.RoundTripper.RoundTrip(request)
		if err != nil || !isRefusal(response) {
			return response, err
		}
		o.slowDown(time.Now())
		again, err := repeated(request)
		if err != nil || try == refusalTries {
			return response, nil
		}
		_ = response.Body.Close()
		select {
		case <-time.After(pause):
		case <-request.Context().Done():
			closeBody(again)
			return nil, request.Context().Err()
		}
		pause *= 2
		request = again
	}
}

// repeated returns the request as it was before it was sent.
func repeated(request *http.Request) (*http.Request, error) {
	again := request.Clone(request.Context())
	if request.Body == nil || request.Body == http.NoBody {
		return again, nil
	}
	if request.GetBody == nil {
		return nil, errors.New("the body cannot be read again")
	}
	var err error
	again.Body, err = request.GetBody()
	return again, err
}

// closeBody does what a RoundTripper owes to a request that it does not send.
func closeBody(request *http.Request) {
	if request.Body != nil {
		_ = request.Body.Close()
	}
}

// isRefusal tells whether Google found that there were too many calls. The body of the response can still be read.
func isRefusal(response *http.Response) bool {
	if response.StatusCode != http.StatusForbidden && response.StatusCode != http.StatusTooManyRequests {
		return false
	}
	body, err := io.ReadAll(io.LimitReader(response.Body, 1<<20))
	_ = response.Body.Close()
	response.Body = io.NopCloser(bytes.NewReader(body))
	return err == nil && bytes.Contains(bytes.ToLower(body), []byte("ratelimitexceeded"))
}

// slowDown lowers the rate of inserts after a refusal.
func (o *callOrder) slowDown(now time.Time) {
	o.mu.Lock()
	defer o.mu.Unlock()
	if now.Sub(o.refused) > refusalCalm {
		o.inserts.SetLimitAt(now, max(min(o.inserts.Limit()*refusalCut, safeInserts), leastInserts))
	}
	o.refused, o.changed = now, now
}

// recover raises the rate of inserts again some time after a refusal.
func (o *callOrder) recover(now time.Time) {
	o.mu.Lock()
	defer o.mu.Unlock()
	limit := o.inserts.Limit()
	if now.Sub(o.refused) > refusalQuiet {
		limit = usualInserts
	} else if limit < safeInserts && now.Sub(o.changed) > stepTime {
		limit = min(limit+insertStep, safeInserts)
	}
	if limit != o.inserts.Limit() {
		o.inserts.SetLimitAt(now, limit)
		o.changed = now
	}
}
