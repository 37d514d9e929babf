// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/DriveSnapshot.h"
#include "App/UI/MenuPanel/PanelAction.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace quillmount {

// What one body of the panel shows. A body that is replaced keeps what it showed while it fades out, and its buttons do
// nothing any more.
class PanelBodyModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the panel")
    Q_PROPERTY(QString view READ view CONSTANT FINAL)
    Q_PROPERTY(QString origin READ origin CONSTANT FINAL)
    Q_PROPERTY(QString headline READ headline NOTIFY contentChanged FINAL)

public:
    using QObject::QObject;

    // The file of the view that shows it, which takes it as its `body`.
    [[nodiscard]] virtual QString view() const = 0;
    // The left end of the route.
    [[nodiscard]] QString origin() const { return QStringLiteral("Mac"); }
    [[nodiscard]] virtual QString headline() const = 0;
    // Shows the drive as it is now.
    virtual void update(const DriveSnapshot &drive) = 0;

    // Another body takes its place.
    void retire() { m_isCurrent = false; }

Q_SIGNALS:
    void contentChanged();
    // What it shows is of another kind now, and not only in its figures.
    void kindChanged();
    void actionRequested(quillmount::PanelAction action);

protected:
    [[nodiscard]] bool isCurrent() const { return m_isCurrent; }
    void perform(PanelAction action) {
        if (m_isCurrent)
            Q_EMIT actionRequested(action);
    }

private:
    bool m_isCurrent = true;
};

} // namespace quillmount
