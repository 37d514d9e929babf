// SPDX-License-Identifier: LicenseRef-Quillmount

// QuillmountEngine is rclone with only the parts that a Google Drive folder served over NFS needs, and a few
// adaptations so that what the application sends and reads means what it is documented to mean. Each adaptation has a
// file of its own; everything else is rclone, unchanged.
package main

import (
	"os"

	_ "github.com/rclone/rclone/backend/drive"
	_ "github.com/rclone/rclone/backend/local" // the VFS cache opens its own folders through this backend
	"github.com/rclone/rclone/cmd"
	_ "github.com/rclone/rclone/cmd/lsf"
	_ "github.com/rclone/rclone/cmd/version"
)

func main() {
	forbidCoreFiles()
	os.Args = sizesInBytes(os.Args, sizeFlags())
	adaptServe(adaptLog())
	adaptVFSStats()
	adaptCoreStats()
	cmd.Main()
}
