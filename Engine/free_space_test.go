// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"testing"
	"time"

	"github.com/rclone/rclone/fs"
)

func TestFreeSpaceIsAskedOnceAMinuteAndNobodyWaits(t *testing.T) {
	type answer struct {
		usage *fs.Usage
		err   error
	}
	answers := make(chan answer)
	space := newFreeSpace(func(context.Context) (*fs.Usage, error) {
		given := <-answers
		return given.usage, given.err
	})
	size := func(bytes int64) *int64 { return &bytes }
	begin := time.Unix(1e9, 0)
	for _, step := range []struct {
		after       time.Duration
		answer      *answer // to the question that is open
		asking      bool    // afterwards
		total, free uint64
	}{
		{0, nil, true, unknownSpace, unknownSpace},
		{time.Hour, &answer{err: errors.New("no network")}, true, unknownSpace, unknownSpace},
		{time.Hour, &answer{usage: &fs.Usage{Total: size(100), Used: size(30), Free: size(60)}}, false, 100, 60},
		{time.Hour + 59*time.Second, nil, false, 100, 60},
		{time.Hour + 61*time.Second, &answer{usage: &fs.Usage{Used: size(7)}}, false, unknownSpace + 7, unknownSpace},
		{3 * time.Hour, &answer{usage: &fs.Usage{Total: size(10), Used: size(12)}}, false, 10, 0},
		{4 * time.Hour, &answer{err: errors.New("no network")}, false, 10, 0},
	} {
		space.sizes(begin.Add(step.after))
		if step.answer != nil {
			answers <- *step.answer
			for open := true; open; time.Sleep(time.Millisecond) {
				space.mu.Lock()
				open = space.asking
				space.mu.Unlock()
			}
		}
		total, free := space.sizes(begin.Add(step.after))
		space.mu.Lock()
		asking := space.asking
		space.mu.Unlock()
		if total != step.total || free != step.free || asking != step.asking {
			t.Errorf("after %v: %d of %d bytes, asks: %v", step.after, free, total, asking)
		}
	}
}
