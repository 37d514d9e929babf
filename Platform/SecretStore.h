// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace quillmount {

// Small secrets in the place where the system keeps the user's passwords. An item is named by a service and an account;
// these two are lookup keys that others may read, the data is not. Every call may be made from any thread, answers
// within a few seconds whatever state the system is in, and never shows the user a dialog: what would need one
// counts as not there.
class SecretStore {
public:
    struct Lookup {
        std::optional<QByteArray> data;
        // Without data: that there is no such item. False when that is not known, because items are locked, or the
        // system's store is missing or does not answer.
        bool isCertain = false;
    };

    virtual ~SecretStore() = default;

    // The data of one item of this name, the newest when there are several.
    [[nodiscard]] virtual Lookup find(const QString &service, const QString &account) = 0;

    // Removes every item of this name. False when one may be left; that none was there is no failure.
    virtual bool remove(const QString &service, const QString &account) = 0;

    // Keeps `data` under this name, to be readable from the time the user logs in. An item of the same name gives way
    // where the system's store can tell. False when nothing was kept.
    virtual bool add(const QString &service, const QString &account, const QByteArray &data) = 0;
};

} // namespace quillmount
