// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"

	"github.com/rclone/rclone/fs/rc"
)

// adaptCoreStats makes "core/stats" tell of uploads alone, and gives its lastError the wording of the log. rclone lists
// what it reads for the cache as transfers, too, goes on to report the speed of a transfer that has ended, and takes what
// it has read for an upload for sent.
func adaptCoreStats() {
	stats := rc.Calls.Get("core/stats")
	adapted := *stats
	adapted.Fn = func(ctx context.Context, in rc.Params) (rc.Params, error) {
		out, err := stats.Fn(ctx, in)
		if text, ok := out["lastError"].(string); ok {
			out["lastError"] = withoutTokenWords(text)
		}
		if transfers, ok := out["transferring"].([]rc.Params); ok || out["speed"] != nil {
			uploads, speed := uploadsOf(transfers)
			if m := meter.Load(); m != nil {
				speed = m.correct(uploads, servedObjectID)
			}
			out["transferring"], out["speed"] = uploads, speed
		}
		return out, err
	}
	rc.Add(adapted)
}

// uploadsOf returns the transfers that have a destination, which those into the cache do not, and the sum of their
// speeds in bytes per second.
func uploadsOf(transfers []rc.Params) (uploads []rc.Params, speed float64) {
	for _, transfer := range transfers {
		if _, isUpload := transfer["dstFs"]; isUpload {
			uploads = append(uploads, transfer)
			own, _ := transfer["speed"].(float64)
			speed += own
		}
	}
	return uploads, speed
}
