// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Platform/KeyringWorld.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <sys/prctl.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr int timeoutMs = 10'000;

// As the service takes a secret: session, parameters, value and content type.
struct WireSecret {
    QDBusObjectPath session;
    QByteArray parameters;
    QByteArray value;
    QString contentType;
};

const auto rootPath = u"/org/freedesktop/secrets"_s;
const auto collectionPath = u"/org/freedesktop/secrets/collection/login"_s;
const auto serviceInterface = u"org.freedesktop.Secret.Service"_s;

QDBusArgument &operator<<(QDBusArgument &out, const WireSecret &secret) {
    out.beginStructure();
    out << secret.session << secret.parameters << secret.value << secret.contentType;
    out.endStructure();
    return out;
}

const QDBusArgument &operator>>(const QDBusArgument &in, WireSecret &secret) {
    in.beginStructure();
    in >> secret.session >> secret.parameters >> secret.value >> secret.contentType;
    in.endStructure();
    return in;
}

// No service files: the bus must not start programs that nobody here would end.
constexpr auto busConfiguration = R"(<busconfig>
  <type>session</type>
  <listen>unix:path=%1</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)"_L1;

void start(QProcess &process, const QString &program, const QStringList &arguments) {
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process.start(program, arguments);
}

void end(QProcess &process) {
    if (process.state() == QProcess::NotRunning)
        return;
    process.kill();
    process.waitForFinished(timeoutMs);
}

} // namespace

