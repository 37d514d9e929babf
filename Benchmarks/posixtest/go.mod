module quillmount/posixtest

go 1.26.0

require github.com/hanwen/go-fuse/v2 v2.11.0

require golang.org/x/sys v0.28.0 // indirect
