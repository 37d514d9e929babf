// SPDX-License-Identifier: LicenseRef-Quillmount
// What the settings say and store, without a window.
#include "App/UI/Settings/AccountText.h"
#include "App/UI/Settings/SettingsModel.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QSignalSpy>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class SettingsModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void questions_data();
    void questions();
    void asksWhatWasCounted();
    void cacheSizes_data();
    void cacheSizes();
    void loginItemIsReadAgain();
    void updates();
};

void SettingsModelsTest::questions_data() {
    QTest::addColumn<qint64>("inEngine");
    QTest::addColumn<qint64>("onDisk");
    QTest::addColumn<QString>("files");
    QTest::newRow("none") << qint64(0) << qint64(0) << QString();
    QTest::newRow("one, which no engine tells of") << qint64(0) << qint64(1) << u"1 file"_s;
    QTest::newRow("the larger count") << qint64(3) << qint64(2) << u"3 files"_s;
}

void SettingsModelsTest::questions() {
    QFETCH(qint64, inEngine);
    QFETCH(qint64, onDisk);
    QFETCH(QString, files);
    const AccountSnapshot account{.pendingInEngine = inEngine, .pendingOnDisk = onDisk, .consequences = u"All goes."_s};
    const ConfirmationContent disconnect = AccountText::disconnect(account);
    const ConfirmationContent uninstall = AccountText::uninstall(account);
    QCOMPARE(disconnect.title, u"Disconnect your Google account?"_s);
    QCOMPARE(uninstall.title, u"Uninstall Quillmount?"_s);
    if (files.isEmpty()) {
        QCOMPARE(disconnect.message, u"Your files stay in Google Drive."_s);
        QCOMPARE(disconnect.action, u"Disconnect"_s);
        QCOMPARE(uninstall.message, u"All goes."_s);
        QCOMPARE(uninstall.action, u"Uninstall"_s);
        return;
    }
    QCOMPARE(
        disconnect.message,
        files +
            u" haven't finished uploading. Disconnecting now removes them from this Mac before they reach Google Drive. To keep them, cancel and wait until uploading finishes."_s);
    QCOMPARE(disconnect.action, u"Disconnect Anyway"_s);
    QCOMPARE(uninstall.message, files + u" haven't finished uploading and will be lost. All goes."_s);
    QCOMPARE(uninstall.action, u"Uninstall Anyway"_s);
}

void SettingsModelsTest::asksWhatWasCounted() {
    AccountSettingsModel account;
    ConfirmationModel &dialog = *account.confirmation();
    const QSignalSpy counts(&account, &AccountSettingsModel::countRequested);
    const QSignalSpy disconnects(&account, &AccountSettingsModel::disconnectRequested);
    account.askToDisconnect();
    QVERIFY(!dialog.isOpen());
    account.setPendingOnDisk(0);
    QCOMPARE(dialog.actionTitle(), u"Disconnect"_s);

    // A file was saved between the question and the click.
    dialog.confirm();
    QCOMPARE(counts.size(), 2);
    account.setPendingOnDisk(1);
    QCOMPARE(disconnects.size(), 0);
    QCOMPARE(dialog.actionTitle(), u"Disconnect Anyway"_s);

    // It is uploaded while the dialog is open.
    AccountSnapshot uploading{.isSignedIn = true, .pendingInEngine = 1};
    account.update(uploading);
    uploading.pendingInEngine = 0;
    account.update(uploading);
    QCOMPARE(counts.size(), 4);
    account.setPendingOnDisk(0);
    QCOMPARE(dialog.actionTitle(), u"Disconnect"_s);

    dialog.confirm();
    dialog.cancel();
    account.setPendingOnDisk(0);
    QCOMPARE(disconnects.size(), 0);

    account.askToDisconnect();
    account.setPendingOnDisk(5);
    dialog.confirm();
    account.setPendingOnDisk(5);
    QCOMPARE(disconnects.size(), 1);
    dialog.cancel(); // too late
    dialog.confirm();
    QVERIFY(dialog.isWorking());
    account.finish();
    QVERIFY(!dialog.isOpen());
}

void SettingsModelsTest::cacheSizes_data() {
    QTest::addColumn<int>("stored");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("rows");
    QTest::newRow("never") << -1 << 2 << 5;
    QTest::newRow("offered") << 100 << 4 << 5;
    QTest::newRow("not offered") << 7 << 1 << 6;
}

void SettingsModelsTest::cacheSizes() {
    QFETCH(int, stored);
    const ScopedPlatform platform;
    const QString key = u"cacheSizeGB"_s;
    if (stored >= 0)
        platform.userDefaults().set(key, qint64(stored));
    GeneralSettingsModel general;
    const QSignalSpy chosen(&general, &GeneralSettingsModel::cacheSizeChosen);
    QTEST(general.cacheSizeRow(), "row");
    QTEST(int(general.cacheSizes().size()), "rows");
    general.appear();
    general.chooseCacheSize(general.cacheSizeRow());
    QCOMPARE(platform.userDefaults().get<qint64>(key), stored >= 0 ? std::optional(qint64(stored)) : std::nullopt);
    QCOMPARE(chosen.size(), 0);
    general.chooseCacheSize(0);
    QCOMPARE(platform.userDefaults().get<qint64>(key), std::optional(qint64(5)));
    QCOMPARE(chosen.size(), 1);
}

void SettingsModelsTest::loginItemIsReadAgain() {
    const ScopedPlatform platform;
    SettingsModel settings;
    platform.loginItems().setFailure(u"not allowed"_s);
    QTest::ignoreMessage(QtWarningMsg, "Login item change failed: not allowed");
    settings.general()->setOpensAtLogin(true);
    QVERIFY(settings.general()->opensAtLogin());
    settings.selectTab(1);
    settings.selectTab(0);
    QVERIFY(!settings.general()->opensAtLogin());
}

void SettingsModelsTest::updates() {
    const ScopedPlatform platform;
    AboutSettingsModel about;
    QCOMPARE(about.version(), u"Version 1.0"_s);
    QCOMPARE(about.copyright(), QString());
    about.setLicenses(u"a line\n"_s.repeated(450));
    QCOMPARE(about.licenses().join(QString()), u"a line\n"_s.repeated(450));
    about.setUpdate({.status = Updater::Status::available, .version = u"2.0"_s, .page = {}});
    QCOMPARE(about.updateText(), u"Version 2.0 is available."_s);
    QVERIFY(about.hasUpdate());
}

QTEST_GUILESS_MAIN(SettingsModelsTest)
#include "SettingsModelsTest.moc"
