// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/AppDelegate.h"
#include "App/QuillmountApp.h"
#include "App/Support/Paths.h"
#include "App/Support/SystemVolumeSetup.h"
#include "App/TerminalOutput.h"
#include "App/UI/Components/SymbolImage.h"
#include "Platform/OwnEnvironment.h"
#include "Platform/Platform.h"
#include "Platform/PlatformError.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QQuickWindow>

#include <cstdio>
#include <cstdlib>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

// Runs the application and returns its exit status. `signIn`: when there is no account, the user is asked for one.
int run(SingleInstance::Wish wish, bool signIn) {
    SystemVolumeSetup volumeSetup;
    AppDelegate delegate(volumeSetup);
    QuillmountApp app(delegate, volumeSetup);
    const TerminalOutput terminal(delegate.engine(), app.account());
    QObject::connect(&delegate, &AppDelegate::terminated, qApp, &QCoreApplication::exit);
    QObject::connect(Platform::current().singleInstance.get(), &SingleInstance::startedAgain, &app,
                     &QuillmountApp::startedAgain);
    QMetaObject::invokeMethod(
        &delegate,
        [&] {
            delegate.applicationDidFinishLaunching();
            app.launch(wish);
            if (signIn && !Paths::hasEngineConfig())
                app.account().start();
        },
        Qt::QueuedConnection);
    return QApplication::exec();
}

} // namespace

int main(int argc, char **argv) {
    preparePlatform();
    qSetMessagePattern(u"%{time hh:mm:ss.zzz} %{category}: %{message}"_s);
    // An OpenGL context that cannot be made would end the application, and with it the drive.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);

    // It would lie in the engine's cache, and every view is compiled anyway.
    OwnEnvironment::set("QML_DISABLE_DISK_CACHE", "1");

    const QApplication application(argc, argv);
    QApplication::setApplicationName(u"Quillmount"_s);
    QApplication::setDesktopFileName(u"com.orvane.quillmount"_s);
    QApplication::setWindowIcon(SymbolImage::application());
    QApplication::setQuitOnLastWindowClosed(false);

    QCommandLineParser options;
    options.setApplicationDescription(u"Makes a folder of Google Drive appear as a drive."_s);
    options.addHelpOption();
    const QCommandLineOption background(u"background"_s, u"Start without showing anything."_s);
    const QCommandLineOption signIn(u"sign-in"_s, u"Begin the sign-in at once when there is no account."_s);
    const QCommandLineOption settings(u"settings"_s, u"Open the settings."_s);
    const QCommandLineOption quit(u"quit"_s, u"End the running Quillmount."_s);
    options.addOptions({background, signIn, settings, quit});
    options.process(application);
    SingleInstance::Wish wish = SingleInstance::Wish::open;
    for (const auto &[option, meant] : {std::pair(&background, SingleInstance::Wish::background),
                                        {&settings, SingleInstance::Wish::settings},
                                        {&quit, SingleInstance::Wish::quit}}) {
        if (options.isSet(*option))
            wish = meant;
    }

    Platform::install(makePlatform());
    int status = 0;
    try {
        SingleInstance &instance = *Platform::current().singleInstance;
        const bool isFirst = instance.acquire() == SingleInstance::Outcome::acquired;
        if (isFirst && wish != SingleInstance::Wish::quit)
            status = run(wish, options.isSet(signIn));
        else if (!isFirst && !instance.tellOther(wish, Platform::current().activation->startToken()))
            std::puts("Quillmount is already running for this home, but does not answer.");
    } catch (const PlatformError &error) {
        std::fprintf(stderr, "Quillmount cannot start: %s.\n", error.what());
        status = EXIT_FAILURE;
    }
    Platform::install(nullptr);
    return status;
}
