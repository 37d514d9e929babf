// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Appearance.h"

#include <QColor>
#include <QPalette>
#include <QtQml/qqmlregistration.h>

class QJSEngine;
class QQmlEngine;

namespace quillmount {

// Every colour of the application, resolved for the present appearance and again whenever that changes.
class Palette : public QObject {
    Q_OBJECT
    // QtQuick has a Palette already, which QML would take.
    QML_NAMED_ELEMENT(Colors)
    QML_SINGLETON
    Q_PROPERTY(QColor route READ route NOTIFY changed FINAL)
    Q_PROPERTY(QColor action READ action NOTIFY changed FINAL)
    Q_PROPERTY(QColor transit READ transit NOTIFY changed FINAL)
    Q_PROPERTY(QColor fault READ fault NOTIFY changed FINAL)
    Q_PROPERTY(QColor band READ band NOTIFY changed FINAL)
    Q_PROPERTY(QColor bandText READ bandText CONSTANT FINAL)
    Q_PROPERTY(QColor rail READ rail NOTIFY changed FINAL)
    Q_PROPERTY(QColor station READ station NOTIFY changed FINAL)
    Q_PROPERTY(QColor stored READ stored NOTIFY changed FINAL)
    Q_PROPERTY(QColor windowBackground READ windowBackground NOTIFY changed FINAL)
    Q_PROPERTY(QColor primary READ primary NOTIFY changed FINAL)
    Q_PROPERTY(QColor secondary READ secondary NOTIFY changed FINAL)
    Q_PROPERTY(QColor hairline READ hairline NOTIFY changed FINAL)
    Q_PROPERTY(QColor tertiary READ tertiary NOTIFY changed FINAL)
    Q_PROPERTY(QColor destructive READ destructive NOTIFY changed FINAL)
    Q_PROPERTY(QColor card READ card NOTIFY changed FINAL)
    Q_PROPERTY(QColor veil READ veil NOTIFY changed FINAL)
    Q_PROPERTY(QColor knobEdge READ knobEdge CONSTANT FINAL)
    Q_PROPERTY(QColor bandEdge READ bandEdge CONSTANT FINAL)
    Q_PROPERTY(QColor pill READ pill CONSTANT FINAL)
    Q_PROPERTY(QColor pillText READ pillText CONSTANT FINAL)
    Q_PROPERTY(QColor buttonText READ buttonText CONSTANT FINAL)

public:
    // `appearance` has to outlive it.
    explicit Palette(const Appearance &appearance, QObject *parent = nullptr);
    // The engine's own, of the installed platform.
    static Palette *create(QQmlEngine *engine, QJSEngine *);
    // The one that the QML around this object sees.
    [[nodiscard]] static Palette &of(const QObject &object);

    [[nodiscard]] QColor route() const { return dynamic(0x00875A, 0x1FB57A); }
    [[nodiscard]] QColor action() const { return dynamic(0x00875A, 0x007A52); }
    [[nodiscard]] QColor transit() const { return dynamic(0xC98A00, 0xF2A900); }
    [[nodiscard]] QColor fault() const { return dynamic(0xC81E33, 0xFF5A6E); }
    [[nodiscard]] QColor band() const { return dynamic(0x111214, 0x000000); }
    [[nodiscard]] static QColor bandText() { return Qt::white; }
    [[nodiscard]] QColor rail() const { return dynamic(0xD9DCE0, 0x3A3D42); }
    [[nodiscard]] QColor station() const { return dynamic(0x111214, 0xF4F5F6); }
    // What the local cache holds.
    [[nodiscard]] QColor stored() const { return faint(station(), 0.7); }

    // The desktop theme's own colours, where they suit the appearance and leave a link legible; fixed ones otherwise.
    [[nodiscard]] QColor windowBackground() const;
    [[nodiscard]] QColor primary() const;
    [[nodiscard]] QColor secondary() const;
    [[nodiscard]] QColor tertiary() const { return faint(secondary(), 0.85); }
    [[nodiscard]] QColor hairline() const { return faint(primary(), 0.08); }
    // The fill of a button for what cannot be undone; `buttonText` is legible on it.
    [[nodiscard]] QColor destructive() const { return dynamic(0xC81E33, 0xB8293D); }
    // Behind a group of rows, or a text that scrolls.
    [[nodiscard]] QColor card() const { return faint(primary(), 0.04); }
    // Over what a sheet stands in front of.
    [[nodiscard]] QColor veil() const { return isDark() ? faint(Qt::black, 0.6) : faint(Qt::black, 0.3); }
    // Around the knob of a switch.
    [[nodiscard]] static QColor knobEdge() { return faint(Qt::black, 0.1); }

    // On the band: the line along its lower edge, and the pill with its text.
    [[nodiscard]] static QColor bandEdge() { return faint(Qt::white, 0.08); }
    [[nodiscard]] static QColor pill() { return faint(Qt::white, 0.08); }
    [[nodiscard]] static QColor pillText() { return faint(Qt::white, 0.9); }
    // On a primary button.
    [[nodiscard]] static QColor buttonText() { return Qt::white; }

    // The same colour, more translucent: `opacity` is multiplied with what it has.
    Q_INVOKABLE static QColor faint(QColor color, qreal opacity);

    bool eventFilter(QObject *watched, QEvent *event) override;

Q_SIGNALS:
    void changed();

private:
    [[nodiscard]] QColor dynamic(QRgb light, QRgb dark) const;
    [[nodiscard]] bool isDark() const;
    [[nodiscard]] bool themeSuits() const;

    const Appearance &m_appearance;
};

} // namespace quillmount
