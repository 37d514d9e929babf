// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"maps"
	"os"
	"path/filepath"
	"slices"
	"testing"
)

// filesBelow returns the files' paths within the directory, in order.
func filesBelow(t *testing.T, directory string) (files []string) {
	t.Helper()
	must(t, filepath.WalkDir(directory, func(file string, entry os.DirEntry, err error) error {
		if err == nil && !entry.IsDir() {
			relative, _ := filepath.Rel(directory, file)
			files = append(files, relative)
		}
		return err
	}))
	return files
}

func TestDamagedPiecesAreHeld(t *testing.T) {
	const text, fine = "saved", `{"Size": 5, "Dirty": true, "Rs": [{"Pos": 1, "Size": 4}]}`
	data, meta, held := t.TempDir(), t.TempDir(), t.TempDir()
	write := func(file, content string) {
		must(t, os.MkdirAll(filepath.Dir(file), 0o700))
		must(t, os.WriteFile(file, []byte(content), 0o600))
	}
	write(held+"/deep/cut", "of an earlier start")
	for name, content := range map[string]string{
		"clean": `{"Size": 5}`, "whole": `{"Size": 5, "Dirty": true, "Rs": [{"Pos": 0, "Size": 5}]}`,
		"fine": fine, "deep/cut": `{"Size": 5, "Di`, "nothing": "", "zeros": "\x00\x00", "sparse": "", "created": "",
	} {
		write(filepath.Join(meta, name), content)
	}
	for _, name := range []string{"clean", "whole", "fine", "deep/cut", "nothing", "zeros", "without"} {
		write(filepath.Join(data, name), text)
	}
	write(data+"/created", "")
	write(data+"/sparse", "")
	must(t, os.Truncate(data+"/sparse", 1<<40)) // opened and never read
	pending, err := holdDamaged(data, meta, held)
	must(t, err)
	if want := []pendingFile{{"fine", true}, {"whole", false}}; !slices.Equal(pending, want) {
		t.Errorf("pending: %v, want %v", pending, want)
	}

	if got, want := filesBelow(t, data), []string{"clean", "created", "fine", "sparse", "whole"}; !slices.Equal(got, want) {
		t.Errorf("left in the cache: %q, want %q", got, want)
	}
	want := map[string]string{"deep/cut": "of an earlier start", "deep/cut (2)": text, "nothing": text, "without": text,
		"zeros": text}
	got := map[string]string{}
	for _, name := range filesBelow(t, held) {
		content, err := os.ReadFile(filepath.Join(held, name))
		must(t, err)
		got[name] = string(content)
	}
	if !maps.Equal(got, want) {
		t.Errorf("held: %q, want %q", got, want)
	}
}

func TestCopyOfATreeKeepsHoles(t *testing.T) {
	from, to := t.TempDir(), filepath.Join(t.TempDir(), "copy")
	must(t, os.Mkdir(from+"/deep", 0o700))
	file, err := os.Create(from + "/deep/sparse")
	must(t, err)
	const size, at = 1 << 40, 1 << 30
	_, err = file.WriteAt([]byte("text"), at)
	must(t, err)
	must(t, file.Truncate(size))
	must(t, file.Close())
	must(t, copyTree(from, to))

	copied, err := os.Open(to + "/deep/sparse")
	must(t, err)
	defer copied.Close()
	info, err := copied.Stat()
	must(t, err)
	text := make([]byte, 6)
	_, err = copied.ReadAt(text, at-1)
	must(t, err)
	if info.Size() != size || string(text) != "\x00text\x00" {
		t.Errorf("%d bytes with %q", info.Size(), text)
	}
}
