// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/DriveState.h"

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>

namespace quillmount {

// The first three uploads, in the engine's order. A row stays the same one for as long as its upload runs, whatever
// happens around it.
class TransferListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the panel")
    Q_PROPERTY(bool shown READ isShown NOTIFY shownChanged FINAL)

public:
    enum Role {
        transferId = Qt::UserRole,
        name,     // in one line, without control characters
        fraction, // 0 to 1
        percentText,
        spokenText, // the whole row for a screen reader
    };
    static constexpr int maxRows = 3;

    using QAbstractListModel::QAbstractListModel;

    void update(const QList<DriveTransfer> &transfers);

    // False when nothing is uploaded. The last rows are kept meanwhile, so that they can fade out.
    [[nodiscard]] bool isShown() const { return m_isShown; }
    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(m_transfers.size());
    }
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void shownChanged();

private:
    void take(const QList<DriveTransfer> &wanted);
    void removeMissing(const QList<DriveTransfer> &wanted);

    QList<DriveTransfer> m_transfers;
    bool m_isShown = false;
};

} // namespace quillmount
