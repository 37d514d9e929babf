// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"sync"
	"time"

	"github.com/go-git/go-billy/v5"
	"github.com/rclone/rclone/fs"
	"github.com/willscott/go-nfs"
)

const (
	spacePeriod  = time.Minute // between two questions to Google
	spaceTimeout = time.Minute
	// unknownSpace is the room in bytes of an account that has no limit, and while nothing is known: nobody may be kept
	// from saving by a guess.
	unknownSpace = 1 << 50
)

// freeSpace knows how much room the account has. Google is asked in the background, at most once in spacePeriod, and only
// if somebody wants to know; who does gets at once what was heard last. rclone alone makes the caller wait, and keeps an
// answer, or a failure, for as long as a listing.
type freeSpace struct {
	about func(context.Context) (*fs.Usage, error) // nil if the remote cannot tell

	mu          sync.Mutex
	asked       time.Time
	asking      bool
	failing     bool
	total, free uint64
}

func newFreeSpace(about func(context.Context) (*fs.Usage, error)) *freeSpace {
	return &freeSpace{about: about, total: unknownSpace, free: unknownSpace}
}

// sizes returns the size of the account and what is free of it, in bytes.
func (s *freeSpace) sizes(now time.Time) (total, free uint64) {
	s.mu.Lock()
	defer s.mu.Unlock()
	if s.about != nil && !s.asking && now.Sub(s.asked) >= spacePeriod {
		s.asking, s.asked = true, now
		go s.ask()
	}
	return s.total, s.free
}

func (s *freeSpace) ask() {
	ctx, cancel := context.WithTimeout(context.Background(), spaceTimeout)
	defer cancel()
	usage, err := s.about(ctx)

	s.mu.Lock()
	defer s.mu.Unlock()
	s.asking = false
	if err != nil {
		if !s.failing { // one line is enough for a network that is away
			fs.Errorf(nil, "Failed to ask how much space is free: %v", err)
		}
		s.failing = true
		return
	}
	s.failing = false
	s.total, s.free = sizesOf(usage)
}

// FSStat implements nfs.Handler.
func (h *nfsHandler) FSStat(_ context.Context, _ billy.Filesystem, answer *nfs.FSStat) error {
	answer.TotalSize, answer.FreeSize = h.service.space.sizes(time.Now())
	answer.AvailableSize = answer.FreeSize
	return nil
}

// sizesOf fills in what an account without a limit leaves out.
func sizesOf(usage *fs.Usage) (total, free uint64) {
	value := func(size *int64, otherwise int64) int64 {
		if size == nil {
			return otherwise
		}
		return max(*size, 0)
	}
	used := value(usage.Used, 0)
	all := value(usage.Total, used+value(usage.Free, unknownSpace))
	return uint64(all), uint64(min(value(usage.Free, max(all-used, 0)), all))
}
