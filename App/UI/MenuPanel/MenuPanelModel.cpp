// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/MenuPanelModel.h"

#include "App/UI/MenuPanel/LiveBodyModel.h"
#include "App/UI/MenuPanel/StatusBodyModel.h"

#include <QAccessible>
#include <QQuickWindow>

#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

QString keyOf(const DriveSnapshot &drive) {
    const auto text = [](bool value) { return value ? u"true"_s : u"false"_s; };
    return QStringList{drive.state.name(), text(drive.isOnline), text(drive.isBusy()), text(drive.hasErrors())}.join(
        u'-');
}

} // namespace

MenuPanelModel::MenuPanelModel(const DriveSnapshot &drive, QObject *parent)
    : QObject(parent)
    , m_state(drive.state)
    , m_stateKey(keyOf(drive))
    , m_pill(StatusPillContent::of(drive))
    , m_email(drive.email) {
    m_bodies.replaceBy(makeBody(drive));
    m_announced = m_bodies.current()->headline();
}

void MenuPanelModel::update(const DriveSnapshot &drive) {
    const bool isSameState = std::exchange(m_state, drive.state) == drive.state;
    if (isSameState)
        m_bodies.current()->update(drive);
    else
        m_bodies.replaceBy(makeBody(drive));
    const StatusPillContent pill = StatusPillContent::of(drive);
    if (std::exchange(m_pill, pill) != pill)
        Q_EMIT pillChanged();
    if (std::exchange(m_email, drive.email) != drive.email)
        Q_EMIT emailChanged();
    const QString key = keyOf(drive);
    if (std::exchange(m_stateKey, key) == key)
        return;
    Q_EMIT stateKeyChanged();
    if (isSameState)
        Q_EMIT m_bodies.current()->kindChanged();
}

PanelBodyModel *MenuPanelModel::makeBody(const DriveSnapshot &drive) {
    PanelBodyModel *body = nullptr;
    if (drive.isLive()) {
        auto *live = new LiveBodyModel(drive, this);
        connect(live, &LiveBodyModel::revealRequested, this, &MenuPanelModel::revealRequested);
        body = live;
    } else {
        body = new StatusBodyModel(drive, this);
    }
    connect(body, &PanelBodyModel::actionRequested, this, &MenuPanelModel::actionRequested);
    return body;
}

void MenuPanelModel::announce(QQuickItem *item) {
    const QString headline = m_bodies.current()->headline();
    if (!item->window() || !item->window()->isVisible() || std::exchange(m_announced, headline) == headline)
        return;
    QAccessibleEvent event(item, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace quillmount
