// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/DriveSnapshot.h"

#include <QObject>

namespace quillmount {

class DriveEngine;

// Follows the drive for the views. One turn of the event loop makes at most one change, told at its end: a poll assigns
// its figures one after the other, and what is between two of them never was.
class DriveWatcher : public QObject {
    Q_OBJECT

public:
    // `engine` outlives this object.
    explicit DriveWatcher(const DriveEngine &engine, QObject *parent = nullptr);

    [[nodiscard]] const DriveSnapshot &snapshot() const { return m_snapshot; }

Q_SIGNALS:
    void changed();

private:
    void schedule();
    void collect();
    // The settings, which tell nobody of a change.
    void readSettings(DriveSnapshot &snapshot) const;
    [[nodiscard]] DriveSnapshot read() const;

    const DriveEngine &m_engine;
    DriveSnapshot m_snapshot;
    bool m_isScheduled = false;
    bool m_hasNewState = false;
};

} // namespace quillmount
