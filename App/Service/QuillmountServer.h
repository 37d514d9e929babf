// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Service/ServerStatus.h"

#include <QCoroTask>
#include <QJsonObject>
#include <QObject>
#include <QUrl>

#include <optional>
#include <stop_token>

namespace quillmount {

// The client of the maker's own service, which is never needed for the drive: whatever fails, nothing comes of it. It
// is asked only when the information dictionary names it ("QMServiceURL", without a path); otherwise nothing is sent,
// and no name is made up for this installation.
//
// What was asked before the account changed is not believed after it, and of two answers that of the later question
// stays.
class QuillmountServer : public QObject {
    Q_OBJECT

public:
    using Banner = ServerBanner;
    using Ad = ServerAd;
    using Status = ServerStatus;

    explicit QuillmountServer(QObject *parent = nullptr);
    // Requests that run are given up, but for reports of what was seen.
    ~QuillmountServer() override;
    Q_DISABLE_COPY_MOVE(QuillmountServer)

    // The address of the endpoints, with a slash at the end; absent when there is no service to ask.
    [[nodiscard]] static std::optional<QUrl> baseURL();

    // Makes this installation known together with its account. The new status; absent when nothing came of it. (The
    // language keeps the shorter name for itself.)
    [[nodiscard]] QCoro::Task<std::optional<Status>> registerInstall(QString idToken);
    // Tells what the installation runs on. The new status; absent when nothing came of it. An installation that the
    // service does not know any more loses its token.
    [[nodiscard]] QCoro::Task<std::optional<Status>> checkIn();
    // Registers when that was not done and an account is connected, checks in otherwise.
    [[nodiscard]] QCoro::Task<> registerOrCheckIn();
    // Reports that a sponsored message was seen, or clicked. Sent once, and its answer is not waited for.
    void adEvent(qint64 id, bool click);

    // The last status; absent when there is none that can be read.
    [[nodiscard]] static std::optional<Status> cached();

    // The account has changed, or is about to: what was asked before is void.
    void accountChanged();
    // Forgets the registration and what the service has said. To be called after a disconnect.
    [[nodiscard]] QCoro::Task<> forget();

Q_SIGNALS:
    // What `cached` tells has changed.
    void cachedChanged();

private:
    // Which question an answer belongs to.
    struct Question {
        quint64 account = 0;
        quint64 number = 0;
    };

    [[nodiscard]] Question ask() { return {m_account, ++m_asked}; }
    [[nodiscard]] bool isValid(const Question &question) const { return question.account == m_account; }
    // The installation's own name, made up at the first time. One that cannot be kept stays for this process.
    [[nodiscard]] QCoro::Task<QString> installID();
    [[nodiscard]] QCoro::Task<QJsonObject> deviceInfo();
    // The answer; absent when it is no JSON object. Its HTTP status is not looked at.
    [[nodiscard]] static QCoro::Task<std::optional<QJsonObject>>
    post(QString path, QJsonObject body, std::optional<QString> token, std::stop_token stop);
    // What the answer leaves in the cache; absent when that stays as it was.
    std::optional<Status> store(const Question &question, QJsonObject answer);

    std::optional<QString> m_installID;
    quint64 m_account = 0; // counts its changes
    quint64 m_asked = 0;
    quint64 m_stored = 0; // the question whose answer was stored last
    std::stop_source m_stop;
};

} // namespace quillmount
