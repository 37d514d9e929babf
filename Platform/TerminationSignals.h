// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>

namespace quillmount {

// The requests of the system to end: SIGTERM, SIGINT and SIGHUP.
class TerminationSignals : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // From now on the three signals no longer end the process; each is reported instead. Children start with the
    // default dispositions. A hang-up that whoever started the process had it ignore is not reported.
    virtual void install() = 0;

Q_SIGNALS:
    // On the main thread, outside signal context.
    void received(int signal);
};

} // namespace quillmount
