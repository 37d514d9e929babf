// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Activation.h"

#include <QList>

namespace quillmount {

// Remembers which windows were brought to the front, and with what.
class MemoryActivation final : public Activation {
public:
    struct Request {
        const QWindow *window;
        QByteArray token;
    };

    [[nodiscard]] QByteArray startToken() const override { return m_startToken; }
    void bringToFront(QWindow &window, const QByteArray &token) override { m_requests.append({&window, token}); }
    [[nodiscard]] bool placesWindows() const override { return m_placesWindows; }

    void setStartToken(const QByteArray &token) { m_startToken = token; }
    void setPlacesWindows(bool places) { m_placesWindows = places; }

    [[nodiscard]] const QList<Request> &requests() const { return m_requests; }

private:
    QByteArray m_startToken;
    bool m_placesWindows = true;
    QList<Request> m_requests;
};

} // namespace quillmount
