// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SecretStore.h"

#include <QList>

#include <mutex>

namespace quillmount {

// A list of items. It adds without looking, so that an item which was not removed shows.
class MemorySecretStore final : public SecretStore {
public:
    struct Item {
        QString service;
        QString account;
        QByteArray data;
        bool operator==(const Item &) const = default;
    };

    [[nodiscard]] Lookup find(const QString &service, const QString &account) override {
        const std::lock_guard guard(m_mutex);
        if (m_isLocked)
            return {};
        for (auto item = m_items.crbegin(); item != m_items.crend(); ++item)
            if (item->service == service && item->account == account)
                return {item->data, true};
        return {std::nullopt, true};
    }
    bool remove(const QString &service, const QString &account) override {
        const std::lock_guard guard(m_mutex);
        if (m_isLocked)
            return false;
        m_items.removeIf([&](const Item &item) { return item.service == service && item.account == account; });
        return true;
    }
    bool add(const QString &service, const QString &account, const QByteArray &data) override {
        const std::lock_guard guard(m_mutex);
        if (m_isLocked)
            return false;
        m_items.append({service, account, data});
        return true;
    }

    void setLocked(bool locked) {
        const std::lock_guard guard(m_mutex);
        m_isLocked = locked;
    }
    // Oldest first.
    [[nodiscard]] QList<Item> items() const {
        const std::lock_guard guard(m_mutex);
        return m_items;
    }

private:
    mutable std::mutex m_mutex;
    QList<Item> m_items;
    bool m_isLocked = false;
};

} // namespace quillmount
