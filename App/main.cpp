// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/AccountConnection.h"
#include "App/AppDelegate.h"
#include "App/Support/Paths.h"
#include "App/Support/VolumeSetup.h"
#include "Platform/Platform.h"
#include "Platform/PlatformError.h"

#include <QApplication>
#include <QCommandLineParser>

#include <cstdio>
#include <cstdlib>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

// Runs the application and returns its exit status. `signIn`: when there is no account, the user is asked for one.
int run(bool signIn) {
    NoVolumeSetup volumeSetup;
    AppDelegate delegate(volumeSetup);
    DriveEngine &engine = delegate.engine();
    QObject::connect(&delegate, &AppDelegate::terminated, qApp, &QCoreApplication::exit);
    bool announced = false;
    QObject::connect(&engine, &DriveEngine::stateChanged, &delegate, [&] {
        if (engine.state() != DriveState::live || std::exchange(announced, true))
            return;
        std::printf("Drive: %s\n", qUtf8Printable(engine.mountPoint()));
        std::fflush(stdout);
    });
    AccountConnection account(engine);
    QObject::connect(&account, &AccountConnection::stateChanged, &delegate, [&] {
        for (const QString &sentence : {account.errorText(), account.noticeText()})
            if (!sentence.isEmpty())
                std::puts(qUtf8Printable(sentence));
        std::fflush(stdout);
    });
    QMetaObject::invokeMethod(
        &delegate,
        [&] {
            delegate.applicationDidFinishLaunching();
            if (signIn && !Paths::hasEngineConfig())
                account.start();
        },
        Qt::QueuedConnection);
    return QApplication::exec();
}

} // namespace

int main(int argc, char **argv) {
    preparePlatform();
    qSetMessagePattern(u"%{time hh:mm:ss.zzz} %{category}: %{message}"_s);

    const QApplication application(argc, argv);
    QApplication::setApplicationName(u"Quillmount"_s);
    QApplication::setDesktopFileName(u"com.orvane.quillmount"_s);
    QApplication::setQuitOnLastWindowClosed(false);

    QCommandLineParser options;
    options.setApplicationDescription(u"Makes a folder of Google Drive appear as a drive."_s);
    options.addHelpOption();
    const QCommandLineOption background(u"background"_s, u"Start without showing anything."_s);
    // For development: there is no window yet in which the user could begin it.
    const QCommandLineOption signIn(u"sign-in"_s, u"Begin the sign-in at once when there is no account."_s);
    options.addOptions({background, signIn});
    options.process(application);

    Platform::install(makePlatform());
    int status = 0;
    try {
        if (Platform::current().singleInstance->acquire() == SingleInstance::Outcome::acquired)
            status = run(options.isSet(signIn));
        else
            std::puts("Quillmount is already running for this home.");
    } catch (const PlatformError &error) {
        std::fprintf(stderr, "Quillmount cannot start: %s.\n", error.what());
        status = EXIT_FAILURE;
    }
    Platform::install(nullptr);
    return status;
}
