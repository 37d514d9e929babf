// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/FrameTime.h"

#include "App/UI/Components/Motion.h"

#include <QAbstractAnimation>
#include <QEvent>
#include <QQuickWindow>

namespace quillmount {

namespace {

// A multiple of the time that anything here takes to come round.
constexpr int millisecondsPerLoop = 3'600'000;

class Ticker final : public QAbstractAnimation {
public:
    explicit Ticker(FrameTime &time)
        : m_time(time) {
        setLoopCount(-1);
    }

    [[nodiscard]] int duration() const override { return millisecondsPerLoop; }

protected:
    void updateCurrentTime(int milliseconds) override { m_time.setSeconds(milliseconds / 1000.0); }

private:
    FrameTime &m_time;
};

} // namespace

FrameTime::FrameTime(QQuickItem *parent)
    : QQuickItem(parent)
    , m_ticker(std::make_unique<Ticker>(*this)) {}

FrameTime::~FrameTime() = default;

void FrameTime::componentComplete() {
    QQuickItem::componentComplete();
    m_motion = &Motion::of(*this);
    connect(m_motion, &Motion::reduceMotionChanged, this, &FrameTime::refresh);
    refresh();
}

void FrameTime::setWanted(bool wanted) {
    if (std::exchange(m_isWanted, wanted) == wanted)
        return;
    Q_EMIT wantedChanged();
    refresh();
}

double FrameTime::seconds() const {
    return mayMove() ? m_seconds : 0;
}

void FrameTime::setSeconds(double seconds) {
    m_seconds = seconds;
    Q_EMIT secondsChanged();
}

bool FrameTime::isRunning() const {
    return m_ticker->state() == QAbstractAnimation::Running;
}

bool FrameTime::mayMove() const {
    return m_isWanted && m_motion && !m_motion->reduceMotion();
}

void FrameTime::refresh() {
    const bool runs = mayMove() && isVisible() && m_window && m_window->isVisible() && m_window->isExposed();
    if (runs == isRunning())
        return;
    if (runs)
        m_ticker->start();
    else
        m_ticker->stop();
    Q_EMIT secondsChanged();
}

void FrameTime::itemChange(ItemChange change, const ItemChangeData &data) {
    QQuickItem::itemChange(change, data);
    if (change == ItemSceneChange) {
        if (m_window)
            m_window->removeEventFilter(this);
        m_window = data.window;
        if (m_window)
            m_window->installEventFilter(this);
    }
    if (change == ItemSceneChange || change == ItemVisibleHasChanged)
        refresh();
}

bool FrameTime::eventFilter(QObject *watched, QEvent *event) {
    // A window learns of its exposure after its filters have seen the event.
    if (event->type() == QEvent::Expose || event->type() == QEvent::Show || event->type() == QEvent::Hide)
        QMetaObject::invokeMethod(this, &FrameTime::refresh, Qt::QueuedConnection);
    return QQuickItem::eventFilter(watched, event);
}

} // namespace quillmount
