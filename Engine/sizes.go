// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"strings"

	"github.com/rclone/rclone/fs"
)

// sizeFlags returns every flag of this engine whose value is a size, spelled as on the command line ("--buffer-size").
func sizeFlags() map[string]bool {
	found := map[string]bool{}
	collect := func(prefix string, options fs.Options) {
		for i := range options {
			option := &options[i]
			if option.Type() != "SizeSuffix" {
				continue
			}
			name := strings.ReplaceAll(option.Name, "_", "-")
			if prefix != "" && !option.NoPrefix {
				name = prefix + "-" + name
			}
			found["--"+name] = true
		}
	}
	for _, group := range fs.OptionsRegistry {
		collect("", group.Options)
	}
	for _, backend := range fs.Registry {
		collect(backend.Prefix, backend.Options)
	}
	return found
}

// sizesInBytes returns the arguments with "B" added to each size that has no unit. rclone alone takes a bare number for
// KiB, so that a cache limit of 20 GB given in bytes would be 20 TB, which is no limit at all.
func sizesInBytes(args []string, sizeFlags map[string]bool) []string {
	result := append([]string(nil), args...)
	for i := 1; i < len(result); i++ {
		if result[i] == "--" {
			break
		}
		if flag, value, joined := strings.Cut(result[i], "="); joined && sizeFlags[flag] {
			result[i] = flag + "=" + withUnit(value)
		} else if sizeFlags[result[i]] && i+1 < len(result) {
			i++
			result[i] = withUnit(result[i])
		}
	}
	return result
}

// withUnit leaves a size that names its unit, or that is no size, as it is.
func withUnit(size string) string {
	if size == "" || !strings.ContainsRune("0123456789.", rune(size[len(size)-1])) {
		return size
	}
	return size + "B"
}
