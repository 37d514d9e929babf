// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"time"

	"github.com/rclone/rclone/fs/rc"
	"github.com/rclone/rclone/vfs/vfscache/writeback"
	"github.com/rclone/rclone/vfs/vfscommon"
)

// adaptVFSStats makes erroredFiles of "vfs/stats" count the files whose upload failed and waits for another try. rclone
// alone counts only broken cache entries there, so that a full Google account would look like a long queue.
func adaptVFSStats() {
	stats, queue := rc.Calls.Get("vfs/stats"), rc.Calls.Get("vfs/queue")
	adapted := *stats
	adapted.Fn = func(ctx context.Context, in rc.Params) (rc.Params, error) {
		// Both calls take the name of the file system out of their parameters.
		inQueue := in.Copy()
		out, err := stats.Fn(ctx, in)
		if err != nil {
			return out, err
		}
		cache, ok := out["diskCache"].(rc.Params)
		if !ok {
			return out, nil // no cache, no queue
		}
		uploads, err := queue.Fn(ctx, inQueue)
		if err != nil {
			return nil, err
		}
		broken, _ := cache["erroredFiles"].(int)
		items, _ := uploads["queue"].([]writeback.QueueInfo)
		options, _ := out["opt"].(vfscommon.Options)
		cache["erroredFiles"] = broken + failedUploads(items, time.Duration(options.WriteBack))
		return out, nil
	}
	rc.Add(adapted)
}

// failedUploads counts the entries that failed and wait for another try.
//
// An upload that was cancelled because its file is being written again has been tried, too, but is in no trouble: it
// waits for the plain write-back time, whereas each failure doubles the wait.
func failedUploads(queue []writeback.QueueInfo, writeBack time.Duration) int {
	failed := 0
	for _, item := range queue {
		cancelled := writeBack > 0 && item.Delay == writeBack.Seconds()
		if item.Tries > 0 && !item.Uploading && !cancelled {
			failed++
		}
	}
	return failed
}
