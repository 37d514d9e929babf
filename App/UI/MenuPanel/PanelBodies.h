// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/PanelBodyModel.h"

#include <QAbstractListModel>

namespace quillmount {

// The bodies that the panel shows one above the other: the present one, and before it the one that it has replaced, for
// as long as that may still fade out. A row's body never changes.
class PanelBodies : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the panel")
    Q_PROPERTY(bool isFirst READ isFirst NOTIFY replaced FINAL)

public:
    enum Role {
        body = Qt::UserRole,
        isCurrent,
    };

    using QAbstractListModel::QAbstractListModel;

    // Null before the first.
    [[nodiscard]] PanelBodyModel *current() const { return m_bodies.isEmpty() ? nullptr : m_bodies.last(); }
    // Whether the present body has replaced none, and so simply is there.
    [[nodiscard]] bool isFirst() const { return m_bodies.size() < 2; }
    // Takes the body over as its own.
    void replaceBy(PanelBodyModel *next);

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(m_bodies.size());
    }
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override {
        return {{body, "body"}, {isCurrent, "isCurrent"}};
    }

Q_SIGNALS:
    void replaced();

private:
    QList<PanelBodyModel *> m_bodies;
};

} // namespace quillmount
