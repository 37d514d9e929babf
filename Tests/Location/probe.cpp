// SPDX-License-Identifier: LicenseRef-Quillmount
// Prints what the application takes the set-up of this machine for, in words.
#include "App/Support/SystemVolumeSetup.h"
#include "Platform/Linux/LinuxMountTable.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QCoreApplication>

#include <cstdio>

using namespace quillmount;
using namespace Qt::StringLiterals;

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    const ScopedPlatform platform;
    platform.bundle().setInfoString(u"QMLocationSetup"_s, u"on request"_s);
    Platform::current().mountTable = std::make_unique<LinuxMountTable>();
    const SystemVolumeSetup setup;
    QStringList words;
    if (setup.isInstalled())
        words.append(u"installed"_s);
    if (setup.isReady())
        words.append(u"ready"_s);
    if (SystemVolumeSetup::resolvesHere())
        words.append(u"resolves"_s);
    if (setup.isRemovable())
        words.append(u"removable"_s);
    std::puts(qPrintable(words.join(u' ')));
}
