// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

#include <stdexcept>

namespace quillmount {

// A real browser without a window, driven through its debugging pipe. Its profile, which remembers every address, is
// deleted with it. Calls block, with deadlines, and throw Failure.
class Chromium {
public:
    struct Failure : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    enum class Scheme { light, dark };

    explicit Chromium(Scheme scheme);
    ~Chromium();
    Q_DISABLE_COPY_MOVE(Chromium)

    void open(const QUrl &address);
    // Presses and releases keys by their names: "Tab", "Enter" or "Space".
    void press(const QStringList &keys);
    // The value of a JavaScript expression in the page that is shown.
    [[nodiscard]] QJsonValue evaluate(const QString &expression);

private:
    void attach();
    QJsonObject call(const QString &method, const QJsonObject &parameters = {});
    [[nodiscard]] QJsonObject nextMessage();

    QTemporaryDir m_profile;
    QProcess m_process;
    int m_toBrowser = -1;
    int m_fromBrowser = -1;
    QByteArray m_received;
    QString m_session;
    int m_lastCall = 0;
};

} // namespace quillmount
