// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>

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
    // Makes one assignment: `assign` changes the property whose own signal is `changed`.
    template <typename Owner, typename Assign>
    void publish(Owner *owner, void (Owner::*changed)(), Assign &&assign) {
        Q_EMIT objectWillChange();
        assign();
        Q_EMIT(owner->*changed)();
    }
};

} // namespace quillmount
