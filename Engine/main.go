// SPDX-License-Identifier: LicenseRef-Quillmount

// QuillmountEngine is rclone with only the parts that a Google Drive folder served over NFS needs, and a few
// adaptations so that what the application sends and reads means what it is documented to mean. Each adaptation has a
// file of its own; everything else is rclone, unchanged.
package main

import (
	"os"
	"runtime/debug"

	_ "github.com/rclone/rclone/backend/drive"
	_ "github.com/rclone/rclone/backend/local" // the VFS cache opens its own folders through this backend
	"github.com/rclone/rclone/cmd"
	_ "github.com/rclone/rclone/cmd/lsf"
	_ "github.com/rclone/rclone/cmd/version"
)

// garbagePercent is how far the heap may grow, beyond what is in use, before garbage is collected. A server of large
// buffers spends much of its time on collecting them at Go's own 100.
const garbagePercent = 400

func main() {
	forbidCoreFiles()
	debug.SetGCPercent(garbagePercent)
	os.Args = sizesInBytes(os.Args, sizeFlags())
	adaptPacer()
	adaptServe(adaptLog())
	adaptVFSStats()
	adaptCoreStats()
	cmd.Main()
}
