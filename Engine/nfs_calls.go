// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"encoding/binary"
	"errors"
	"io"
	"os"
	"path"
	"sync"

	"github.com/rclone/rclone/fs"
	"github.com/willscott/go-nfs"
)

const (
	maxData    = 1 << 20    // bytes of a READ or WRITE that is answered here
	maxHead    = 2 << 10    // bytes of a call before the data of a WRITE; credentials are 400 at most
	answerRoom = 256        // bytes of an answer besides the data of a READ
	smallData  = 16 << 10   // bytes up to which a buffer is made for a call
	closeOnly  = ^uint64(0) // offset of a COMMIT that only closes the file
	isReply    = 1
	fileSync   = 2
)

// nfsCall is a call that is answered without go-nfs: those that programs make most often. go-nfs would make and copy
// three buffers for each READ, and change to another goroutine for each answer.
type nfsCall struct {
	*nfsHandler
	name      string // of the file that the handle means
	arguments arguments
	peeked    int // bytes of the call with what is left of arguments at their end
	data      *dataBuffer
	answer    []byte
	err       error // the connection broke
}

type dataBuffer [answerRoom + maxData]byte

var dataBuffers = sync.Pool{New: func() any { return new(dataBuffer) }}

// answerHere answers the present call unless it is one that go-nfs has to answer.
func (c *nfsConnection) answerHere(procedure nfs.NFSProcedure) error {
	var answer func(*nfsCall) bool
	switch procedure {
	case nfs.NFSProcedureGetAttr:
		answer = (*nfsCall).getAttributes
	case nfs.NFSProcedureLookup:
		answer = (*nfsCall).lookUp
	case nfs.NFSProcedureRead:
		answer = (*nfsCall).read
	case nfs.NFSProcedureWrite:
		answer = (*nfsCall).write
	case nfs.NFSProcedureCommit:
		answer = (*nfsCall).commit
	default:
		return nil
	}
	head, err := c.reader.Peek(min(c.rest, maxHead))
	if err != nil {
		return err
	}
	call := nfsCall{nfsHandler: c.handler, arguments: arguments{rest: head[recordMark+callHead:]}, peeked: len(head)}
	for range 2 { // credentials and verifier
		call.arguments.uint32()
		call.arguments.opaque()
	}
	handle := call.arguments.opaque()
	if call.arguments.short {
		return nil // go-nfs says what is wrong with it
	}
	elements, err := c.handler.elements(handle)
	if err != nil {
		return nil
	}
	call.name = path.Join(elements...)
	defer func() {
		if call.data != nil {
			dataBuffers.Put(call.data)
		}
	}()
	if !answer(&call) {
		return call.err
	}
	if _, err := c.reader.Discard(c.rest); err != nil {
		return err
	}
	c.rest = 0
	binary.BigEndian.PutUint32(call.answer, uint32(len(call.answer)-recordMark)|lastFragment)
	c.awaitAnswers()
	_, err = c.Write(call.answer)
	return err
}

// buffer returns a buffer for so many bytes of data and what surrounds it.
func (c *nfsCall) buffer(count int) []byte {
	if count <= smallData {
		return make([]byte, answerRoom+count)
	}
	c.data = dataBuffers.Get().(*dataBuffer)
	return c.data[:]
}

// begin starts the answer with a status, in a buffer.
func (c *nfsCall) begin(status nfs.NFSStatus, buffer []byte) {
	c.answer = buffer[:0]
	for _, word := range [...]uint32{0, c.connection.xid, isReply, 0, 0, 0, 0, uint32(status)} {
		c.answer = binary.BigEndian.AppendUint32(c.answer, word)
	}
}

// fail answers with a status that is followed by the given number of zero words: attributes that are not told.
func (c *nfsCall) fail(status nfs.NFSStatus, words int) bool {
	c.begin(status, make([]byte, 0, answerRoom))
	c.answer = append(c.answer, make([]byte, 4*words)...)
	return true
}

// addAttributes appends what is known of a file.
func (c *nfsCall) addAttributes(info os.FileInfo, name string) {
	a := nfs.ToFileAttribute(info, name)
	for _, word := range [...]uint32{uint32(a.Type), a.FileMode, a.Nlink, a.UID, a.GID} {
		c.answer = binary.BigEndian.AppendUint32(c.answer, word)
	}
	for _, word := range [...]uint64{a.Filesize, a.Used, uint64(a.SpecData[0])<<32 | uint64(a.SpecData[1]), a.FSID, a.Fileid} {
		c.answer = binary.BigEndian.AppendUint64(c.answer, word)
	}
	c.addTime(a.Atime)
	c.addTime(a.Mtime)
	c.addTime(a.Ctime)
}

func (c *nfsCall) addTime(time nfs.FileTime) {
	c.addWord(time.Seconds)
	c.addWord(time.Nseconds)
}

// addAttributesNow appends whether anything is known of a file now, and what.
func (c *nfsCall) addAttributesNow(name string) {
	if info, err := c.files.Lstat(name); err != nil {
		c.addWord(0)
	} else {
		c.addWord(1)
		c.addAttributes(info, name)
	}
}

func (c *nfsCall) addWord(word uint32) { c.answer = binary.BigEndian.AppendUint32(c.answer, word) }

func (c *nfsCall) addOpaque(value []byte) {
	c.addWord(uint32(len(value)))
	c.answer = append(c.answer, value...)
	c.pad(len(value))
}

// pad appends what is missing to whole words after so many bytes.
func (c *nfsCall) pad(count int) { c.answer = append(c.answer, make([]byte, -count&3)...) }

