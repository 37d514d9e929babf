// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <chrono>
#include <optional>

namespace quillmount::mount {

using Moment = std::chrono::steady_clock::time_point;

// Decides when a silent server counts as dead.
//
// A call may take long while the server is well: a WRITE into a partly cached file first downloads the missing parts.
// So no single call has a limit. When nothing at all has been heard for a quarter of the dead time, the server is
// asked for a sign of life on a connection of its own; when that goes unanswered for the rest of the dead time, the
// server is dead. Counting from the question also keeps a program that was itself stopped from blaming the server.
class Liveness {
public:
    enum class Verdict { fine, ask, dead };

    explicit Liveness(std::chrono::milliseconds deadTime)
        : m_deadTime(deadTime) {}

    void callStarted(Moment now);
    void callEnded() { --m_outstanding; }
    // Anything was heard from the server.
    void answered(Moment now);
    // The sign of life was asked for.
    void asked(Moment now) { m_asked = now; }

    Verdict judge(Moment now) const;
    // When to judge next; nothing while no call is outstanding, so that an idle mount does not wake up.
    std::optional<Moment> nextLook() const;

private:
    std::chrono::milliseconds quarter() const { return m_deadTime / 4; }

    std::chrono::milliseconds m_deadTime;
    int m_outstanding = 0;
    Moment m_heard{};
    std::optional<Moment> m_asked;
};

} // namespace quillmount::mount
