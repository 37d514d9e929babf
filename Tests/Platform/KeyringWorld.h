// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>

namespace quillmount {

// A session of its own: a bus and a keyring program in a temporary home, and another client of theirs. While it lives,
// this process's environment leads to it. The two programs end with it, and with this process however that ends.
class KeyringWorld : private QDBusVirtualObject {
public:
    using Attributes = QMap<QString, QString>;

    KeyringWorld();
    ~KeyringWorld() override;
    Q_DISABLE_COPY_MOVE(KeyringWorld)

    // Each is false when it was not done in good time.
    [[nodiscard]] bool startBus();
    [[nodiscard]] bool startKeyring();
    // A keyring program that has not been told any password: it has no collection to keep things in.
    [[nodiscard]] bool startEmptyKeyring();

    void killBus();
    void killKeyring();
    // A stopped program keeps its name on the bus and answers nothing.
    void signalKeyring(int signal) const;

    // How many programs are connected to the bus, this world's client included.
    [[nodiscard]] int connections() const;
    // How often the keyring program has wanted a dialog to be shown.
    [[nodiscard]] int prompts() const { return m_prompts; }

    // What another program does.
    [[nodiscard]] bool addItem(const Attributes &attributes, const QByteArray &data);
    // What everybody can see of the items with these attributes: all their attributes, and the label as "label".
    [[nodiscard]] QList<Attributes> items(const Attributes &attributes) const;
    [[nodiscard]] bool lock();
    void askToUnlock();

    // Where the socket of the bus is.
    [[nodiscard]] QString runtimeFolder() const { return m_root.filePath(QStringLiteral("run")); }

private:
    // Counts the requests of the keyring program for dialogs.
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;
    [[nodiscard]] QString introspect(const QString &) const override { return {}; }

    [[nodiscard]] bool startKeyring(const QStringList &options);
    QVariantList call(const QString &path, const QString &interface, const QString &method,
                      const QVariantList &arguments) const;

    QTemporaryDir m_root;
    QProcess m_bus;
    QProcess m_keyring;
    QDBusConnection m_client;
    QDBusObjectPath m_session;
    int m_prompts = 0;
};

} // namespace quillmount
