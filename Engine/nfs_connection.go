// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bufio"
	"bytes"
	"encoding/binary"
	"io"
	"net"
	"sync"

	"github.com/willscott/go-nfs"
)

// Numbers of the protocol (RFC 1813 and RFC 5531).
const (
	nfsProgram = 100003

	recordMark   = 4        // bytes before each record
	lastFragment = 1 << 31  // in the record mark
	callHead     = 6 * 4    // xid, kind, RPC version, program, version, procedure
	answerHead   = 6 * 4    // xid, kind, accepted, verifier's flavor and length, acceptance
	readBuffer   = 64 << 10 // bytes
	nfsVersion   = 3
)

// nfsConnection passes a connection on to go-nfs call by call: its reader never sees the beginning of a call before the
// one before is answered. It knows which call is being answered, and may put another status into an answer, because
// go-nfs gives some errors a status of its own and answers COMMIT without asking anybody.
type nfsConnection struct {
	net.Conn
	service *nfsService
	reader  *bufio.Reader
	rest    int // bytes of the present call that have not been read by go-nfs
	xid     uint32
	closed  chan struct{}
	once    sync.Once

	handler *nfsHandler

	mu       sync.Mutex
	sent     sync.Cond                 // an answer was sent, or the connection closed
	calls    map[uint32]*nfs.NFSStatus // by xid: what the answer is to say if not what go-nfs says
	unsent   int                       // bytes of the present answer that follow
	answered uint32                    // the xid of the present answer
}

func newNFSConnection(service *nfsService, conn net.Conn) *nfsConnection {
	c := &nfsConnection{
		Conn:    conn,
		service: service,
		reader:  bufio.NewReaderSize(conn, readBuffer),
		closed:  make(chan struct{}),
		calls:   map[uint32]*nfs.NFSStatus{},
	}
	c.sent.L = &c.mu
	c.handler = newNFSHandler(service, c)
	return c
}

// Read implements net.Conn. It gives no byte of a second call together with the first.
func (c *nfsConnection) Read(p []byte) (int, error) {
	for c.rest == 0 {
		if err := c.beginCall(); err != nil {
			// go-nfs leaves a connection open unless it ends like this.
			_ = c.Close()
			return 0, io.EOF
		}
	}
	n, err := c.reader.Read(p[:min(len(p), c.rest)])
	c.rest -= n
	if err != nil {
		_ = c.Close()
		err = io.EOF
	}
	return n, err
}

// beginCall waits for the next call and looks at what it is.
func (c *nfsConnection) beginCall() error {
	head, err := c.reader.Peek(recordMark + callHead)
	if err != nil {
		return err
	}
	mark := binary.BigEndian.Uint32(head)
	length := mark &^ lastFragment
	if mark&lastFragment == 0 || length < callHead {
		return io.ErrUnexpectedEOF
	}
	if !c.service.begin() {
		<-c.closed // the engine ends, and with it this connection
		return io.EOF
	}
	word := func(i int) uint32 { return binary.BigEndian.Uint32(head[recordMark+4*i:]) }
	c.rest = recordMark + int(length)
	c.xid = word(0)
	c.mu.Lock()
	if _, repeated := c.calls[c.xid]; repeated {
		c.mu.Unlock()
		c.service.end()
		return io.ErrUnexpectedEOF
	}
	c.calls[c.xid] = nil
	c.mu.Unlock()

	if word(3) == nfsProgram && word(4) == nfsVersion {
		return c.answerHere(nfs.NFSProcedure(word(5)))
	}
	return nil
}

// awaitAnswers waits until all calls before the present one are answered.
func (c *nfsConnection) awaitAnswers() {
	c.mu.Lock()
	defer c.mu.Unlock()
	for len(c.calls) > 1 {
		c.sent.Wait()
	}
}

// overrule sets the status that the answer to the present call carries if the call fails, whatever go-nfs says then.
func (c *nfsConnection) overrule(status nfs.NFSStatus) {
	c.mu.Lock()
	defer c.mu.Unlock()
	c.calls[c.xid] = &status
}

// Write implements net.Conn. go-nfs writes whole answers, one at a time, the head of each in one piece.
func (c *nfsConnection) Write(p []byte) (int, error) {
	c.mu.Lock()
	if c.unsent == 0 && len(p) >= recordMark+4 {
		c.unsent = recordMark + int(binary.BigEndian.Uint32(p)&^lastFragment)
		c.answered = binary.BigEndian.Uint32(p[recordMark:])
		if status := c.calls[c.answered]; status != nil {
			p = withStatus(p, *status)
		}
	}
	c.mu.Unlock()
	n, err := c.Conn.Write(p)
	c.mu.Lock()
	c.unsent -= n
	_, open := c.calls[c.answered]
	if done := open && c.unsent <= 0; done {
		c.unsent = 0
		delete(c.calls, c.answered)
		c.service.end()
		c.sent.Broadcast()
	}
	c.mu.Unlock()
	if err != nil {
		_ = c.Close() // go-nfs does not say that it has given up
	}
	return n, err
}

// withStatus returns the beginning of an answer with another NFS status if it tells of a failure.
func withStatus(answer []byte, status nfs.NFSStatus) []byte {
	const at = recordMark + answerHead
	if len(answer) < at+4 || binary.BigEndian.Uint32(answer[at-4:]) != 0 || binary.BigEndian.Uint32(answer[at:]) == 0 {
		return answer
	}
	changed := bytes.Clone(answer)
	binary.BigEndian.PutUint32(changed[at:], uint32(status))
	return changed
}

// Close implements net.Conn.
func (c *nfsConnection) Close() error {
	err := c.Conn.Close()
	c.once.Do(func() {
		c.mu.Lock()
		for range c.calls {
			c.service.end()
		}
		clear(c.calls)
		c.sent.Broadcast()
		c.mu.Unlock()
		close(c.closed)
	})
	return err
}
