// SPDX-License-Identifier: LicenseRef-Quillmount

// The name of this file ends in "log.go" for the same reason as that of engine_log.go.

package main

import (
	"context"
	"log/slog"
	"regexp"
	"sync"
	"sync/atomic"
	"time"

	"github.com/rclone/rclone/cmd"
	"github.com/rclone/rclone/cmd/serve/nfs"
	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/lib/atexit"
	"github.com/rclone/rclone/vfs"
	"github.com/rclone/rclone/vfs/vfscommon"
	"github.com/spf13/cobra"
)

// retriedFailure matches what rclone logs, for those who debug it, before it tries a request to Google or the refresh of
// the token again. The group is the error.
var retriedFailure = regexp.MustCompile(`(?s)^(?:low level retry|Token refresh failed try) \d+/\d+(?:: | \()(.+)$`)

// startLog turns failures that are tried again into errors while the drive is being opened. rclone tries for a minute
// and a half before it gives up and says why; the application has long stopped waiting by then and would have to guess.
type startLog struct {
	opening  atomic.Bool
	level    fs.LogLevel // what the user asked for
	mu       sync.Mutex
	reported map[string]bool // errors, each of which is worth one line
}

// adaptServe makes the command that serves the drive say through the log why its start takes long. Its steps are those
// of rclone's own command, which offers no place between the opening of the drive and its serving.
func adaptServe(log *engineLog) {
	nfs.Command.Run = func(command *cobra.Command, args []string) {
		cmd.CheckArgs(1, 1, command, args)
		log.start.begin()
		renewRefusedToken(args[0])
		remote := cmd.NewFsSrc(args)
		cmd.Run(false, true, command, func() error {
			ctx := context.Background()
			if err := orderCalls(remote); err != nil {
				return err
			}
			aside, pending := setAsideDamaged(remote, time.Now())
			opening, err := lookUpPending(ctx, remote, pending)
			if err != nil {
				return err
			}
			drive := vfs.New(ctx, opening, driveOptions())
			defer drive.Shutdown()
			opening.opened()
			if err := noteServed(drive, aside); err != nil {
				return err
			}
			// The server keeps the log level that it finds.
			log.start.end()
			service, err := newNFSService(ctx, drive, &nfs.Opt)
			if err != nil {
				return err
			}
			atexit.Register(service.stop)
			if err := service.serve(); err != nil {
				return err
			}
			select {} // the signal that ended the serving ends the process
		})
	}
}

// driveOptions returns the options of the command line, except that rclone keeps no file open by itself: a file that it
// closes late is written to the cache under a name that may belong to another file by then. openFiles does it instead.
func driveOptions() *vfscommon.Options {
	options := vfscommon.Opt
	options.HandleCaching = 0
	return &options
}

// begin makes rclone word its debug messages, which it does not take the trouble to do at other levels. Whoever has
// asked for them sees the failures anyway.
func (s *startLog) begin() {
	config := fs.GetConfig(context.Background())
	if config.LogLevel >= fs.LogLevelDebug {
		return
	}
	s.level = config.LogLevel
	s.reported = map[string]bool{}
	s.opening.Store(true)
	config.LogLevel = fs.LogLevelDebug
}

// end takes back what begin did, for good.
func (s *startLog) end() {
	if s.opening.CompareAndSwap(true, false) {
		fs.GetConfig(context.Background()).LogLevel = s.level
	}
}

// promote makes an error of a record that is not to be shown otherwise. It returns false for what stays hidden.
func (s *startLog) promote(record *slog.Record) bool {
	match := retriedFailure.FindStringSubmatch(record.Message)
	// A refusal of the token is soon final; only then it has the words by which the application knows it.
	if match == nil || refusal.MatchString(match[1]) || !s.opening.Load() {
		return false
	}
	s.mu.Lock()
	defer s.mu.Unlock()
	if s.reported[match[1]] {
		return false
	}
	s.reported[match[1]] = true
	record.Level = slog.LevelError
	return true
}
