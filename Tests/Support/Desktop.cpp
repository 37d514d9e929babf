// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Support/Desktop.h"

namespace quillmount {

using namespace Qt::StringLiterals;

Desktop::Desktop(Bar bar) {
    m_script.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_script.start(QStringLiteral(DESKTOP_SCRIPT), bar == Bar::there ? QStringList() : QStringList(u"--no-bar"_s));
    for (QByteArray line = readLine(); line != "ready"; line = readLine()) {
        const qsizetype sign = line.indexOf('=');
        if (sign < 0)
            qFatal("the desktop does not start: %s", line.constData());
        m_variables.insert(QString::fromLocal8Bit(line.first(sign)), QString::fromLocal8Bit(line.mid(sign + 1)));
    }
}

Desktop::~Desktop() {
    QDBusConnection::disconnectFromBus(m_variables.value(u"DBUS_SESSION_BUS_ADDRESS"_s));
    m_script.closeWriteChannel();
    if (!m_script.waitForFinished())
        qWarning("the desktop does not end");
}

void Desktop::addTo(QProcessEnvironment &environment) const {
    for (const QString &elsewhere : {u"WAYLAND_DISPLAY"_s, u"SESSION_MANAGER"_s, u"XDG_CURRENT_DESKTOP"_s})
        environment.remove(elsewhere);
    environment.insert(m_variables);
    environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
}

void Desktop::exportEnvironment() const {
    for (const char *elsewhere : {"WAYLAND_DISPLAY", "SESSION_MANAGER", "XDG_CURRENT_DESKTOP"})
        qunsetenv(elsewhere);
    for (const QString &name : m_variables.keys())
        qputenv(name.toLocal8Bit().constData(), m_variables.value(name).toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "xcb");
}

QDBusConnection Desktop::bus() const {
    const QString address = m_variables.value(u"DBUS_SESSION_BUS_ADDRESS"_s);
    return QDBusConnection::connectToBus(address, address);
}

void Desktop::setBar(Bar bar) {
    m_script.write(bar == Bar::there ? "bar on\n" : "bar off\n");
    if (readLine() != "done")
        qFatal("the desktop's bar does not obey");
}

QImage Desktop::screenshot() const {
    QByteArray image;
    run(u"import"_s, {u"-window"_s, u"root"_s, u"png:-"_s}, &image);
    return QImage::fromData(image, "PNG").convertToFormat(QImage::Format_RGB32);
}

QPoint Desktop::centreOf(QRgb colour) const {
    const QImage screen = screenshot();
    QPoint sum;
    int count = 0;
    for (int y = 0; y < screen.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(screen.constScanLine(y));
        for (int x = 0; x < screen.width(); ++x) {
            if (line[x] != colour)
                continue;
            sum += QPoint(x, y);
            ++count;
        }
    }
    return count > 0 ? sum / count : QPoint();
}

void Desktop::click(const QPoint &position, int button) const {
    run(u"xdotool"_s, {u"mousemove"_s, QString::number(position.x()), QString::number(position.y()), u"click"_s,
                       QString::number(button)});
}

void Desktop::movePointer(const QPoint &position) const {
    run(u"xdotool"_s, {u"mousemove"_s, QString::number(position.x()), QString::number(position.y())});
}

void Desktop::press(const QString &key) const {
    run(u"xdotool"_s, {u"key"_s, key});
}

void Desktop::run(const QString &program, const QStringList &arguments, QByteArray *output) const {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    addTo(environment);
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    if (!process.waitForFinished() || process.exitCode() != 0)
        qFatal("%s fails", qPrintable(program));
    if (output)
        *output = process.readAllStandardOutput();
}

QByteArray Desktop::readLine() {
    while (!m_script.canReadLine())
        if (!m_script.waitForReadyRead())
            return "no answer";
    return m_script.readLine().trimmed();
}

} // namespace quillmount
