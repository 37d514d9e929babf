// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>

namespace quillmount {

class AccountConnection;
class DriveEngine;

// Tells the terminal what a user who started the application there has to know: where the drive is once it is live, for
// the first time, and the sentences of a sign-in.
class TerminalOutput : public QObject {
    Q_OBJECT

public:
    // Both outlive this object.
    TerminalOutput(const DriveEngine &engine, const AccountConnection &account, QObject *parent = nullptr);

private:
    void driveChanged();
    void accountChanged() const;

    const DriveEngine &m_engine;
    const AccountConnection &m_account;
    bool m_hasTold = false; // where the drive is
};

} // namespace quillmount
