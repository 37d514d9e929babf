// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QAccessible>
#include <QStringList>

namespace quillmount {

// The names below this one of what is to be seen, as a screen reader meets them.
inline QStringList spokenTree(QAccessibleInterface *node) {
    QStringList names;
    for (int i = 0; i < node->childCount(); ++i) {
        QAccessibleInterface *child = node->child(i);
        if (child->state().invisible)
            continue;
        if (const QString name = child->text(QAccessible::Name); !name.isEmpty())
            names.append(name);
        names += spokenTree(child);
    }
    return names;
}

} // namespace quillmount
