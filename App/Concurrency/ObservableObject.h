// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>

#include <utility>

namespace quillmount {

// An object with published properties: each assignment, also of an equal value, is announced before it is made, and
// the property's own signal follows it.
class ObservableObject : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

Q_SIGNALS:
    // Some published property is about to change; its old value can still be read.
    void objectWillChange();

protected:
    template <typename Owner, typename T, typename Value>
    void publish(Owner *owner, T &property, Value &&value, void (Owner::*changed)()) {
        Q_EMIT objectWillChange();
        property = std::forward<Value>(value);
        Q_EMIT(owner->*changed)();
    }
};

} // namespace quillmount
