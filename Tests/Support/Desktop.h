// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QDBusConnection>
#include <QImage>
#include <QPoint>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

namespace quillmount {

// A desktop that nobody sees, with a bar that shows menu-bar items; gone again when it is destroyed.
// Tests/Support/desktop says what it is made of.
class Desktop {
public:
    enum class Bar { there, missing };

    explicit Desktop(Bar bar = Bar::there);
    ~Desktop();
    Q_DISABLE_COPY_MOVE(Desktop)

    // Puts a program on this desktop: sets the variables by which it finds the display and the bus, and takes away what
    // would lead it elsewhere.
    void addTo(QProcessEnvironment &environment) const;
    // The same for this process, before its application object is made.
    void exportEnvironment() const;

    // Its session bus.
    [[nodiscard]] QDBusConnection bus() const;

    // Ends the bar, or starts it. Returns when it is gone, or takes items.
    void setBar(Bar bar);

    // What the screen shows, in pixels.
    [[nodiscard]] QImage screenshot() const;
    // Where on the screen most of a colour is: the middle of all pixels of exactly this colour. Null when there is
    // none.
    [[nodiscard]] QPoint centreOf(QRgb colour) const;
    void click(const QPoint &position, int button = 1) const;
    void movePointer(const QPoint &position) const;
    // A key by the name that X gives it, "Escape" or "ctrl+comma".
    void press(const QString &key) const;

private:
    void run(const QString &program, const QStringList &arguments, QByteArray *output = nullptr) const;
    [[nodiscard]] QByteArray readLine();

    QProcess m_script;
    QProcessEnvironment m_variables;
};

} // namespace quillmount
