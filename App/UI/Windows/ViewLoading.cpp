// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Windows/ViewLoading.h"

#include <QQmlError>
#include <QQuickView>

namespace quillmount {

void loadView(QQuickView &window, const QUrl &view, const QVariantMap &properties) {
    window.setResizeMode(QQuickView::SizeRootObjectToView);
    window.setInitialProperties(properties);
    window.setSource(view);
    if (window.rootObject())
        return;
    const QList<QQmlError> errors = window.errors();
    for (const QQmlError &error : errors)
        qCritical("%s", qUtf8Printable(error.toString()));
    qFatal("A view of the application could not be loaded.");
}

} // namespace quillmount
