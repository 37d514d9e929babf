// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>

namespace quillmount {

// Whether the system has a usable network path. A hint for display, never proof that a request would fail.
class NetworkPath : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // Begins to report. The present status is reported first, from the event loop.
    virtual void start() = 0;

Q_SIGNALS:
    // Every update, also one that changes nothing.
    void updated(bool satisfied);
};

} // namespace quillmount
