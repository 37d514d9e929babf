// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Settings/GeneralSettingsModel.h"

#include "App/Support/LoginItem.h"
#include "App/Support/Preferences.h"
#include "App/Support/Support.h"

#include <algorithm>
#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

GeneralSettingsModel::GeneralSettingsModel(QObject *parent)
    : QObject(parent)
    , m_opensAtLogin(LoginItem::isEnabled()) {
    readCacheSize();
}

void GeneralSettingsModel::appear() {
    readCacheSize();
    // Announced even when equal: the switch may show what could not be stored.
    m_opensAtLogin = LoginItem::isEnabled();
    Q_EMIT opensAtLoginChanged();
}

void GeneralSettingsModel::readCacheSize() {
    const qint64 size = Preferences::cacheSizeGB();
    QList<qint64> sizes{5, 10, 20, 50, 100};
    if (!sizes.contains(size))
        sizes.insert(std::ranges::upper_bound(sizes, size), size);
    if (std::exchange(m_sizes, sizes) != sizes)
        Q_EMIT cacheSizesChanged();
    m_size = size;
    Q_EMIT cacheSizeRowChanged();
}

QStringList GeneralSettingsModel::cacheSizes() const {
    QStringList rows;
    for (const qint64 size : m_sizes)
        rows.append(u"Up to %1 GB"_s.arg(size));
    return rows;
}

int GeneralSettingsModel::cacheSizeRow() const {
    return static_cast<int>(m_sizes.indexOf(m_size));
}

QString GeneralSettingsModel::cacheFooter() const {
    return u"Files you've used recently stay on your Mac so they open instantly, up to this limit. Everything else lives only on Google Drive. Quillmount always leaves at least 5 GB of your disk free."_s;
}

QString GeneralSettingsModel::supportTitle() const {
    return u"Email "_s + Support::address();
}

void GeneralSettingsModel::chooseCacheSize(int row) {
    if (row < 0 || row >= m_sizes.size() || m_sizes[row] == m_size)
        return;
    m_size = m_sizes[row];
    Preferences::setCacheSizeGB(m_size);
    Q_EMIT cacheSizeRowChanged();
    Q_EMIT cacheSizeChosen();
}

void GeneralSettingsModel::setOpensAtLogin(bool opens) {
    // What the user wants is shown until the tab is seen the next time, also when it could not be done.
    m_opensAtLogin = opens;
    LoginItem::set(opens);
    Q_EMIT opensAtLoginChanged();
}

void GeneralSettingsModel::setLocation(const Location &location) {
    if (std::exchange(m_location, location) != location)
        Q_EMIT locationChanged();
}

} // namespace quillmount
