// SPDX-License-Identifier: LicenseRef-Quillmount

// The name of this file ends in "log.go" because rclone's own log looks past such files for the place that a message
// comes from.

package main

import (
	"context"
	"log/slog"
	"strings"
	"sync"

	"github.com/rclone/rclone/cmd"
	"github.com/rclone/rclone/fs"
	fslog "github.com/rclone/rclone/fs/log"
	"github.com/spf13/cobra"
)

// Sizes of the log file, in bytes: when it has grown beyond the first, its newest part of the second size is kept. The
// application reads the last 16 KiB.
const (
	logFileLimit = 4 << 20
	logFileKept  = 1 << 20
)

// engineLog stands before rclone's log handler. It mends the wording of messages, bounds the log file and, until the
// drive is served, brings failures to light; levels, formats and destinations are otherwise rclone's.
type engineLog struct {
	slog.Handler
	start startLog
	mu    sync.Mutex
	file  *boundedFile // nil while there is no file to bound
}

// adaptLog sends all log messages through an engineLog and returns it.
func adaptLog() *engineLog {
	log := &engineLog{Handler: fslog.Handler}
	fs.SetLogger(log)
	// rclone opens the log file once it has read its flags, which is after this and before the command runs.
	cmd.Root.PersistentPreRun = func(*cobra.Command, []string) {
		slog.SetDefault(slog.New(log))
		if fslog.Opt.File == "" || fslog.Opt.MaxSize >= 0 {
			return // no log file, or one that rclone has been asked to rotate
		}
		file, err := openBounded(fslog.Opt.File, logFileLimit, logFileKept)
		if err != nil {
			fs.Logf(nil, "The size of the log file is not limited: %v", err)
		}
		log.mu.Lock()
		defer log.mu.Unlock()
		log.file = file
	}
	return log
}

// Enabled implements slog.Handler.
func (l *engineLog) Enabled(ctx context.Context, level slog.Level) bool {
	return l.start.opening.Load() || l.Handler.Enabled(ctx, level)
}

// Handle implements slog.Handler.
func (l *engineLog) Handle(ctx context.Context, record slog.Record) error {
	if isEarlyProbe(record.Message) {
		return nil
	}
	record.Message = withoutTokenWords(record.Message)
	// What comes here although rclone would not show it comes from a start.
	if !l.Handler.Enabled(ctx, record.Level) {
		if !l.start.promote(&record) || !l.Handler.Enabled(ctx, record.Level) {
			return nil
		}
	}

	l.mu.Lock()
	defer l.mu.Unlock()
	err := l.Handler.Handle(ctx, record)
	if l.file != nil {
		if trimError := l.file.trim(); err == nil {
			err = trimError
		}
	}
	return err
}

// isEarlyProbe tells whether the message is rclone's error message about a "vfs/stats" that came before the drive is served.
// Asking is how the application learns that the engine is ready; it would hide the error that matters.
func isEarlyProbe(message string) bool {
	return strings.HasPrefix(message, `rc: "vfs/stats": error: no VFS active`)
}
