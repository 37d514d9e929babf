// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Bundle.h"
#include "Platform/Clock.h"
#include "Platform/Updater.h"

class QNetworkAccessManager;
class QNetworkReply;

namespace quillmount {

// Reads the feed (UpdateFeed) at the address that is "SUFeedURL" in the information dictionary. It has to be https, or
// http on a literal loopback address. A check follows three redirects, to https alone, reads 512 KiB and takes 30 s at
// most.
class LinuxUpdater final : public Updater {
    Q_OBJECT

public:
    // The clock is to outlive it.
    LinuxUpdater(Clock &clock, const Bundle &bundle);
    ~LinuxUpdater() override;
    Q_DISABLE_COPY_MOVE(LinuxUpdater)

    [[nodiscard]] bool hasFeed() const override { return !m_feed.isEmpty(); }
    void check() override;

private:
    void get(const QUrl &url);
    void receive();
    void finished();
    void follow(const QUrl &url);
    void fail(const QString &why);
    void end(const State &state);
    void dropReply();

    Clock &m_clock;
    QUrl m_feed; // empty when there is none to ask
    QString m_ownVersion;
    QNetworkAccessManager *m_network = nullptr; // from the first check on
    QNetworkReply *m_reply = nullptr;           // of the check that runs
    QByteArray m_body;
    int m_redirects = 0;
    Clock::TimerId m_timeout = 0;
};

} // namespace quillmount
