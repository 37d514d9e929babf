// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QUrl>
#include <QVariantMap>

class QQuickView;

namespace quillmount {

// Loads a view into a window that sizes it. A view that cannot be loaded is a mistake of the program and ends it.
void loadView(QQuickView &window, const QUrl &view, const QVariantMap &properties);

} // namespace quillmount
