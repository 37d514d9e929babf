// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Support/VolumeSetup.h"

#include <functional>
#include <memory>
#include <optional>

namespace quillmount {

// The set-up on the machine itself. What it finds is read from the files each time; only the answer about the name is
// kept. The key "QMLocationSetup" of the information dictionary, which packages alone set, makes it available:
// "on request" in the settings, "at start" also at the first start.
class SystemVolumeSetup final : public VolumeSetup {
public:
    // Whether a name resolves to this machine: blocks, and is called on a thread.
    using Resolver = std::function<bool()>;

    explicit SystemVolumeSetup(Resolver resolver = resolvesHere);
    // For tests: another file stands for the daemon's.
    SystemVolumeSetup(Resolver resolver, const QString &daemonFile);
    // The first IPv4 address of the host name is 127.0.0.1.
    static bool resolvesHere();

    [[nodiscard]] bool isAvailable() const override;
    [[nodiscard]] bool offersAtStart() const override;
    [[nodiscard]] bool isInstalled() const override;
    [[nodiscard]] QCoro::Task<bool> resolvesLocally() override;
    [[nodiscard]] bool isReady() const override;
    bool waitUntilReady(double seconds) override;
    [[nodiscard]] QCoro::Task<Outcome> run() override;
    [[nodiscard]] bool isRemovable() const override;
    [[nodiscard]] QCoro::Task<Outcome> remove() override;
    void removeSidebarEntry() override;
    void cancel() override;

private:
    [[nodiscard]] bool hasOurDaemonFile() const;

    Resolver m_resolver;
    QString m_daemonFile;
    // What the name resolved to when it was last asked; shared with those who still ask when this object goes.
    std::shared_ptr<std::optional<bool>> m_answer = std::make_shared<std::optional<bool>>();
};

} // namespace quillmount