func (c *nfsCall) getAttributes() bool {
	info, err := c.files.Lstat(c.name)
	if errors.Is(err, os.ErrNotExist) {
		return c.fail(nfs.NFSStatusNoEnt, 0)
	} else if err != nil {
		return c.fail(nfs.NFSStatusIO, 0)
	}
	c.begin(nfs.NFSStatusOk, make([]byte, 0, answerRoom))
	c.addAttributes(info, c.name)
	return true
}

func (c *nfsCall) lookUp() bool {
	leaf := string(c.arguments.opaque())
	folder, err := c.files.Lstat(c.name)
	if c.arguments.short || leaf == "" || leaf == "." || leaf == ".." || err != nil || !folder.IsDir() {
		return false
	}
	name := path.Join(c.name, leaf)
	info, err := c.files.Lstat(name)
	if err != nil {
		return c.fail(nfs.NFSStatusNoEnt, 1)
	}
	handle := c.ToHandle(c.files, []string{name})
	c.begin(nfs.NFSStatusOk, make([]byte, 0, answerRoom))
	c.addOpaque(handle)
	c.addWord(1)
	c.addAttributes(info, name)
	c.addWord(1)
	c.addAttributes(folder, c.name)
	return true
}

func (c *nfsCall) read() bool {
	offset, count := int64(c.arguments.uint64()), int64(c.arguments.uint32())
	info, err := c.files.Stat(c.name)
	if c.arguments.short || err != nil || !info.Mode().IsRegular() || offset < 0 || count > maxData {
		return false
	}
	rest := max(info.Size()-offset, 0)
	end := rest <= count
	count = min(count, rest)
	c.begin(nfs.NFSStatusOk, c.buffer(int(count)))
	c.addWord(1)
	c.addAttributes(info, c.name)
	at := len(c.answer)
	data := c.answer[at+3*4 : at+3*4+int(count)]
	file := nfsFile{files: c.files, name: c.name}
	read, err := file.ReadAt(data, offset)
	if err != nil && !errors.Is(err, io.EOF) {
		fs.Errorf(c.name, "Failed to read: %v", err)
		return c.fail(nfs.NFSStatusIO, 1)
	}
	c.addWord(uint32(read))
	if end || err != nil {
		c.addWord(1)
	} else {
		c.addWord(0)
	}
	c.addWord(uint32(read))
	c.answer = c.answer[:len(c.answer)+read]
	c.pad(read)
	return true
}

func (c *nfsCall) write() bool {
	offset, count := int64(c.arguments.uint64()), c.arguments.uint32()
	c.arguments.uint32() // how stable: the answer promises the most in any case
	length := c.arguments.uint32()
	head := c.peeked - len(c.arguments.rest)
	info, err := c.files.Stat(c.name)
	if c.arguments.short || err != nil || !info.Mode().IsRegular() || offset < 0 || length > maxData || count != length ||
		c.connection.rest-head != int((length+3)&^3) {
		return false
	}
	before := nfs.ToFileAttribute(info, c.name).AsCache()
	data := c.buffer(int(length))[:length]
	_, c.err = c.connection.reader.Discard(head)
	if c.err == nil {
		_, c.err = io.ReadFull(c.connection.reader, data)
	}
	if c.err != nil {
		return false
	}
	c.connection.rest -= head + int(length)
	file := nfsFile{files: c.files, name: c.name, offset: offset}
	written, err := file.Write(data)
	if err != nil {
		fs.Errorf(c.name, "Failed to write: %v", err)
		return c.fail(statusOf(err), 2)
	}
	c.begin(nfs.NFSStatusOk, make([]byte, 0, answerRoom))
	c.addWord(1)
	c.answer = binary.BigEndian.AppendUint64(c.answer, before.Filesize)
	c.addTime(before.Mtime)
	c.addTime(before.Ctime)
	c.addAttributesNow(c.name)
	c.addWord(uint32(written))
	c.addWord(fileSync)
	c.answer = append(c.answer, c.service.id[:]...)
	return true
}

func (c *nfsCall) commit() bool {
	sync := c.arguments.uint64() != closeOnly
	sync = c.arguments.uint32() != 0 || sync
	if c.arguments.short {
		return false
	}
	if err := c.service.files.close(c.name, sync); err != nil {
		fs.Errorf(c.name, "Failed to keep what was written: %v", err)
		return c.fail(statusOf(err), 2)
	}
	c.begin(nfs.NFSStatusOk, make([]byte, 0, answerRoom))
	c.addWord(0)
	c.addAttributesNow(c.name)
	c.answer = append(c.answer, c.service.id[:]...)
	return true
}

// arguments are what a call carries (RFC 4506). Once there is too little, only zeros come.
type arguments struct {
	rest  []byte
	short bool
}

func (a *arguments) bytes(count uint32) []byte {
	if a.short = a.short || uint64(count) > uint64(len(a.rest)); a.short {
		return nil
	}
	value := a.rest[:count]
	a.rest = a.rest[count:]
	return value
}

func (a *arguments) uint32() uint32 {
	if value := a.bytes(4); value != nil {
		return binary.BigEndian.Uint32(value)
	}
	return 0
}

func (a *arguments) uint64() uint64 {
	high := a.uint32()
	return uint64(high)<<32 | uint64(a.uint32())
}

// opaque returns bytes that are preceded by their number and followed by padding.
func (a *arguments) opaque() []byte {
	length := a.uint32()
	if length > maxHead {
		a.short = true
	}
	value := a.bytes((length + 3) &^ 3)
	return value[:min(len(value), int(length))]
}