KeyringWorld::KeyringWorld()
    : m_client(QString()) {
    qDBusRegisterMetaType<Attributes>();
    qDBusRegisterMetaType<WireSecret>();
    QDir(m_root.path()).mkdir(u"run"_s, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

KeyringWorld::~KeyringWorld() {
    killKeyring();
    killBus();
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
}

bool KeyringWorld::startBus() {
    const QString socket = runtimeFolder() + u"/bus"_s;
    QFile configuration(m_root.filePath(u"bus.conf"_s));
    if (!configuration.open(QIODevice::WriteOnly))
        return false;
    configuration.write(QString(busConfiguration).arg(socket).toUtf8());
    configuration.close();
    QFile::remove(socket);
    start(m_bus, u"dbus-daemon"_s,
          {u"--config-file="_s + configuration.fileName(), u"--nofork"_s, u"--print-address=1"_s});
    // It says its address when it can be connected to.
    while (!m_bus.canReadLine())
        if (!m_bus.waitForReadyRead(timeoutMs))
            return false;
    const QString address = QString::fromUtf8(m_bus.readAllStandardOutput()).trimmed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
    qputenv("XDG_RUNTIME_DIR", runtimeFolder().toUtf8());
    m_client = QDBusConnection::connectToBus(address, address);
    return m_client.isConnected() && m_client.registerService(u"org.gnome.keyring.SystemPrompter"_s) &&
           m_client.registerVirtualObject(u"/org/gnome/keyring/Prompter"_s, this);
}

bool KeyringWorld::startKeyring() {
    return startKeyring({u"--unlock"_s});
}

bool KeyringWorld::startEmptyKeyring() {
    return startKeyring(QStringList());
}

bool KeyringWorld::startKeyring(const QStringList &options) {
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, m_root.path());
    for (const auto &name : {u"XDG_DATA_HOME"_s, u"XDG_CONFIG_HOME"_s, u"XDG_CACHE_HOME"_s})
        environment.insert(name, m_root.filePath(name));
    m_keyring.setProcessEnvironment(environment);
    start(m_keyring, u"gnome-keyring-daemon"_s,
          QStringList{u"--foreground"_s, u"--components=secrets"_s,
                      u"--control-directory="_s + m_root.filePath(u"control"_s)} +
              options);
    m_keyring.write("password of a test");
    m_keyring.closeWriteChannel();
    return QTest::qWaitFor(
        [&] {
            const QVariantList session = call(rootPath, serviceInterface, u"OpenSession"_s,
                                              {u"plain"_s, QVariant::fromValue(QDBusVariant(QString()))});
            const QVariantList collection = call(rootPath, serviceInterface, u"ReadAlias"_s, {u"default"_s});
            if (session.size() != 2 || collection.isEmpty())
                return false;
            m_session = session[1].value<QDBusObjectPath>();
            return options.isEmpty() || collection[0].value<QDBusObjectPath>().path() == collectionPath;
        },
        timeoutMs);
}

void KeyringWorld::killBus() {
    QDBusConnection::disconnectFromBus(m_client.name());
    m_client = QDBusConnection(QString());
    end(m_bus);
}

void KeyringWorld::killKeyring() {
    end(m_keyring);
}

void KeyringWorld::signalKeyring(int signal) const {
    ::kill(static_cast<pid_t>(m_keyring.processId()), signal);
}

int KeyringWorld::connections() const {
    const QStringList names = m_client.interface()->registeredServiceNames();
    return int(std::count_if(names.begin(), names.end(), [](const QString &name) { return name.startsWith(u':'); }));
}

QVariantList KeyringWorld::call(const QString &path, const QString &interface, const QString &method,
                                const QVariantList &arguments) const {
    auto message = QDBusMessage::createMethodCall(u"org.freedesktop.secrets"_s, path, interface, method);
    message.setArguments(arguments);
    const QDBusMessage reply = m_client.call(message, QDBus::Block, timeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments() : QVariantList();
}

bool KeyringWorld::addItem(const Attributes &attributes, const QByteArray &data) {
    const QVariantMap properties{
        {u"org.freedesktop.Secret.Item.Label"_s, u"Another program's"_s},
        {u"org.freedesktop.Secret.Item.Attributes"_s, QVariant::fromValue(attributes)},
    };
    const WireSecret secret{m_session, {}, data, u"text/plain"_s};
    return !call(collectionPath, u"org.freedesktop.Secret.Collection"_s, u"CreateItem"_s,
                 {properties, QVariant::fromValue(secret), false})
                .isEmpty();
}

QList<KeyringWorld::Attributes> KeyringWorld::items(const Attributes &attributes) const {
    QList<Attributes> found;
    const QVariantList paths = call(rootPath, serviceInterface, u"SearchItems"_s, {QVariant::fromValue(attributes)});
    for (const QVariant &list : paths) {
        for (const QDBusObjectPath &path : qdbus_cast<QList<QDBusObjectPath>>(list)) {
            const auto property = [&](const QString &name) {
                const QVariantList value = call(path.path(), u"org.freedesktop.DBus.Properties"_s, u"Get"_s,
                                                {u"org.freedesktop.Secret.Item"_s, name});
                return value.value(0).value<QDBusVariant>().variant();
            };
            auto item = qdbus_cast<Attributes>(property(u"Attributes"_s));
            item.insert(u"label"_s, property(u"Label"_s).toString());
            found.append(item);
        }
    }
    return found;
}

bool KeyringWorld::lock() {
    const QList<QDBusObjectPath> collection{QDBusObjectPath(collectionPath)};
    const QVariantList locked = call(rootPath, serviceInterface, u"Lock"_s, {QVariant::fromValue(collection)});
    return !locked.isEmpty() && qdbus_cast<QList<QDBusObjectPath>>(locked[0]) == collection;
}

void KeyringWorld::askToUnlock() {
    const QList<QDBusObjectPath> collection{QDBusObjectPath(collectionPath)};
    const QVariantList answer = call(rootPath, serviceInterface, u"Unlock"_s, {QVariant::fromValue(collection)});
    const auto prompt = answer.value(1).value<QDBusObjectPath>();
    call(prompt.path(), u"org.freedesktop.Secret.Prompt"_s, u"Prompt"_s, {QString()});
}

bool KeyringWorld::handleMessage(const QDBusMessage &message, const QDBusConnection &) {
    if (message.member() == u"BeginPrompting")
        ++m_prompts;
    return false;
}

} // namespace quillmount
