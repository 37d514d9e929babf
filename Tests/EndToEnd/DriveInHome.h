// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/DriveEngine.h"
#include "App/Support/VolumeSetup.h"
#include "Platform/Testing/ManualClock.h"

#include <memory>

namespace quillmount {

class TestHome;

// The drive in a home, inside the test: the real engine, mount and commands, but a test asks and sees what has no
// window.
class DriveInHome {
public:
    enum Time {
        real,
        byHand, // a ManualClock, which the test moves
    };

    // `volumeSetup` outlives it; without one there is no location to set up.
    explicit DriveInHome(TestHome &home, Time time = real, VolumeSetup *volumeSetup = nullptr);
    // Ends the drive like the application does.
    ~DriveInHome();
    Q_DISABLE_COPY_MOVE(DriveInHome)

    [[nodiscard]] DriveEngine &engine() { return *m_engine; }
    // Connects a new account whose access token lives for `lifetime` seconds, which starts the drive.
    void connect(int lifetime = 3599);
    // connect() until the drive is live, in real time.
    [[nodiscard]] bool goLive();
    [[nodiscard]] bool comesTo(DriveState state, int seconds = 20);
    // Every state since the drive was made, without repetitions.
    [[nodiscard]] const QStringList &states() const { return m_states; }

    [[nodiscard]] ManualClock &clock() const;

private:
    TestHome &m_home;
    NoVolumeSetup m_noVolumeSetup;
    std::unique_ptr<DriveEngine> m_engine;
    QStringList m_states;
};

} // namespace quillmount
