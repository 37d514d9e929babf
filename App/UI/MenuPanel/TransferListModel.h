// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/DriveState.h"

#include <QAbstractListModel>

namespace quillmount {

// The first three uploads, in the engine's order. A row stays the same one for as long as its upload runs, whatever
// happens around it.
class TransferListModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        transferId = Qt::UserRole,
        name,       // in one line, without control characters
        percent,    // 0 to 100
        spokenText, // the whole row for a screen reader
    };
    static constexpr int maxRows = 3;

    using QAbstractListModel::QAbstractListModel;

    void update(const QList<DriveTransfer> &transfers);

    [[nodiscard]] int count() const { return static_cast<int>(m_transfers.size()); }
    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override { return parent.isValid() ? 0 : count(); }
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void countChanged();

private:
    void removeMissing(const QList<DriveTransfer> &wanted);

    QList<DriveTransfer> m_transfers;
};

} // namespace quillmount
