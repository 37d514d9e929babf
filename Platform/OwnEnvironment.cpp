// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/OwnEnvironment.h"

#include <QByteArrayList>

#include <unistd.h>

namespace quillmount {

namespace {

// What was set, as "NAME=value".
QByteArrayList &entries() {
    static QByteArrayList list;
    return list;
}

} // namespace

void OwnEnvironment::set(const QByteArray &name, const QByteArray &value) {
    qputenv(name.constData(), value);
    entries().append(name + '=' + value);
}

QProcessEnvironment OwnEnvironment::forChildren() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QByteArray &entry : std::as_const(entries())) {
        const QString name = QString::fromLocal8Bit(entry.first(entry.indexOf('=')));
        if (environment.value(name) == QString::fromLocal8Bit(entry.mid(name.size() + 1)))
            environment.remove(name);
    }
    return environment;
}

std::vector<char *> OwnEnvironment::rawForChildren() {
    std::vector<char *> variables;
    for (char **variable = environ; *variable; ++variable)
        if (!entries().contains(QByteArray::fromRawData(*variable, qsizetype(qstrlen(*variable)))))
            variables.push_back(*variable);
    variables.push_back(nullptr);
    return variables;
}

} // namespace quillmount
