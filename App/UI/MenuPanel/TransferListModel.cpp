// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/TransferListModel.h"

#include <algorithm>
#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

// A name as one line of text: whoever named the file may have put in what moves or turns the text around it.
QString displayName(QString name) {
    for (QChar &character : name) {
        const char16_t code = character.unicode();
        const bool turnsText = (code >= u'\u202a' && code <= u'\u202e') || (code >= u'\u2066' && code <= u'\u2069');
        const QChar::Category category = character.category();
        if (turnsText || category == QChar::Other_Control || category == QChar::Separator_Line ||
            category == QChar::Separator_Paragraph)
            character = u'\ufffd';
    }
    return name;
}

auto sameUpload(const QString &id) {
    return [id](const DriveTransfer &transfer) { return transfer.id == id; };
}

} // namespace

void TransferListModel::update(const QList<DriveTransfer> &transfers) {
    QList<DriveTransfer> wanted;
    for (const DriveTransfer &transfer : transfers)
        if (wanted.size() < maxRows && std::ranges::none_of(wanted, sameUpload(transfer.id)))
            wanted.append(transfer);
    if (!wanted.isEmpty())
        take(wanted);
    if (std::exchange(m_isShown, !wanted.isEmpty()) != m_isShown)
        Q_EMIT shownChanged();
}

void TransferListModel::take(const QList<DriveTransfer> &wanted) {
    removeMissing(wanted);
    for (int row = 0; row < wanted.size(); ++row) {
        const auto found = std::find_if(m_transfers.cbegin() + row, m_transfers.cend(), sameUpload(wanted[row].id));
        const int from = static_cast<int>(found - m_transfers.cbegin());
        if (found == m_transfers.cend()) {
            beginInsertRows({}, row, row);
            m_transfers.insert(row, wanted[row]);
            endInsertRows();
            continue;
        }
        if (from != row) {
            beginMoveRows({}, from, from, {}, row);
            m_transfers.move(from, row);
            endMoveRows();
        }
        if (m_transfers[row] != wanted[row]) {
            m_transfers[row] = wanted[row];
            Q_EMIT dataChanged(index(row), index(row));
        }
    }
}

void TransferListModel::removeMissing(const QList<DriveTransfer> &wanted) {
    for (int row = rowCount() - 1; row >= 0; --row) {
        if (std::ranges::any_of(wanted, sameUpload(m_transfers[row].id)))
            continue;
        beginRemoveRows({}, row, row);
        m_transfers.removeAt(row);
        endRemoveRows();
    }
}

QVariant TransferListModel::data(const QModelIndex &index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const DriveTransfer &transfer = m_transfers[index.row()];
    switch (role) {
    case transferId:
        return transfer.id;
    case name:
        return displayName(transfer.name);
    case fraction:
        return transfer.percent / 100.0;
    case percentText:
        return QString(QString::number(transfer.percent) + u'%');
    case spokenText:
        return QString(u"Uploading "_s + displayName(transfer.name) + u", "_s + QString::number(transfer.percent) +
                       u" percent"_s);
    default:
        return {};
    }
}

QHash<int, QByteArray> TransferListModel::roleNames() const {
    return {{transferId, "transferId"},
            {name, "name"},
            {fraction, "fraction"},
            {percentText, "percentText"},
            {spokenText, "spokenText"}};
}

} // namespace quillmount
