// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/MenuPanelModel.h"

#include "App/UI/MenuPanel/LiveBodyModel.h"
#include "App/UI/MenuPanel/StatusBodyModel.h"

#include <QAccessible>

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
    replaceBody(drive);
}

void MenuPanelModel::update(const DriveSnapshot &drive) {
    if (std::exchange(m_state, drive.state) == drive.state)
        body()->update(drive);
    else
        replaceBody(drive);
    const StatusPillContent pill = StatusPillContent::of(drive);
    if (std::exchange(m_pill, pill) != pill)
        Q_EMIT pillChanged();
    if (std::exchange(m_email, drive.email) != drive.email)
        Q_EMIT emailChanged();
    // Last: whoever looks now finds the new content.
    const QString key = keyOf(drive);
    if (std::exchange(m_stateKey, key) != key)
        Q_EMIT stateKeyChanged();
}

void MenuPanelModel::replaceBody(const DriveSnapshot &drive) {
    if (body())
        body()->retire();
    m_current = 1 - m_current;
    PanelBodyModel *next = nullptr;
    if (drive.isLive()) {
        auto *live = new LiveBodyModel(drive, this);
        connect(live, &LiveBodyModel::revealRequested, this, &MenuPanelModel::revealRequested);
        next = live;
    } else {
        next = new StatusBodyModel(drive, this);
    }
    connect(next, &PanelBodyModel::actionRequested, this, &MenuPanelModel::actionRequested);
    PanelBodyModel *const beforeLast = std::exchange(m_bodies[m_current], next);
    Q_EMIT bodiesChanged();
    if (beforeLast)
        beforeLast->deleteLater();
}

void MenuPanelModel::announce(QObject *item) {
    QAccessibleEvent event(item, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace quillmount
