// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>
#include <QUrl>

namespace quillmount {

// Asks the feed that the information dictionary names whether there is a newer version, when the user wants to know. It
// never asks by itself, and downloads and installs nothing: there is a page for that.
class Updater : public QObject {
    Q_OBJECT

public:
    enum class Status {
        idle, // nobody has asked yet
        checking,
        upToDate,
        available,
        failed, // not known: the feed was not reached, or not understood
    };
    struct State {
        Status status = Status::idle;
        // While `available`: the version as the feed writes it, at most 32 characters, and the page that tells of it,
        // fit to be opened.
        QString version;
        QUrl page;

        bool operator==(const State &) const = default;
    };

    using QObject::QObject;

    [[nodiscard]] const State &state() const { return m_state; }
    // Whether there is a feed to ask. Without one `check` does nothing.
    [[nodiscard]] virtual bool hasFeed() const = 0;
    // Asks the feed; `state` tells what comes of it, `checking` at once. Does nothing while a check runs.
    virtual void check() = 0;

Q_SIGNALS:
    void stateChanged();

protected:
    void setState(const State &state) {
        if (state == m_state)
            return;
        m_state = state;
        Q_EMIT stateChanged();
    }

private:
    State m_state;
};

} // namespace quillmount
