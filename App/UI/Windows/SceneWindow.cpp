// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Windows/SceneWindow.h"

#include "App/UI/Windows/ViewLoading.h"
#include "Platform/Platform.h"

#include <QQuickItem>
#include <QScreen>

namespace quillmount {

SceneWindow::SceneWindow(QQmlEngine &engine, const QUrl &view, const QVariantMap &properties)
    : QQuickView(&engine, nullptr) {
    loadView(*this, view, properties);
    connect(rootObject(), &QQuickItem::implicitWidthChanged, this, &SceneWindow::fitView);
    connect(rootObject(), &QQuickItem::implicitHeightChanged, this, &SceneWindow::fitView);
    fitView();
}

SceneWindow::~SceneWindow() {
    // The view goes first: what it is bound to may be going too.
    setSource({});
}

void SceneWindow::fitView() {
    const QSize size(qRound(rootObject()->implicitWidth()), qRound(rootObject()->implicitHeight()));
    setMinimumSize(size);
    setMaximumSize(size);
    resize(size);
}

void SceneWindow::open(const QByteArray &activationToken) {
    Activation &activation = *Platform::current().activation;
    if (!isVisible() && activation.placesWindows()) {
        QRect frame(QPoint(), size());
        frame.moveCenter(screen()->availableGeometry().center());
        setPosition(frame.topLeft());
    }
    show();
    activation.bringToFront(*this, activationToken);
}

void SceneWindow::hideEvent(QHideEvent *event) {
    QQuickView::hideEvent(event);
    Q_EMIT closed();
}

} // namespace quillmount
