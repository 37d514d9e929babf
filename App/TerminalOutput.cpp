// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/TerminalOutput.h"

#include "App/Account/AccountConnection.h"
#include "App/Engine/DriveEngine.h"

#include <cstdio>
#include <utility>

namespace quillmount {

TerminalOutput::TerminalOutput(const DriveEngine &engine, const AccountConnection &account, QObject *parent)
    : QObject(parent)
    , m_engine(engine)
    , m_account(account) {
    connect(&engine, &DriveEngine::stateChanged, this, &TerminalOutput::driveChanged);
    connect(&account, &AccountConnection::stateChanged, this, &TerminalOutput::accountChanged);
}

void TerminalOutput::driveChanged() {
    if (m_engine.state() != DriveState::live || std::exchange(m_hasTold, true))
        return;
    std::printf("Drive: %s\n", qUtf8Printable(m_engine.mountPoint()));
    std::fflush(stdout);
}

void TerminalOutput::accountChanged() const {
    for (const QString &sentence : {m_account.errorText(), m_account.noticeText()}) {
        if (!sentence.isEmpty())
            std::puts(qUtf8Printable(sentence));
    }
    std::fflush(stdout);
}

} // namespace quillmount
