// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>
#include <QString>

#include <optional>

namespace quillmount {

// Short texts among the user's passwords, by name ("installID", "installToken"). There are no errors: what cannot be
// read is not there, and what cannot be written leaves no item.
namespace Keychain {

struct Lookup {
    std::optional<QString> value;
    // Without a value: that there is none, and not only no answer.
    bool isCertain = false;
};

// The system may keep its caller for seconds, so both ask it on a thread. They are made on the main thread, and resume
// there.
[[nodiscard]] QCoro::Task<Lookup> find(QString account);
[[nodiscard]] QCoro::Task<> store(std::optional<QString> value, QString account);

// The same for those who can wait, on any thread.
[[nodiscard]] std::optional<QString> get(const QString &account);
// Absent removes the item. Never a change in place: between the removal and the new item, `get` on another thread can
// see none.
void set(const std::optional<QString> &value, const QString &account);

} // namespace Keychain
} // namespace quillmount
