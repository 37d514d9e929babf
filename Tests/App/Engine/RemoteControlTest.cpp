// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/RemoteControl.h"
#include "App/Engine/EngineLaunch.h"
#include "App/Engine/EngineProcess.h"
#include "App/Network/NetworkError.h"
#include "App/Support/Paths.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/App/Engine/EngineScript.h"
#include "Tests/Support/Started.h"
#include "Tests/Support/WaitFor.h"

#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class RemoteControlTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void call();
    void uselessAnswers_data();
    void uselessAnswers();
    void wrongPassword();
    void neverAnswering();

private:
    static std::shared_ptr<const Outcome<QJsonObject>> finished(const RemoteControl &rc, const QString &command,
                                                                const QJsonObject &params = {});

    std::unique_ptr<ScopedPlatform> m_platform;
    std::unique_ptr<EngineScript> m_engine;
    std::unique_ptr<EngineProcess> m_process;
    RemoteControl m_rc;
};

void RemoteControlTest::initTestCase() {
    m_platform = std::make_unique<ScopedPlatform>();
    Paths::ensureDirectories();
    m_engine = std::make_unique<EngineScript>(QFileInfo(Paths::engineConfig()).path());
    const EngineLaunch launch = EngineLaunch::prepare();
    m_process = std::make_unique<EngineProcess>();
    QVERIFY(m_process->start(EngineScript::executable(), launch.arguments(),
                             launch.environment(QProcessEnvironment::systemEnvironment()), -1));
    m_rc = {launch.remoteControlPort, launch.remoteControlUser, launch.remoteControlPassword};
    QVERIFY(waitFor([this] { return finished(m_rc, u"vfs/stats"_s)->value.has_value(); }));
}

void RemoteControlTest::cleanupTestCase() {
    m_engine->endAll();
    m_process.reset();
    m_engine.reset();
    m_platform.reset();
}

std::shared_ptr<const Outcome<QJsonObject>> RemoteControlTest::finished(const RemoteControl &rc, const QString &command,
                                                                        const QJsonObject &params) {
    auto outcome = started(rc.call(command, params));
    if (!waitFor([&] { return outcome->isDone; }))
        qFatal("the call does not end");
    return outcome;
}

void RemoteControlTest::call() {
    const QJsonObject answer{{u"é"_s, QJsonArray{1, true, u"x"_s}}};
    m_engine->setAnswer(u"core/stats"_s, answer);
    QCOMPARE(finished(m_rc, u"core/stats"_s)->value, std::optional(answer));
    QCOMPARE(finished(m_rc, u"core/stats"_s, {{u"fs"_s, u"drive:"_s}})->value, std::optional(answer));

    const QList<QJsonObject> requests = m_engine->records(u"request"_s);
    QCOMPARE(requests.last()["body"_L1].toString(), u"{\"fs\":\"drive:\"}"_s);
    QCOMPARE(requests.at(requests.size() - 2)["body"_L1].toString(), u"{}"_s);
    QVERIFY(requests.last()["authorized"_L1].toBool());
}

void RemoteControlTest::uselessAnswers_data() {
    using Error = RemoteControl::RCError;
    QTest::addColumn<QJsonObject>("reply");
    QTest::addColumn<int>("which");
    QTest::addColumn<int>("status");
    const auto raw = [](const QString &text) { return QJsonObject{{u"raw"_s, text}}; };
    QTest::newRow("array") << raw(u"[{}]"_s) << int(Error::notJSON) << 0;
    QTest::newRow("empty") << raw(QString()) << int(Error::notJSON) << 0;
    QTest::newRow("cut short") << raw(u"{\"diskCache\": {"_s) << int(Error::notJSON) << 0;
    QTest::newRow("not quite 200") << QJsonObject{{u"status"_s, 201}} << int(Error::badResponse) << 201;
    QTest::newRow("redirect") << QJsonObject{{u"status"_s, 302}} << int(Error::badResponse) << 302;
}

void RemoteControlTest::uselessAnswers() {
    QFETCH(QJsonObject, reply);
    m_engine->setReply(u"core/stats"_s, reply);
    const auto error = finished(m_rc, u"core/stats"_s)->thrown<RemoteControl::RCError>();
    QVERIFY(error);
    QTEST(int(error->which()), "which");
    QTEST(error->status(), "status");

    const auto answer = started(m_rc.answer(u"core/stats"_s, {}));
    QVERIFY(waitFor([&] { return answer->isDone; }));
    QVERIFY(!answer->error && answer->value && !*answer->value);
}

void RemoteControlTest::wrongPassword() {
    RemoteControl rc = m_rc;
    rc.pass = u"guessed"_s;
    const auto error = finished(rc, u"vfs/stats"_s)->thrown<RemoteControl::RCError>();
    QVERIFY(error && error->which() == RemoteControl::RCError::badResponse);
    QCOMPARE(error->status(), 401);
    // What was refused once does not stick to the connection.
    QVERIFY(finished(m_rc, u"vfs/stats"_s)->value);
}

void RemoteControlTest::neverAnswering() {
    m_engine->setReply(u"core/stats"_s, {{u"silent"_s, true}});
    QElapsedTimer timer;
    timer.start();
    QVERIFY(finished(m_rc, u"core/stats"_s)->thrown<NetworkError>());
    QVERIFY2(timer.elapsed() > 4000 && timer.elapsed() < 9000, qPrintable(QString::number(timer.elapsed())));
    // Others do not wait for it.
    QVERIFY(finished(m_rc, u"vfs/stats"_s)->value);
}

QTEST_GUILESS_MAIN(RemoteControlTest)
#include "RemoteControlTest.moc"
