// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Concurrency/Task.h"
#include "Platform/Clock.h"

#include <QObject>

namespace quillmount {

class DriveEngine;

// Launches the engine again when the user has chosen another size of the cache, which it reads at its launch. Several
// choices after each other end in one relaunch, and a drive that is being sent away, or set up, is left alone: it gets
// the size whenever it is launched, or when it stays after all.
class CacheRelaunch : public QObject {
    Q_OBJECT

public:
    // `engine` outlives this object.
    explicit CacheRelaunch(DriveEngine &engine, QObject *parent = nullptr);
    ~CacheRelaunch() override;
    Q_DISABLE_COPY_MOVE(CacheRelaunch)

    // Another size is stored now.
    void sizeChosen();

private:
    void consider();
    [[nodiscard]] QCoro::Task<> relaunch();

    DriveEngine &m_engine;
    Clock::TimerId m_timer = 0;
    qint64 m_launchedBytes; // what the engine was told at its last launch
    bool m_isWanted = false;
    bool m_isRunning = false;
};

} // namespace quillmount
