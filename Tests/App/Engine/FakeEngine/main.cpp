// SPDX-License-Identifier: LicenseRef-Quillmount
#include "FakeEngine.h"

#include <QCoreApplication>

int main(int argc, char *argv[]) {
    const QCoreApplication application(argc, argv);
    quillmount::FakeEngine engine(QCoreApplication::arguments().mid(1));
    return engine.start() ? QCoreApplication::exec() : 1;
}
