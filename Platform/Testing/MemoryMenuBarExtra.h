// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/MenuBarExtra.h"

namespace quillmount {

// Remembers what it would show, in a bar that is there at first. A test sends the other signals itself.
class MemoryMenuBarExtra final : public MenuBarExtra {
public:
    [[nodiscard]] bool isAvailable() const override { return m_isAvailable; }
    void setImage(const QList<QImage> &sizes) override { change(m_images, sizes); }
    void setToolTip(const QString &text, const QString &detail) override {
        change(m_toolTip, QStringList({text, detail}));
    }
    void setMenu(const QList<MenuItem> &items) override { change(m_menu, items); }
    void hide() override { m_isHidden = true; }

    void setAvailable(bool isAvailable) {
        m_isAvailable = isAvailable;
        Q_EMIT availableChanged();
    }

    [[nodiscard]] const QList<QImage> &images() const { return m_images; }
    // The two lines.
    [[nodiscard]] const QStringList &toolTip() const { return m_toolTip; }
    [[nodiscard]] const QList<MenuItem> &menu() const { return m_menu; }
    [[nodiscard]] bool isHidden() const { return m_isHidden; }
    // How many calls had something new for the bar.
    [[nodiscard]] int changes() const { return m_changes; }

private:
    template <typename T>
    void change(T &present, const T &wanted) {
        if (present == wanted)
            return;
        present = wanted;
        ++m_changes;
    }

    QList<QImage> m_images;
    QStringList m_toolTip;
    QList<MenuItem> m_menu;
    bool m_isAvailable = true;
    bool m_isHidden = false;
    int m_changes = 0;
};

} // namespace quillmount
