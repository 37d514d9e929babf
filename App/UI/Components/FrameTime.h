// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QPointer>
#include <QQuickItem>

#include <memory>

class QAbstractAnimation;

namespace quillmount {

class Motion;

// The time by which things move: seconds since they began. It stands still, and costs nothing, while the window around
// it is hidden or covered, the item is invisible, or the user wants no motion.
class FrameTime : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    // Whether there is anything to move.
    Q_PROPERTY(bool wanted READ isWanted WRITE setWanted NOTIFY wantedChanged FINAL)
    // 0 while nothing is wanted, or motion is reduced.
    Q_PROPERTY(double seconds READ seconds NOTIFY secondsChanged FINAL)

public:
    explicit FrameTime(QQuickItem *parent = nullptr);
    ~FrameTime() override;
    Q_DISABLE_COPY_MOVE(FrameTime)

    [[nodiscard]] bool isWanted() const { return m_isWanted; }
    void setWanted(bool wanted);
    [[nodiscard]] double seconds() const;
    // For pictures of a moment: what `seconds` says until time goes on.
    void setSeconds(double seconds);
    [[nodiscard]] bool isRunning() const;

    bool eventFilter(QObject *watched, QEvent *event) override;

Q_SIGNALS:
    void wantedChanged();
    void secondsChanged();

protected:
    void componentComplete() override;
    void itemChange(ItemChange change, const ItemChangeData &data) override;

private:
    [[nodiscard]] bool mayMove() const;
    void refresh();

    bool m_isWanted = false;
    double m_seconds = 0;
    QPointer<Motion> m_motion;
    QPointer<QQuickWindow> m_window;
    std::unique_ptr<QAbstractAnimation> m_ticker;
};

} // namespace quillmount
