// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/NfsMount/Liveness.h"

namespace quillmount::nfsmount {

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
        return Verdict::Fine;
    if (!m_asked)
        return now - m_heard >= quarter() ? Verdict::Ask : Verdict::Fine;
    return now - *m_asked >= m_deadTime - quarter() ? Verdict::Dead : Verdict::Fine;
}

std::optional<Moment> Liveness::nextLook() const {
    if (m_outstanding == 0)
        return std::nullopt;
    return m_asked ? *m_asked + (m_deadTime - quarter()) : m_heard + quarter();
}

} // namespace quillmount::nfsmount
