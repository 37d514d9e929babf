// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QStringList>

#include <memory>

namespace quillmount {

class MountWatch;
class VolumeSetup;

// The mount of the drive: made, watched and taken away. It knows nothing of the engine behind it.
class DriveMount : public QObject {
    Q_OBJECT

public:
    // `volumeSetup` outlives this object.
    explicit DriveMount(VolumeSetup &volumeSetup, QObject *parent = nullptr);
    ~DriveMount() override;
    Q_DISABLE_COPY_MOVE(DriveMount)

    // Where it is or, between `freePoint` and `settlePoint`, would be: setting the drive up as a location moves it.
    [[nodiscard]] QString point() const;
    // Decides it for the engine that is about to be launched, whatever is set up from now on.
    void settlePoint();
    // Its engine is gone. Without effect as long as the mount is still there.
    void freePoint();
    // What somebody else has mounted there does not count: it is not ours to use or to take away.
    [[nodiscard]] bool isMounted() const;
    // Something of the user's own is there.
    [[nodiscard]] bool isPointTaken() const;
    // Mounted, and by an `attach` of ours.
    [[nodiscard]] bool isAttached() const { return m_isAttached && isMounted(); }

    // Before a launch: takes away the mount and the engines that an earlier run left. Blocks, in the worst case for
    // about 45 seconds. `binary` is the engine's executable.
    void clearLeftovers(const QString &binary);
    // The same on threads and for every place, while the drive itself has no engine. `binary` may be empty.
    [[nodiscard]] QCoro::Task<> endFormerRun(QString binary);
    // The places at which a drive of ours is mounted, the one of the drive itself or another.
    [[nodiscard]] QStringList mountedPoints() const;
    // Makes what the drive can be mounted on. False when it must not be mounted there. Blocks, at most for 5 seconds.
    [[nodiscard]] bool prepareMountPoint();

    // Runs the mount command for the server on this port. True when it succeeded; the mount may be listed only later.
    [[nodiscard]] QCoro::Task<bool> attach(quint16 port);

    // From now on `lost` tells of the mount's end, once.
    void watch();
    void stopWatching();
    // Continues a process that serves the mount and was stopped.
    void tend();

    // Takes the mount away if nobody uses it. If it stays, `lost` goes on to tell of its end.
    [[nodiscard]] QCoro::Task<> release();
    // Takes the mount away whoever uses it, such that what was written into it reaches the engine first: to be done
    // before the engine is asked to end. Also ends a mount command that is under way.
    [[nodiscard]] QCoro::Task<> remove();
    // The same, blocking, at most for about 15 seconds.
    void removeNow();
    // Takes it away at once. For a mount behind which nobody is left to take what was written.
    void force();

Q_SIGNALS:
    // Files were found in the bare mount point and moved to `path`.
    void filesSetAside(const QString &path);
    // Something of the user's own stands at `path`, the mount point, and stays as it is.
    void pointTaken(const QString &path);
    // The mount is gone, or the process that served it while it is still listed.
    void lost(bool stillListed);

private:
    [[nodiscard]] bool prepareInstalledPoint();
    void tellOfFilesSetAside(const QString &path);

    VolumeSetup &m_volumeSetup;
    QString m_point; // empty while it is not settled
    std::unique_ptr<MountWatch> m_watch;
    int m_attaching = 0; // mount commands under way
    bool m_isAttached = false;
};

} // namespace quillmount
