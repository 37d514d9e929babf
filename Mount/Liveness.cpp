// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/Liveness.h"

namespace quillmount::mount {

void Liveness::callStarted(Moment now) {
    // Silence while nobody asked anything says nothing about the server.
    if (m_outstanding++ == 0) {
        m_heard = now;
        m_asked.reset();
    }
}

void Liveness::answered(Moment now) {
    m_heard = now;
    m_asked.reset();
}

Liveness::Verdict Liveness::judge(Moment now) const {
    if (m_outstanding == 0)
        return Verdict::fine;
    if (!m_asked)
        return now - m_heard >= quarter() ? Verdict::ask : Verdict::fine;
    return now - *m_asked >= m_deadTime - quarter() ? Verdict::dead : Verdict::fine;
}

std::optional<Moment> Liveness::nextLook() const {
    if (m_outstanding == 0)
        return std::nullopt;
    return m_asked ? *m_asked + (m_deadTime - quarter()) : m_heard + quarter();
}

} // namespace quillmount::mount
