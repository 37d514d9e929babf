// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"bufio"
	"encoding/binary"
	"encoding/hex"
	"errors"
	"fmt"
	"io"
	"net"
	"net/netip"
	"os"
	"strconv"
	"strings"
	"syscall"
	"time"
)

// established is the state of a connection in the kernel's table of sockets. Rows in other states may belong to sockets
// that their process has closed already, and then they name user 0, whoever opened them.
const established = "01"

// peerLookUps is how often a peer is looked for. The kernel gives its tables out in pieces and may leave out a row when
// other connections come and go between two of them.
const peerLookUps = 10

// openTable opens a table of the kernel's sockets.
var openTable = func(path string) (io.ReadCloser, error) { return os.Open(path) }

// peerBelongsTo returns an error unless the other end of a connection on this machine is a socket of the user. NFS on
// the loopback interface has no authentication, and every local user can reach the port.
func peerBelongsTo(conn net.Conn, uid int) error {
	peer, err := endpoint(conn.RemoteAddr())
	if err != nil {
		return err
	}
	own, err := endpoint(conn.LocalAddr())
	if err != nil {
		return err
	}
	for attempt := range peerLookUps {
		time.Sleep(time.Duration(attempt) * time.Millisecond)
		if owner, found := ownerOf(peer, own); found && owner != uid {
			return fmt.Errorf("its socket belongs to user %d", owner)
		} else if found {
			return nil
		}
	}
	return errors.New("nobody can be told to own its socket")
}

// ownerOf looks for the user of the connected socket with these ends, seen from its own side.
func ownerOf(local, remote netip.AddrPort) (uid int, found bool) {
	// A socket of the IPv6 family that talks to an IPv4 address stands in the second table, mapped.
	for _, path := range []string{"/proc/net/tcp", "/proc/net/tcp6"} {
		table, err := openTable(path)
		if err != nil {
			continue // no IPv6, for instance; not to be found is not to be served
		}
		uid, found = socketOwner(bufio.NewScanner(table), local, remote)
		_ = table.Close()
		if found {
			break
		}
	}
	return uid, found
}

// endpoint returns the address of one end of a TCP connection, IPv4 unmapped.
func endpoint(address net.Addr) (netip.AddrPort, error) {
	tcp, ok := address.(*net.TCPAddr)
	if !ok {
		return netip.AddrPort{}, fmt.Errorf("%v is no TCP address", address)
	}
	both := tcp.AddrPort()
	return netip.AddrPortFrom(both.Addr().Unmap().WithZone(""), both.Port()), nil
}

// socketOwner looks for the connected socket with these ends, seen from its own side, in a table of the kernel.
func socketOwner(table *bufio.Scanner, local, remote netip.AddrPort) (uid int, found bool) {
	for table.Scan() {
		// sl, local address, remote address, state, queues, timer, retransmissions, uid, timeout, inode
		columns := strings.Fields(table.Text())
		if len(columns) < 10 || columns[3] != established || columns[9] == "0" {
			continue
		}
		if first, err := tableEndpoint(columns[1]); err != nil || first != local {
			continue
		}
		if second, err := tableEndpoint(columns[2]); err != nil || second != remote {
			continue
		}
		uid, err := strconv.Atoi(columns[7])
		return uid, err == nil
	}
	return 0, false
}

// tableEndpoint reads an address as the kernel's tables have it: groups of four bytes in the machine's order, a colon,
// and the port, all in hexadecimal digits.
func tableEndpoint(text string) (netip.AddrPort, error) {
	address, port, _ := strings.Cut(text, ":")
	number, err := strconv.ParseUint(port, 16, 16)
	if err != nil {
		return netip.AddrPort{}, err
	}
	bytes, err := hex.DecodeString(address)
	if err != nil {
		return netip.AddrPort{}, err
	}
	for i := 0; i+4 <= len(bytes); i += 4 {
		binary.BigEndian.PutUint32(bytes[i:], binary.NativeEndian.Uint32(bytes[i:]))
	}
	ip, ok := netip.AddrFromSlice(bytes)
	if !ok {
		return netip.AddrPort{}, fmt.Errorf("%q is no address", text)
	}
	return netip.AddrPortFrom(ip.Unmap(), uint16(number)), nil
}

// outOfDescriptors tells whether a connection could not be accepted because too many files are open.
func outOfDescriptors(err error) bool {
	return errors.Is(err, syscall.EMFILE) || errors.Is(err, syscall.ENFILE)
}
