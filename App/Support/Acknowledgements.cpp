// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Acknowledgements.h"

#include "Platform/Platform.h"

#include <QFile>

namespace quillmount {

using namespace Qt::StringLiterals;

QString Acknowledgements::text() {
    QFile file(Platform::current().bundle->resource(u"Acknowledgements.txt"_s).value_or(QString()));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace quillmount
