// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Connection.h"
#include "Mount/LaneSlots.h"
#include "Mount/Liveness.h"
#include "Mount/NfsDecoding.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>

namespace quillmount::mount {

// Where the server is and how long it may be silent.
struct Endpoint {
    std::string address;
    std::uint16_t port = 0;
    std::uint16_t mountPort = 0;
    std::chrono::seconds deadTimeout{0};
};

// The part of the attributes that a call is to set.
struct AttributeChange {
    std::optional<std::uint64_t> size;
    std::optional<timespec> modified;
};

// The calls of NFS version 3, each repeated by itself when its connection is lost.
//
// The server works through each connection strictly in turn, so calls are spread over lanes: a listing never waits
// behind a large READ or WRITE. Within its lane a call waits for a connection of its own (see LaneSlots).
class NfsClient final : public Connection::Observer {
public:
    NfsClient(EventLoop &loop, Endpoint endpoint);
    ~NfsClient() override;

    // Called once when the server refuses connections: it is gone for good, since a new one has a new port.
    void onGone(std::function<void()> action) { m_onGone = std::move(action); }
    bool isGone() const { return m_gone; }
    // True while the server counts as dead; calls fail at once.
    bool isDead() const { return m_dead; }

    // Asks the mount service for the handle of the root.
    Task<Reply<Handle>> mountRoot();
    Task<Reply<Attributes>> getAttributes(Handle file);
    Task<Reply<Change>> setAttributes(Handle file, AttributeChange change);
    Task<Reply<FoundFile>> lookup(Handle folder, std::string name);
    // Reads into `buffer`, which must stay valid until the call ends. Reading ahead names a stream, and never stands
    // in the way of a program that waits, whose stream is 0.
    Task<Reply<ReadResult>> read(Handle file, std::uint64_t offset, char *buffer, std::size_t size,
                                 std::uint64_t stream);
    // Writes from `data`, which must stay valid until the call ends. Writes of one `stream` reach the server in
    // turn.
    Task<Reply<WriteResult>> write(Handle file, std::uint64_t offset, const char *data, std::size_t size,
                                   std::uint64_t stream);
    // How much a commit asks for.
    enum class Commit : std::uint8_t {
        toDisk, // what was written survives a power cut
        close,  // the server closes the file, which it keeps open between calls, and tells of errors that come late
    };
    Task<Reply<Nothing>> commit(Handle file, Commit how, std::uint64_t stream);
    // Creates a file; an existing one is never touched.
    Task<Reply<FoundFile>> create(Handle folder, std::string name);
    Task<Reply<FoundFile>> makeDirectory(Handle folder, std::string name);
    Task<Reply<Nothing>> remove(Handle folder, std::string name);
    Task<Reply<Nothing>> removeDirectory(Handle folder, std::string name);
    Task<Reply<Nothing>> rename(Handle fromFolder, std::string from, Handle toFolder, std::string to);
    // Lists a folder with handles and attributes, from `cookie` on.
    Task<Reply<DirectoryPage>> list(Handle folder, std::uint64_t cookie, std::uint64_t verifier);
    // Gives the first few names of a folder: the cheapest way to learn that it can be listed, and whether it is empty.
    Task<Reply<DirectoryPage>> peek(Handle folder);
    Task<Reply<SpaceResult>> space(Handle root);

private:
    enum class Lane : std::uint8_t { metadata, read, readAhead, write, mount };
    struct LaneState {
        LaneSlots slots;
        std::vector<std::unique_ptr<Connection>> connections; // by place
        Gate released;
    };

    // Sends a call until it is answered or there is no hope of an answer.
    template <class Result, class T, class Args>
    Task<void> perform(Reply<T> &reply, Lane lane, std::uint64_t stream, Args *args,
                       int (*start)(rpc_context *, rpc_cb, Args *, void *));

    // Waits for a connection of the lane; gives its place, or nothing when the server is gone or dead.
    Task<std::optional<std::size_t>> take(Lane lane, std::uint64_t stream);
    void release(Lane lane, std::size_t place);
    void armClosing();
    void closeIdle();
    void closeAll();
    // Gives an error number, or 0 once `connection` can be used.
    Task<int> connect(Connection &connection);

    void heard() override;
    void connectionLost(Connection &connection) override;
    Task<void> reconnect(Connection &connection);
    void declareGone();

    void callStarted();
    void armLook();
    void look();
    void declareDead();
    Task<void> ask();
    Task<void> awaitRevival();
    Task<bool> ping();

    EventLoop &m_loop;
    Endpoint m_endpoint;
    Liveness m_liveness;
    std::array<LaneState, 5> m_lanes;
    std::unique_ptr<Connection> m_ping;
    std::function<void()> m_onGone;
    bool m_pinging = false;
    bool m_lookArmed = false;
    bool m_closingArmed = false;
    bool m_dead = false;
    bool m_gone = false;
};

} // namespace quillmount::mount
