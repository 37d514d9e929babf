// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QIODevice>

namespace quillmount {

// The body of a request that can be sent once: it cannot be rewound, so nobody can send it again.
class OneTimeBody final : public QIODevice {
    Q_OBJECT

public:
    explicit OneTimeBody(QByteArray contents);

    [[nodiscard]] bool isSequential() const override { return true; }
    [[nodiscard]] qint64 size() const override { return m_contents.size(); }
    [[nodiscard]] qint64 bytesAvailable() const override;
    bool reset() override { return false; }
    [[nodiscard]] bool atEnd() const override { return m_read == m_contents.size(); }

protected:
    qint64 readData(char *data, qint64 length) override;
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_contents;
    qint64 m_read = 0;
};

} // namespace quillmount
